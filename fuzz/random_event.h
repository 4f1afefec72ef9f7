// An event of arbitrary content. Its texts are valid UTF-8, control characters and zero bytes
// included, so that readers of JSON take them.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <type_traits>

#include "core/event_fields.h"

namespace zvevent::fuzz {

// Mostly short; a few so long that outputs have to cut them.
inline std::string RandomText(FuzzedDataProvider& data) {
    std::string bytes = data.ConsumeRandomLengthString(80);
    if (data.ConsumeIntegralInRange(0, 63) == 0) bytes.append(3000, bytes.empty() ? 'x' : bytes[0]);
    std::string text;
    for (const char byte : bytes) {
        if (static_cast<signed char>(byte) >= 0) {
            text += byte;
        } else {
            text += "\xE2\x82\xAC";
        }
    }
    return text;
}

inline zvEventNormalizedEvent RandomEvent(FuzzedDataProvider& data) {
    zvEventNormalizedEvent event;
    ForEachEventField([&]<typename Field>(const Field& field) {
        auto& member = event.*field.event;
        using Member = std::remove_reference_t<decltype(member)>;
        if constexpr (std::is_same_v<Field, TextField>) {
            member = RandomText(data);
        } else if constexpr (std::is_floating_point_v<Member>) {
            member = data.ConsumeFloatingPoint<Member>();
        } else {
            member = data.ConsumeIntegral<Member>();
        }
    });
    event.severity %= 4;
    return event;
}

}  // namespace zvevent::fuzz
