// Texts of configuration files.
#pragma once

#include <string>

namespace zvevent::test {

inline std::string Value(const std::string& name, const std::string& text) {
    return "<value name=\"" + name + "\">" + text + "</value>";
}

inline std::string Key(const std::string& name, const std::string& body) {
    return "<key name=\"" + name + "\">" + body + "</key>";
}

// `core` inside the key of the core and `rest` beside it.
inline std::string ConfigText(const std::string& core, const std::string& rest = "") {
    return "<zvCFG>" + Key("QRV", Key("Events", Key("core", core) + rest)) + "</zvCFG>";
}

}  // namespace zvevent::test
