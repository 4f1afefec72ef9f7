#include "config/config_loader.h"

#include <string_view>

#include "config/config_keys.h"
#include "config/open_tree.h"
#include "config/settings.h"
#include "config/sink_loader.h"
#include "config/unknown_keys.h"
#include "config/value_reader.h"
#include "zvutil/zvutil.h"

namespace zvevent {

namespace {

// False when the rest must not be read.
bool LoadCore(zvCFGHandle tree, zvEventConfig& config, std::string* error) {
    ValueReader reader(tree, KeyBelowRoot(kCoreKey), error);
    VisitCoreSettings(config, [&](const char* name, auto&& field) {
        if (config.queue_size != 0) reader(name, field);  // nothing behind a size that is 0
    });
    if (config.queue_size == 0) {
        if (error != nullptr) *error = kQueueSizeIsZero;
        return false;
    }
    return error == nullptr || error->empty();
}

}  // namespace

}  // namespace zvevent

std::uint32_t zvEventLoadConfig(const char* config_path, zvEventConfig* output, std::string* error,
                                zvEventEmptyFile empty) {
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
    const bool has_root = zvCFGKeyExists(tree.handle(), "") != 0;
    if (!has_root && empty == zvEventEmptyFile::refused) {
        return fail("zvEvent config is empty: " + std::string(config_path));
    }
    zvevent::EnsureTopKeys(tree.handle());
    output->config_path = config_path;
    if (!zvevent::LoadCore(tree.handle(), *output, error)) return ZVEVENT_E_INVALID_ARGUMENT;
    zvevent::VisitStateSettings(
        *output,
        zvevent::ValueReader(tree.handle(), zvevent::KeyBelowRoot(zvevent::kStateKey), error));
    const auto read = [&](const std::string& key, zvEventSinkConfig& sink) {
        zvevent::VisitSinkSettings(sink, zvevent::ValueReader(tree.handle(), key, error));
    };
    zvevent::LoadSinks(tree.handle(), read, *output);
    if (error != nullptr && !error->empty()) return ZVEVENT_E_INVALID_ARGUMENT;
    if (!output->status_file.empty() || output->report_severity) {
        output->unknown_keys = zvevent::UnknownKeys(tree.handle());
    }
    zvCFGSave(tree.handle(), 0, 1);  // a file that cannot be written is used as it is
    return ZVEVENT_OK;
}
