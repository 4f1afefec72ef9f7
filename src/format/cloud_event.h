// The CloudEvents 1.0 envelope of an event in structured mode, with the library's own JSON document
// as its data. Pure functions, any thread; they fail only when there is no memory.
#pragma once

#include <string>
#include <string_view>

#include "zvEvent/zvEventNormalizedEvent.h"

namespace zvevent {

// Appends the envelope of `event` to `out`. `source` is the sender's name of itself; when empty the
// event's source_name stands in. `subject_prefix` is put before the subject as it is.
void AppendCloudEventJson(std::string& out, const zvEventNormalizedEvent& event,
                          std::string_view source, std::string_view subject_prefix);
std::string BuildCloudEventJson(const zvEventNormalizedEvent& event, std::string_view source,
                                std::string_view subject_prefix);

}  // namespace zvevent
