#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "config_text.h"
#include "peers/peer.h"
#include "sample_record.h"
#include "temporary_path.h"
#include "zvEvent/zvEvent.h"

namespace zvevent::bench {

namespace {

const zvEventRecord sample = SampleRecord();

}  // namespace

void StartPeer(const PeerSetup& setup) {
    const std::string csv =
        setup.csv_path == nullptr
            ? ""
            : Key("csv", Key("default", Value("enabled", "1") + Value("path", setup.csv_path)));
    const auto path = TemporaryPath("peer.xml");
    std::ofstream(path) << ConfigText(setup.queue_size, csv);
    std::uint32_t id = 0;
    static const auto deliver = setup.delivered;
    if (deliver != nullptr) {
        zvEventRegisterCallback(
            [](const zvEventRecord* record, void*) { deliver(record->event_id); }, nullptr, &id);
    }
    if (zvEventInitialize(path.string().c_str()) != ZVEVENT_OK) std::abort();
    std::filesystem::remove(path);
}

void SubmitToPeer(std::uint64_t event_id) {
    zvEventRecord record = sample;
    record.event_id = event_id;
    zvEventSubmit(&record);
}

std::uint64_t DrainPeer(std::uint64_t submitted, std::uint64_t (*delivered)()) {
    if (zvEventFlush(0) != ZVEVENT_OK) std::abort();
    return delivered != nullptr ? submitted - delivered() : 0;
}

void StopPeer() {
    zvEventShutdown();
}

}  // namespace zvevent::bench
