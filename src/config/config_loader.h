// Loads the configuration file: reads every setting below the key "QRV\Events", completes the file
// with the defaults of what is missing, and saves it. One thread a call; keeps no state.
#pragma once

#include <cstdint>
#include <string>

#include "config/config.h"

inline constexpr const char* kQueueSizeIsZero = "queue_size must be greater than zero";

// What is done with a file that is empty or white space only.
enum class zvEventEmptyFile {
    completed,  // with all defaults, as at a first start
    refused,    // a failure: whoever writes it is not done yet
};

// Fills `output` from the file at `config_path` (UTF-8). Returns ZVEVENT_OK, or
// ZVEVENT_E_INVALID_ARGUMENT with the reason in `error`, and then does not save the file. A file
// that cannot be saved is no failure.
//
// `error` may be null: bad words (booleans, severities, drop policies) then go unnoticed, keep
// their defaults, and the file is saved.
std::uint32_t zvEventLoadConfig(const char* config_path, zvEventConfig* output, std::string* error,
                                zvEventEmptyFile empty = zvEventEmptyFile::completed);
