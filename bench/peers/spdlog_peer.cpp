// spdlog's asynchronous logger, which formats on the calling thread. SPDLOG_BLOCKS decides what a
// full queue does.
#include <spdlog/async.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <mutex>
#include <thread>

#include "peers/columns.h"
#include "peers/peer.h"

namespace zvevent::bench {

namespace {

std::shared_ptr<spdlog::logger> logger;

class CountingSink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
public:
    explicit CountingSink(void (*delivered)(std::uint64_t)) : delivered_(delivered) {}

private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        delivered_(IdIn({message.payload.data(), message.payload.size()}));
    }
    void flush_() override {}

    void (*delivered_)(std::uint64_t);
};

}  // namespace

void StartPeer(const PeerSetup& setup) {
    spdlog::init_thread_pool(setup.queue_size, 1);
    spdlog::sink_ptr sink;
    if (setup.csv_path != nullptr) {
        sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(setup.csv_path, true);
    } else {
        sink = std::make_shared<CountingSink>(setup.delivered);
    }
    logger = std::make_shared<spdlog::async_logger>(
        "bench", sink, spdlog::thread_pool(),
        SPDLOG_BLOCKS ? spdlog::async_overflow_policy::block
                      : spdlog::async_overflow_policy::overrun_oldest);
    logger->set_pattern("%v");
}

void SubmitToPeer(std::uint64_t event_id) {
    WithColumns(event_id, [](const auto&... column) { logger->warn(kColumns, column...); });
}

std::uint64_t DrainPeer(std::uint64_t submitted, std::uint64_t (*delivered)()) {
    if (delivered == nullptr) {  // a file: what is queued is written at the end
        logger.reset();
        spdlog::shutdown();
        return 0;
    }
    while (delivered() + spdlog::thread_pool()->overrun_counter() < submitted)
        std::this_thread::yield();
    return submitted - delivered();
}

void StopPeer() {
    logger.reset();
    spdlog::shutdown();
}

}  // namespace zvevent::bench
