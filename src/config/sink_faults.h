// What an output refuses to start with, before it opens anything: the texts that zvEventInitialize
// fails with. Null: no fault. Any thread.
#pragma once

#include <string_view>

#include "config/config.h"

namespace zvevent {

const char* CsvFault(std::string_view path);
const char* WebhookFault(std::string_view endpoint_url, std::string_view payload_mode);
const char* OutboxFault(std::string_view limit, std::string_view sync);
const char* SnmpTrapFault(std::string_view version);

// Of the payload modes that are no fault. Letter case does not count.
bool IsCloudEventsMode(std::string_view payload_mode);

// The fault of an entry as the loader fills it, whether enabled or not.
const char* SinkFault(const zvEventSinkConfig& entry);

}  // namespace zvevent
