#include "config/config_audit.h"

#include <algorithm>
#include <utility>

#include "base/severity.h"
#include "config/config_keys.h"
#include "config/config_loader.h"
#include "config/open_tree.h"
#include "config/setting_reference.h"
#include "config/settings.h"
#include "config/sink_loader.h"
#include "config/unknown_keys.h"
#include "config/value_reader.h"

namespace zvevent {

namespace {

std::string TextOf(const std::string& value) {
    return value;
}
std::string TextOf(std::uint32_t value) {
    return std::to_string(value);
}
std::string TextOf(bool value) {
    return value ? "1" : "0";
}
std::string TextOf(SeverityIn<std::uint32_t> value) {
    return std::string(SeverityName(value.level, ""));
}
std::string TextOf(zvEventDropPolicy value) {
    return value == zvEventDropPolicy::drop_newest ? "drop_newest" : "drop_debug_info_first";
}
std::string TextOf(std::optional<bool> value) {
    return value ? TextOf(*value) : "";
}
std::string TextOf(SeverityIn<std::optional<std::uint32_t>> value) {
    return value.level ? std::string(SeverityName(*value.level, "")) : "";
}

// The whole text of a value, nothing without one.
std::optional<std::string> WholeText(zvCFGHandle tree, const std::string& key, const char* name) {
    for (std::uint32_t size = 4096;; size *= 4) {
        std::string text(size, '\0');
        std::uint32_t length = size;
        if (zvCFGValueString(tree, key.c_str(), name, text.data(), &length, 0) != 0) return {};
        text.resize(length);
        if (length < size - 1) return text;
    }
}

// Stands where the loader has a ValueReader, has one read, and notes what it did: a reader that
// finds no value of use writes the default into the tree.
class AuditingReader {
public:
    AuditingReader(zvCFGHandle tree, std::string key, std::string_view section, ConfigAudit& audit)
        : tree_(tree), key_(std::move(key)), section_(section), audit_(audit) {}

    template <typename Field, typename... Absent>
    void operator()(const char* name, Field&& field, Absent... absent) {
        AuditedSetting setting{.key = key_,
                               .section = section_,
                               .name = name,
                               .kind = KindOf(field),
                               .text = WholeText(tree_, key_, name)};
        ValueReader(tree_, key_, &setting.fault)(name, field, absent...);
        setting.value = TextOf(field);
        setting.origin = OriginOf(setting);
        if (!setting.fault.empty()) audit_.error = setting.fault;
        audit_.settings.push_back(std::move(setting));
    }

private:
    ValueOrigin OriginOf(const AuditedSetting& setting) const {
        if (!setting.text) return ValueOrigin::kDefault;
        if (!setting.fault.empty()) return ValueOrigin::kRefused;
        if (WholeText(tree_, key_, setting.name.c_str()) != setting.text) {
            return ValueOrigin::kReplaced;
        }
        const bool cut = setting.kind == KindOf(std::string()) && setting.value != *setting.text;
        return cut ? ValueOrigin::kCut : ValueOrigin::kFile;
    }

    zvCFGHandle tree_;
    const std::string key_;
    const std::string section_;
    ConfigAudit& audit_;
};

void FindRepeated(zvCFGHandle tree, const std::string& key, std::vector<std::string>& repeated) {
    for (const auto& [name, is_key] : Children(tree, key)) {
        const std::string path = key + '\\' + name;
        if (zvCFGIsRepeated(tree, key.c_str(), name.c_str()) != 0) repeated.push_back(path);
        if (is_key) FindRepeated(tree, path, repeated);
    }
}

// Of what stands above the root key only the way to it counts.
std::vector<std::string> RepeatedKeys(zvCFGHandle tree) {
    std::vector<std::string> repeated;
    std::string above;
    std::string_view rest = kRootKey;
    while (!rest.empty()) {
        const std::string name(rest.substr(0, rest.find('\\')));
        const std::string path = above.empty() ? name : above + '\\' + name;
        if (zvCFGIsRepeated(tree, above.c_str(), name.c_str()) != 0) repeated.push_back(path);
        above = path;
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    }
    FindRepeated(tree, above, repeated);
    return repeated;
}

std::string_view SectionOf(const zvEventSinkConfig& sink) {
    for (const SinkSection& section : kSinkSections) {
        if (section.kind == sink.kind) return section.path;
    }
    return {};
}

// The loader reads nothing further behind an error in the core, so that one is what it reports.
std::string AuditCore(zvCFGHandle tree, ConfigAudit& audit) {
    VisitCoreSettings(audit.config, AuditingReader(tree, KeyBelowRoot(kCoreKey), kCoreKey, audit));
    return audit.config.queue_size != 0 ? audit.error : kQueueSizeIsZero;
}

}  // namespace

ConfigAudit AuditConfig(const std::string& path) {
    ConfigAudit audit;
    const OpenTree tree(path.c_str());
    audit.opened = tree.handle() != nullptr;
    if (!audit.opened) {
        audit.error = "Unable to open zvEvent config: " + path;
        return audit;
    }
    const auto exists = [&tree](const char* key) {
        return zvCFGKeyExists(tree.handle(), key) != 0;
    };
    audit.has_keys = !exists("") || exists(std::string(kRootKey).c_str());
    audit.unknown_keys = UnknownKeys(tree.handle());
    audit.repeated_keys = RepeatedKeys(tree.handle());
    EnsureTopKeys(tree.handle());
    audit.config.config_path = path;
    const std::string core_error = AuditCore(tree.handle(), audit);
    VisitStateSettings(audit.config,
                       AuditingReader(tree.handle(), KeyBelowRoot(kStateKey), kStateKey, audit));
    const auto read = [&](const std::string& key, zvEventSinkConfig& sink) {
        VisitSinkSettings(sink, AuditingReader(tree.handle(), key, SectionOf(sink), audit));
    };
    LoadSinks(tree.handle(), read, audit.config);
    if (!core_error.empty()) audit.error = core_error;
    return audit;
}

}  // namespace zvevent
