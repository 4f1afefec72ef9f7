#include "config/config_keys.h"

#include <algorithm>
#include <array>

namespace zvevent {

std::string KeyBelowRoot(std::string_view path) {
    return std::string(kRootKey).append("\\").append(path);
}

std::string SinkKey(const SinkSection& section) {
    return KeyBelowRoot(kSinkKey).append("\\").append(section.path);
}

std::string OutputName(const zvEventSinkConfig& entry) {
    std::string name = "other";
    for (const SinkSection& section : kSinkSections) {
        if (section.kind == entry.kind) name = section.path;
    }
    std::replace(name.begin(), name.end(), '\\', '/');
    return name.append("/").append(entry.name);
}

void EnsureKey(zvCFGHandle tree, std::string_view path) {
    if (path.empty() || zvCFGKeyExists(tree, std::string(path).c_str()) != 0) return;
    std::string parent;
    while (!path.empty()) {
        const std::size_t separator = std::min(path.find('\\'), path.size());
        const std::string part(path.substr(0, separator));
        path.remove_prefix(std::min(separator + 1, path.size()));
        const std::string prefix = parent.empty() ? part : parent + '\\' + part;
        if (zvCFGKeyExists(tree, prefix.c_str()) == 0) {
            const bool top = parent.empty();
            zvCFGAddKeyString(tree, (top ? part : parent).c_str(), top ? "" : part.c_str(), "", 0,
                              0);
        }
        parent = prefix;
    }
}

void EnsureTopKeys(zvCFGHandle tree) {
    EnsureKey(tree, kRootKey);
    EnsureKey(tree, KeyBelowRoot(kCoreKey));
    EnsureKey(tree, KeyBelowRoot(kStateKey));
    for (const SinkSection& section : kSinkSections)
        EnsureKey(tree, SinkKey(section));
}

std::vector<ChildName> Children(zvCFGHandle tree, const std::string& path) {
    std::vector<ChildName> children;
    std::array<char, kZvCfgNameSize> previous{};
    std::array<char, kZvCfgNameSize> name{};
    std::uint32_t flag = 0;
    while (zvCFGGetNext(tree, path.c_str(), name.data(), previous.data(), &flag) != kZvCfgNoMore) {
        if (name[0] != '\0') children.push_back({name.data(), flag == 0});
        previous = name;
    }
    return children;
}

std::vector<std::string> ChildKeys(zvCFGHandle tree, const std::string& path) {
    std::vector<std::string> names;
    for (ChildName& child : Children(tree, path)) {
        if (child.is_key) names.push_back(std::move(child.name));
    }
    return names;
}

}  // namespace zvevent
