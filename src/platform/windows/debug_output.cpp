#include "platform/debug_output.h"

#include <windows.h>

namespace zvevent {

void WriteDebugOutput(const std::string& line) noexcept {
    OutputDebugStringA(line.c_str());
}

}  // namespace zvevent
