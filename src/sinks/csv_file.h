// A CSV file that rows are appended to. All sinks of a path share one of these: rows then keep
// their order, and those still collected stay with the path, when a reload replaces its sink.
//
// Rows are collected and handed to the file at row ends only, each time by one append, so that
// several processes that write one file never tear each other's rows. Before that it is looked
// whether the path still names the open file: one that was renamed or removed is opened anew, one
// that was emptied begins again. Any thread; one lock, held while the file is written.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/append_file.h"
#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

class CsvFile {
public:
    // The file of that path, not yet opened if it is new here. A relative path is taken from the
    // working directory of this moment on.
    static std::shared_ptr<CsvFile> Of(const std::string& path);

    // In a child after a fork: what the parent's sinks collect is the parent's to write.
    static void ForgetAllInChild();

    explicit CsvFile(const std::string& path);
    ~CsvFile();  // hands over what is collected, if it can
    CsvFile(const CsvFile&) = delete;
    CsvFile& operator=(const CsvFile&) = delete;

    // The rest returns whether it succeeded, else with the reason in `error`.

    // Sees to it that the path names an open file that starts with a header.
    bool Open(std::string& error);

    // Adds the event's row; hands over when enough has come together, or at once. A row whose
    // hand-over fails is not kept, those before it stay for the next try.
    bool Write(const zvEventNormalizedEvent& event, bool at_once, std::string& error);

    // Hands over what is collected. The time (0: no limit) is for the lock alone; when it runs out
    // a write is stuck, `error` stays empty, and that write's own failure will tell why.
    bool Flush(std::uint32_t timeout_ms, std::string& error);

private:
    // All under mutex_.
    bool Follow(std::string& error);
    bool OpenAnew(std::string& error);
    bool WriteHeader(std::string& error);
    bool HandOver(std::string& error);

    const std::string path_;           // as configured, for texts
    const std::string absolute_path_;  // the host may change its directory

    std::mutex mutex_;
    // Guarded by mutex_:
    AppendFile file_;
    std::string pending_;  // whole rows that are not in the file yet
    std::string row_end_;  // what ends a row that was cut in the file and could not be taken back
};

}  // namespace zvevent
