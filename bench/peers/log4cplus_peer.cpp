// log4cplus' AsyncAppender. A full queue makes the caller wait.
#include <log4cplus/asyncappender.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include "peers/columns.h"
#include "peers/peer.h"

namespace zvevent::bench {

namespace {

// Leaves what it refers to whole when the process ends: its own threads may still run.
auto& library = *new log4cplus::Initializer;
log4cplus::Logger logger;

class CountingAppender final : public log4cplus::Appender {
public:
    explicit CountingAppender(void (*delivered)(std::uint64_t)) : delivered_(delivered) {}
    ~CountingAppender() override { destructorImpl(); }
    void close() override { closed = true; }

private:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        delivered_(IdIn(event.getMessage()));
    }

    void (*delivered_)(std::uint64_t);
};

log4cplus::SharedAppenderPtr FileOf(const char* path) {
    log4cplus::SharedAppenderPtr file(
        new log4cplus::FileAppender(path, std::ios_base::trunc, /*immediateFlush=*/false));
    file->setLayout(std::make_unique<log4cplus::PatternLayout>("%m%n"));
    return file;
}

}  // namespace

void StartPeer(const PeerSetup& setup) {
    logger = log4cplus::Logger::getInstance("bench");
    logger.setAdditivity(false);
    logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::AsyncAppender(
        setup.csv_path != nullptr
            ? FileOf(setup.csv_path)
            : log4cplus::SharedAppenderPtr(new CountingAppender(setup.delivered)),
        setup.queue_size)));
}

void SubmitToPeer(std::uint64_t event_id) {
    logger.log(log4cplus::WARN_LOG_LEVEL, ColumnsText(event_id));
}

std::uint64_t DrainPeer(std::uint64_t submitted, std::uint64_t (*delivered)()) {
    if (delivered == nullptr) {  // a file: what is queued is written at the end
        StopPeer();
        return 0;
    }
    return AwaitDeliveries(submitted, delivered);
}

void StopPeer() {
    log4cplus::Logger::shutdown();
}

}  // namespace zvevent::bench
