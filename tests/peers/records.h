// Events as text, for the programs that tests with real receivers run: lines "field=value" with
// bytes other than printable ASCII and every "%" as %XX, and a line "." after each event.
#pragma once

#include <functional>
#include <istream>

#include "zvEvent/zvEvent.h"

// Calls `handle` for every event; returns whether all calls returned true.
bool ForEachRecord(std::istream& text, const std::function<bool(const zvEventRecord&)>& handle);
