// Key paths of the configuration tree: where the settings stand, creating and listing keys.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "zvutil/zvutil.h"

namespace zvevent {

// The path of a key below the root key, and of the key that holds a kind's instances.
std::string KeyBelowRoot(std::string_view path);
std::string SinkKey(const SinkSection& section);

// What the output of an entry is called: its key below "sink" with slashes, "syslog/udp/default".
std::string OutputName(const zvEventSinkConfig& entry);

// Creates the key and every missing key above it.
void EnsureKey(zvCFGHandle tree, std::string_view path);

// Creates the keys that every configuration has.
void EnsureTopKeys(zvCFGHandle tree);

// What stands right below a key, in document order.
struct ChildName {
    std::string name;
    bool is_key;  // otherwise a value
};
std::vector<ChildName> Children(zvCFGHandle tree, const std::string& path);

// The names of the keys among them.
std::vector<std::string> ChildKeys(zvCFGHandle tree, const std::string& path);

}  // namespace zvevent
