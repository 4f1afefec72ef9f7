// Where receivers put what came, for one reader. Receivers are never held up: what the reader is
// too slow for is counted and forgotten. Any thread may call anything.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

#include "listen/received.h"

namespace zvevent::tool {

class Inbox {
public:
    void Put(Received received);

    // Waits for the next one; none once the inbox is closed and empty.
    std::optional<Received> Take();

    // Whether Take would return at once.
    bool HasMore();

    // Nothing more is let in.
    void Close();

    std::uint64_t Forgotten();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Received> waiting_;
    std::size_t waiting_bytes_ = 0;
    std::uint64_t forgotten_ = 0;
    bool closed_ = false;
};

}  // namespace zvevent::tool
