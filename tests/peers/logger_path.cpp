// Makes the emitting program log to the socket that ZVEVENT_LOGGER names instead of the machine's.
#include <cstdlib>

#include "platform/linux/system_logger.h"

namespace {

const bool logger_is_set = [] {
    const char* const path = std::getenv("ZVEVENT_LOGGER");
    if (path != nullptr) zvevent::SetSystemLoggerPath(path);
    return path != nullptr;
}();

}  // namespace
