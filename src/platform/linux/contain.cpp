#include "platform/contain.h"

#include <cxxabi.h>
#include <pthread.h>

#include <exception>

namespace zvevent {

bool detail::Contain(Action action, void* action_context, OnException on_exception,
                     void* exception_context) {
    try {
        action(action_context);
        return true;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const std::exception& exception) {
        on_exception(exception_context, exception.what());
    } catch (...) {
        on_exception(exception_context, nullptr);
    }
    return false;
}

CancellationShield::CancellationShield() noexcept {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &former_state_);
}

CancellationShield::~CancellationShield() {
    pthread_setcancelstate(former_state_, nullptr);
}

}  // namespace zvevent
