// Notices that the configuration file in force was changed or replaced. Looks at the file's stamp
// only; whoever asks reads it. One thread at a time: the owner locks.
#pragma once

#include <string>

#include "platform/file_stamp.h"

namespace zvevent {

class ConfigWatch {
public:
    enum class Look {
        kUnchanged,
        kChanging,  // not the same as the last look: someone may still be writing
        kChanged,   // another file than the one followed, and it stands
    };

    // Follows `path`, whose stamp was `seen` before the configuration was read from it: what was
    // written while it was read counts as a change.
    void Follow(const std::string& path, const FileStamp& seen);

    Look LookAtFile();

    // Follows the file as the last look found it.
    void Accept() { followed_ = last_; }

    const std::string& path() const { return path_; }

private:
    std::string path_;
    FileStamp followed_;
    FileStamp last_;  // of the look before
};

// Whether the file holds a configuration: one that is empty, blank or not well-formed is about to
// be written by someone, and is left alone until it does.
bool HoldsConfiguration(const std::string& path);

}  // namespace zvevent
