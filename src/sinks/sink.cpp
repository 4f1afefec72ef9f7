#include "sinks/sink.h"

std::uint32_t zvEventSink::flush(std::uint32_t) {
    return ZVEVENT_OK;
}
