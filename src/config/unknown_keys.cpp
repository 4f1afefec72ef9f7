#include "config/unknown_keys.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string_view>

#include "config/config_keys.h"
#include "config/settings.h"

namespace zvevent {

namespace {

// What has a meaning below one key.
struct Meaning {
    std::set<std::string, std::less<>> keys;
    std::set<std::string, std::less<>> values;
    const SinkSection* instances_of = nullptr;  // every key is an instance of this kind

    void operator()(const char* name, const auto&, auto&&...) { values.insert(name); }
};
using Meanings = std::map<std::string, Meaning, std::less<>>;

Meanings KnownMeanings() {
    Meanings known;
    const zvEventConfig config;
    known[std::string(kRootKey)].keys = {std::string(kCoreKey), std::string(kStateKey),
                                         std::string(kSinkKey)};
    VisitCoreSettings(config, known[KeyBelowRoot(kCoreKey)]);
    VisitStateSettings(config, known[KeyBelowRoot(kStateKey)]);
    for (const SinkSection& section : kSinkSections) {
        std::string parent = KeyBelowRoot(kSinkKey);
        std::string_view rest = section.path;
        while (!rest.empty()) {
            const std::string_view part = rest.substr(0, rest.find('\\'));
            known[parent].keys.emplace(part);
            parent.append(1, '\\').append(part);
            rest.remove_prefix(std::min(part.size() + 1, rest.size()));
        }
        known[parent].instances_of = &section;
    }
    return known;
}

Meaning MeaningOfInstance(const SinkSection& section) {
    zvEventSinkConfig entry;
    entry.kind = section.kind;
    Meaning meaning;
    VisitSinkSettings(entry, meaning);
    return meaning;
}

void Search(zvCFGHandle tree, const Meanings& known, const std::string& key, const Meaning& meaning,
            std::vector<std::string>& unknown) {
    for (const auto& [name, is_key] : Children(tree, key)) {
        std::string path = key + '\\' + name;
        if (is_key && meaning.instances_of != nullptr) {
            Search(tree, known, path, MeaningOfInstance(*meaning.instances_of), unknown);
        } else if (is_key && meaning.keys.contains(name)) {
            Search(tree, known, path, known.find(path)->second, unknown);
        } else if (is_key || !meaning.values.contains(name)) {
            unknown.push_back(std::move(path));
        }
    }
}

}  // namespace

std::vector<std::string> UnknownKeys(zvCFGHandle tree) {
    const std::string root(kRootKey);
    const Meanings known = KnownMeanings();
    std::vector<std::string> unknown;
    Search(tree, known, root, known.find(root)->second, unknown);
    return unknown;
}

std::vector<std::string> KnownNamesBeside(std::string_view path) {
    const auto above = [](std::string_view key) { return key.substr(0, key.rfind('\\')); };
    const Meanings known = KnownMeanings();
    Meaning meaning;
    if (const auto found = known.find(above(path)); found != known.end()) {
        meaning = found->second;
    } else if (const auto kind = known.find(above(above(path)));
               kind != known.end() && kind->second.instances_of != nullptr) {
        meaning = MeaningOfInstance(*kind->second.instances_of);
    }
    meaning.keys.merge(meaning.values);
    return {meaning.keys.begin(), meaning.keys.end()};
}

}  // namespace zvevent
