// Looks at a configuration file as the loader does, with the loader's own readers, and tells where
// every value comes from. Writes nothing. For tools; the library itself only loads. One thread a
// call; keeps no state.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/config.h"

namespace zvevent {

enum class ValueOrigin {
    kFile,      // as it stands in the file
    kDefault,   // the file does not have it
    kReplaced,  // what the file has is no such value; the library writes the default over it
    kRefused,   // what the file has is no such value; the library does not load the file
    kCut,       // only the beginning of the file's text is read
};

struct AuditedSetting {
    std::string key;      // from the top: QRV\Events\sink\csv\default
    std::string section;  // the part of it that settings.h names: csv
    std::string name;
    std::string_view kind;                 // as KindOf names it
    std::optional<std::string> text = {};  // in the file
    std::string value = {};                // in force; empty for one that is not set
    ValueOrigin origin = ValueOrigin::kFile;
    std::string fault = {};  // of a refused one, in the loader's words
};

struct ConfigAudit {
    bool opened = false;                   // otherwise nothing else is set but `error`
    bool has_keys = false;                 // the file has the root key, or is empty
    std::string error;                     // as the loader gives it; empty: the file loads
    zvEventConfig config;                  // as the loader fills it; also what lies behind an error
    std::vector<AuditedSetting> settings;  // in the order of a completed file
    std::vector<std::string> unknown_keys;
    std::vector<std::string> repeated_keys;  // keys and values; the first of each holds
};

// `path` as for zvEventLoadConfig.
ConfigAudit AuditConfig(const std::string& path);

}  // namespace zvevent
