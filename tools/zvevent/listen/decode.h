// What was received, decoded: an object for people, scripts and pages. Pure functions, any thread.
//
// Every message has these members:
//   protocol   "syslog", "snmp" or "http"
//   received   time in UTC with milliseconds
//   from       address and port of the sender
//   raw        the bytes as text; of SNMP in hexadecimal
// and where they apply:
//   malformed  what is wrong with it; what could be read all the same stands in the others
//   event      an event of the library, members as in its JSON documents
//   header     syslog: facility, severity, timestamp, host, app, process, message_id
//   elements   syslog: structured data of others, by element and parameter
//   text       syslog: the message behind the structured data of others
//   community, variables   snmp: variables with "oid", "name" where it is known, and "value"
//   path, headers          http: names of headers in lower case
//   cloudevent http: the envelope's attributes
//   alerts     http: what Alertmanager takes, or what it sends to a webhook
//   json       http: any other document
#pragma once

#include <string>
#include <string_view>

#include "json_text.h"
#include "listen/received.h"

namespace zvevent::tool {

Json Decode(const Received& received);

// The protocols' own parts: they add members to `message` and return what is wrong, or an empty
// text.
std::string DecodeSyslog(std::string_view bytes, Json& message);
std::string DecodeSnmp(std::string_view bytes, Json& message);
std::string DecodeHttp(const Received& received, Json& message);

}  // namespace zvevent::tool
