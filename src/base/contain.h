// Where exceptions end. A C++ exception of a callback, an output or the library itself goes no
// further than here; the forced unwinding of a thread that ends itself (pthread_exit, thread
// cancellation) is no error and is passed on, since swallowing it would end the process.
// Any thread.
#pragma once

#include <exception>

namespace zvevent {

// Runs `action` and returns whether it returned normally. After an exception calls
// `on_exception(what)`, which must not throw; `what` is null for an exception without a text.
template <typename Action, typename OnException>
bool Contain(Action&& action, OnException&& on_exception) {
    try {
        action();
        return true;
    } catch (const std::exception& exception) {
        on_exception(exception.what());
    } catch (...) {
        // A forced unwinding is nothing that the language could hold.
        if (std::current_exception() == nullptr) throw;
        on_exception(static_cast<const char*>(nullptr));
    }
    return false;
}

template <typename Action>
bool Contain(Action&& action) {
    return Contain(action, [](const char*) {});
}

}  // namespace zvevent
