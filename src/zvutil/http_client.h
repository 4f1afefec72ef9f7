// The HTTP client: one request over libcurl, the same on all systems. Any number of threads.
#pragma once

#include "zvutil/http_request.h"
#include "zvutil/http_response.h"

namespace zvevent {

// Starts libcurl, once in a process and for good. A request does so by itself. False when it
// cannot.
bool StartHttpClient();

// True when a whole answer (or one up to the bound) with a good status came.
bool RunHttpExchange(const HttpRequest& request, HttpResponse& response);

}  // namespace zvevent
