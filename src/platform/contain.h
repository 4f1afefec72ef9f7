// Where exceptions end. A C++ exception of a callback, an output or the library itself goes no
// further than here; the forced unwinding of a thread that ends itself (pthread_exit, thread
// cancellation) is no error and is passed on, since swallowing it would end the process.
// Any thread.
#pragma once

#include <type_traits>

namespace zvevent {

namespace detail {
using Action = void (*)(void* context);
using OnException = void (*)(void* context, const char* what);
bool Contain(Action action, void* action_context, OnException on_exception,
             void* exception_context);
}  // namespace detail

// Runs `action` and returns whether it returned normally. After an exception calls
// `on_exception(what)`, which must not throw; `what` is null for an exception without a text.
template <typename Action, typename OnException>
bool Contain(Action&& action, OnException&& on_exception) {
    using A = std::remove_reference_t<Action>;
    using E = std::remove_reference_t<OnException>;
    return detail::Contain(
        [](void* context) { (*static_cast<A*>(context))(); }, &action,
        [](void* context, const char* what) { (*static_cast<E*>(context))(what); }, &on_exception);
}

template <typename Action>
bool Contain(Action&& action) {
    return Contain(action, [](const char*) {});
}

// While one of these lives, the calling thread cannot be cancelled (POSIX; nothing elsewhere):
// work with files and sockets under way is finished first.
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
