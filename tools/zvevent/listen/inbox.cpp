#include "listen/inbox.h"

#include <utility>

namespace zvevent::tool {

namespace {

constexpr std::size_t kMaxBytes = std::size_t{64} << 20;

std::size_t Size(const Received& received) {
    constexpr std::size_t kAround = 512;  // headers and bookkeeping, roughly
    return received.bytes.size() + kAround;
}

}  // namespace

void Inbox::Put(Received received) {
    const std::scoped_lock lock(mutex_);
    const std::size_t size = Size(received);
    if (closed_) return;
    if (waiting_bytes_ + size > kMaxBytes) {
        ++forgotten_;
        return;
    }
    waiting_bytes_ += size;
    waiting_.push_back(std::move(received));
    changed_.notify_one();
}

std::optional<Received> Inbox::Take() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return closed_ || !waiting_.empty(); });
    if (waiting_.empty()) return std::nullopt;
    std::optional<Received> received(std::move(waiting_.front()));
    waiting_.pop_front();
    waiting_bytes_ -= Size(*received);
    return received;
}

bool Inbox::HasMore() {
    const std::scoped_lock lock(mutex_);
    return !waiting_.empty();
}

void Inbox::Close() {
    const std::scoped_lock lock(mutex_);
    closed_ = true;
    changed_.notify_all();
}

std::uint64_t Inbox::Forgotten() {
    const std::scoped_lock lock(mutex_);
    return forgotten_;
}

}  // namespace zvevent::tool
