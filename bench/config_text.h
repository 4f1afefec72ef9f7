// Pieces of a configuration file.
#pragma once

#include <string>

namespace zvevent::bench {

inline std::string Value(const std::string& name, const std::string& value) {
    return "<value name=\"" + name + "\">" + value + "</value>";
}

inline std::string Key(const std::string& name, const std::string& inside) {
    return "<key name=\"" + name + "\">" + inside + "</key>";
}

// A file with the core's queue and `sinks`; the machine's own log is off.
inline std::string ConfigText(unsigned queue_size, const std::string& sinks) {
    const std::string quiet = Key("native", Key("main", Value("enabled", "0")));
    return "<zvCFG>" +
           Key("QRV", Key("Events", Key("core", Value("queue_size", std::to_string(queue_size))) +
                                        Key("sink", quiet + sinks))) +
           "</zvCFG>";
}

}  // namespace zvevent::bench
