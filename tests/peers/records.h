// Events as text, for the programs that tests with real receivers run.
//
// An event is a block of lines "field=value", fields as in zvEventRecord, bytes other than
// printable ASCII and every "%" as %XX; a line "." ends it. Lines may end with a carriage return.
#pragma once

#include <functional>
#include <istream>

#include "zvEvent/zvEvent.h"

// Calls `handle` for every event; returns whether all calls returned true. The record's texts are
// valid during the call.
bool ForEachRecord(std::istream& text, const std::function<bool(const zvEventRecord&)>& handle);
