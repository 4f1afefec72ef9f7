// Submits events to the real library, for tests in which another program receives them.
//
//     emit CONFIG < events
//
// The events' form stands in records.h. At the end everything is flushed and shut down.
// Exits 0 when every call succeeded; failures go to the standard error.
#include <cstdint>
#include <cstdio>
#include <iostream>

#include "records.h"
#include "zvEvent/zvEvent.h"

namespace {

bool Check(const char* what, std::uint32_t result) {
    if (result == ZVEVENT_OK) return true;
    char text[1024];
    zvEventGetLastError(text, sizeof text);
    std::fprintf(stderr, "%s: 0x%08X %s\n", what, result, text);
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || !Check("initialize", zvEventInitialize(argv[1]))) return 2;
    bool good = ForEachRecord(std::cin, [](const zvEventRecord& record) {
        return Check("submit", zvEventSubmit(&record));
    });
    good = Check("flush", zvEventFlush(20000)) && good;
    good = Check("shutdown", zvEventShutdown()) && good;
    return good ? 0 : 1;
}
