// The least that any such library does in a submit: number, clock reading, ten texts into one
// block, one uncontended lock. Nothing is delivered.
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>

#include "peers/peer.h"
#include "sample_record.h"
#include "zvutil/zvutil.h"

namespace zvevent::bench {

namespace {

const zvEventRecord sample = SampleRecord();
std::atomic<std::uint64_t> next_id{1};
std::mutex mutex;
char block[1024];
void (*deliver)(std::uint64_t) = nullptr;

}  // namespace

void StartPeer(const PeerSetup& setup) {
    deliver = setup.delivered;
}

void SubmitToPeer(std::uint64_t event_id) {
    const char* const texts[] = {sample.event_type,     sample.source_id, sample.source_name,
                                 sample.message,        sample.action,    sample.dedupe_key,
                                 sample.correlation_id, sample.timecode,  sample.units,
                                 sample.details_json};
    const std::array<std::uint64_t, 2> numbers = {next_id.fetch_add(1), zvOSGetTimePTPNano()};
    std::array<std::size_t, std::size(texts)> lengths;
    for (std::size_t i = 0; i < std::size(texts); ++i)
        lengths[i] = std::strlen(texts[i]);
    const std::scoped_lock lock(mutex);
    std::memcpy(block, numbers.data(), sizeof numbers);
    char* to = block + sizeof numbers;
    for (std::size_t i = 0; i < std::size(texts); ++i) {
        std::memcpy(to, texts[i], lengths[i]);
        to += lengths[i];
    }
    asm volatile("" : : "r"(block) : "memory");  // the bytes are needed
    deliver(event_id);
}

std::uint64_t DrainPeer(std::uint64_t, std::uint64_t (*)()) {
    return 0;
}

void StopPeer() {}

}  // namespace zvevent::bench
