// What a webhook request carries besides its body. Pure functions, any thread.
#pragma once

#include <string>

#include "config/config.h"

namespace zvevent {

// The header lines of an entry's requests as the HTTP function takes them, settings of the request
// among them.
std::string WebhookHeaderLines(const zvEventSinkConfig& config, bool cloud_events);

// The URL for a text. A user name and password in it are refused by the HTTP layer, and must not
// come out. What looks like a port and is no number may be the start of a password with a "/" in
// it.
std::string UrlWithoutCredentials(const std::string& url);

}  // namespace zvevent
