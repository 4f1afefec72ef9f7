#include "config/config_loader.h"

#include <string_view>

#include "config/config_keys.h"
#include "config/section_loaders.h"
#include "config/value_reader.h"
#include "zvutil/zvutil.h"

namespace zvevent {

namespace {

class OpenTree {
public:
    explicit OpenTree(const char* path) : handle_(zvCFGOpen(path, 0)) {}
    ~OpenTree() {
        if (handle_ != nullptr) zvCFGClose(handle_, 1);
    }
    OpenTree(const OpenTree&) = delete;
    OpenTree& operator=(const OpenTree&) = delete;

    zvCFGHandle handle() const { return handle_; }

private:
    zvCFGHandle handle_;
};

// False when the rest must not be read.
bool LoadCore(ValueReader& reader, zvEventConfig& config, std::string* error) {
    const std::string key = std::string(kRootKey) + "\\core";
    config.enabled = reader.Boolean(key, "enabled", true);
    config.minimum_severity = reader.MinimumSeverity(key, zvEventSeverityInfo);
    config.queue_size = reader.Number(key, "queue_size", 1024);
    if (config.queue_size == 0) {
        if (error != nullptr) *error = "queue_size must be greater than zero";
        return false;
    }
    config.drop_policy = reader.DropPolicy(key, zvEventDropPolicy::drop_newest);
    return error == nullptr || error->empty();
}

void LoadState(ValueReader& reader, zvEventConfig& config) {
    const std::string key = std::string(kRootKey) + "\\state";
    config.state_enabled = reader.Boolean(key, "enabled", true);
    config.dedupe_enabled = reader.Boolean(key, "dedupe_enabled", true);
    config.default_repeat_interval_sec = reader.Number(key, "default_repeat_interval_sec", 1800);
    config.send_clear = reader.Boolean(key, "send_clear", true);
    config.route_orphan_clear = reader.Boolean(key, "route_orphan_clear", false);
}

}  // namespace

}  // namespace zvevent

std::uint32_t zvEventLoadConfig(const char* config_path, zvEventConfig* output,
                                std::string* error) {
    const auto fail = [error](std::string_view text) {
        if (error != nullptr) *error = text;
        return ZVEVENT_E_INVALID_ARGUMENT;
    };
    if (output == nullptr) return fail("Invalid zvEventConfig output");
    if (error != nullptr) error->clear();
    *output = zvEventConfig();
    if (config_path == nullptr || *config_path == '\0') {
        return fail("zvEvent requires a zvCFG XML config path");
    }
    const zvevent::OpenTree tree(config_path);
    if (tree.handle() == nullptr) {
        return fail("Unable to open zvEvent config: " + std::string(config_path));
    }
    zvevent::EnsureTopKeys(tree.handle());
    output->config_path = config_path;
    zvevent::ValueReader reader(tree.handle(), error);
    if (!zvevent::LoadCore(reader, *output, error)) return ZVEVENT_E_INVALID_ARGUMENT;
    zvevent::LoadState(reader, *output);
    zvevent::LoadSinks(tree.handle(), reader, *output);
    if (error != nullptr && !error->empty()) return ZVEVENT_E_INVALID_ARGUMENT;
    zvCFGSave(tree.handle(), 0, 1);  // a file that cannot be written is used as it is
    return ZVEVENT_OK;
}
