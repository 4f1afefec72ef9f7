#include "platform/wake_event.h"

#include <windows.h>

#include <array>
#include <system_error>

namespace zvevent {

namespace {

// Asks for a timer of about half a millisecond (Windows 10 1803 and later). Older headers lack it.
constexpr DWORD kHighResolutionTimer = 0x00000002;

}  // namespace

// The time-outs of the ordinary waits run on the system's tick, 1 to 16 ms, which would hold an
// event back for longer than its way to a callback may take. A high-resolution timer waits for
// about half a millisecond; where there is none, WaitFor does not sleep, and the worker goes to
// sleep at once and is woken by the next event.
struct WakeEvent::Impl {
    HANDLE bell = CreateEventW(nullptr, FALSE, FALSE, nullptr);  // auto-reset
    HANDLE timer = CreateWaitableTimerExW(nullptr, nullptr, kHighResolutionTimer, TIMER_ALL_ACCESS);

    Impl() = default;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() {
        if (bell != nullptr) CloseHandle(bell);
        if (timer != nullptr) CloseHandle(timer);
    }
};

WakeEvent::WakeEvent() : impl_(std::make_unique<Impl>()) {
    if (impl_->bell == nullptr) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
    }
}

WakeEvent::~WakeEvent() = default;

void WakeEvent::Ring() noexcept {
    SetEvent(impl_->bell);
}

void WakeEvent::Wait() {
    WaitForSingleObject(impl_->bell, INFINITE);
}

void WakeEvent::WaitFor(std::chrono::microseconds time) {
    if (impl_->timer == nullptr) return;
    LARGE_INTEGER due;
    due.QuadPart = -time.count() * 10;  // relative, in units of 100 ns
    if (SetWaitableTimer(impl_->timer, &due, 0, nullptr, nullptr, FALSE) == 0) return;
    const std::array<HANDLE, 2> either = {impl_->bell, impl_->timer};
    WaitForMultipleObjects(static_cast<DWORD>(either.size()), either.data(), FALSE, INFINITE);
}

}  // namespace zvevent
