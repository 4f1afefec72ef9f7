// Boost.Log's asynchronous sink. A queue of 1,024 that makes the caller wait when it is full, or
// the one without bounds where the scenario asks for a larger one: the size is part of the type.
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks.hpp>
#include <boost/log/sinks/async_frontend.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/block_on_overflow.hpp>
#include <boost/log/sinks/bounded_fifo_queue.hpp>
#include <boost/log/sinks/text_file_backend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_logger.hpp>
#include <boost/make_shared.hpp>

#include <functional>

#include "peers/columns.h"
#include "peers/peer.h"

namespace zvevent::bench {

namespace {

namespace logging = boost::log;

constexpr std::size_t kBound = 1024;
enum class Severity { kWarning };

std::function<void()> stop;

class CountingBackend final
    : public logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding> {
public:
    explicit CountingBackend(void (*delivered)(std::uint64_t)) : delivered_(delivered) {}

    void consume(const logging::record_view& record) {
        const auto text = logging::extract<std::string>("Message", record);
        delivered_(IdIn(text.get()));
    }

private:
    void (*delivered_)(std::uint64_t);
};

template <typename Sink>
void Start(const boost::shared_ptr<Sink>& sink) {
    logging::core::get()->add_sink(sink);
    stop = [sink] {
        logging::core::get()->remove_sink(sink);
        sink->stop();
        sink->flush();
    };
}

}  // namespace

void StartPeer(const PeerSetup& setup) {
    using namespace logging::sinks;
    if (setup.csv_path != nullptr) {
        const auto file = boost::make_shared<text_file_backend>();
        file->set_file_name_pattern(setup.csv_path);
        const auto sink = boost::make_shared<asynchronous_sink<text_file_backend>>(file);
        sink->set_formatter(logging::expressions::stream << logging::expressions::smessage);
        Start(sink);
        return;
    }
    const auto backend = boost::make_shared<CountingBackend>(setup.delivered);
    if (setup.queue_size <= kBound) {
        Start(boost::make_shared<
              asynchronous_sink<CountingBackend, bounded_fifo_queue<kBound, block_on_overflow>>>(
            backend));
    } else {
        Start(boost::make_shared<asynchronous_sink<CountingBackend>>(backend));
    }
}

void SubmitToPeer(std::uint64_t event_id) {
    thread_local logging::sources::severity_logger<Severity> logger;
    BOOST_LOG_SEV(logger, Severity::kWarning) << ColumnsText(event_id);
}

std::uint64_t DrainPeer(std::uint64_t submitted, std::uint64_t (*delivered)()) {
    if (delivered == nullptr) {  // a file: what is queued is written at the end
        StopPeer();
        return 0;
    }
    return AwaitDeliveries(submitted, delivered);
}

void StopPeer() {
    stop();
    stop = nullptr;
}

}  // namespace zvevent::bench
