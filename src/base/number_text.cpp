#include "base/number_text.h"

namespace zvevent {

void AppendGeneral(std::string& text, double number, int digits) {
    char buffer[32];  // sign, 17 digits, point, "e-308", or "0.0001" before 17 digits
    const auto end =
        std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::general, digits)
            .ptr;
    text.append(buffer, end);
}

}  // namespace zvevent
