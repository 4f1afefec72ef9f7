// What is doubtful about a configuration file. Reads the file and nothing else.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "config/config_audit.h"

namespace zvevent::tool {

struct Finding {
    bool is_error;      // the library does not start with it
    std::string where;  // a key or value, or a line and column, or nothing: the file as a whole
    std::string what;
};

// In the order of the settings, then what concerns the file.
std::vector<Finding> FindDoubts(const std::string& path, const ConfigAudit& audit);

// Whether the text of a setting is not for everyone's eyes.
bool IsSecret(const AuditedSetting& setting, std::string_view text);

}  // namespace zvevent::tool
