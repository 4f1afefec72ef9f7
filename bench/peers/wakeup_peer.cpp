// A bare wake-up: a submit is one system call that wakes a sleeping thread.
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "peers/peer.h"

namespace zvevent::bench {

namespace {

constexpr std::uint32_t kStop = 2;
std::atomic<std::uint32_t> word{0};
std::atomic<std::uint64_t> submitted_id{0};
std::thread sleeper;

long Futex(int operation, std::uint32_t value) {
    return syscall(SYS_futex, &word, operation, value, nullptr, nullptr, 0);
}

}  // namespace

void StartPeer(const PeerSetup& setup) {
    sleeper = std::thread([deliver = setup.delivered] {
        for (;;) {
            std::uint32_t expected = 1;
            if (word.compare_exchange_strong(expected, 0)) {
                deliver(submitted_id.load());
            } else if (expected == kStop) {
                return;
            } else {
                Futex(FUTEX_WAIT_PRIVATE, 0);
            }
        }
    });
}

void SubmitToPeer(std::uint64_t event_id) {
    submitted_id.store(event_id);
    word.store(1);
    Futex(FUTEX_WAKE_PRIVATE, 1);
}

std::uint64_t DrainPeer(std::uint64_t submitted, std::uint64_t (*delivered)()) {
    while (word.load() == 1)
        std::this_thread::yield();
    return submitted - delivered();
}

void StopPeer() {
    word.store(kStop);
    Futex(FUTEX_WAKE_PRIVATE, 1);
    sleeper.join();
}

}  // namespace zvevent::bench
