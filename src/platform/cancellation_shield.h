// While one of these lives, the calling thread cannot be cancelled (POSIX; nothing elsewhere):
// work with files and sockets under way is finished first.
#pragma once

namespace zvevent {

class CancellationShield {
public:
    CancellationShield() noexcept;
    ~CancellationShield();
    CancellationShield(const CancellationShield&) = delete;
    CancellationShield& operator=(const CancellationShield&) = delete;

private:
    int former_state_ = 0;
};

}  // namespace zvevent
