#include "platform/contain.h"

#include <exception>

namespace zvevent {

bool detail::Contain(Action action, void* action_context, OnException on_exception,
                     void* exception_context) {
    try {
        action(action_context);
        return true;
    } catch (const std::exception& exception) {
        on_exception(exception_context, exception.what());
    } catch (...) {
        on_exception(exception_context, nullptr);
    }
    return false;
}

CancellationShield::CancellationShield() noexcept = default;

CancellationShield::~CancellationShield() {
    static_cast<void>(former_state_);
}

}  // namespace zvevent
