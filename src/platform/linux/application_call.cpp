#include "platform/application_call.h"

namespace zvevent {

bool CallApplication(zvEventCallback callback, const zvEventRecord* event, void* user_data) {
    callback(event, user_data);
    return true;
}

}  // namespace zvevent
