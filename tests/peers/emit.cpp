// Submits the events of its standard input (see records.h) to the real library, configured by the
// file named; at the end everything is flushed and shut down. Exits 0 when every call succeeded.
#include <cstdint>
#include <cstdio>
#include <iostream>

#include "records.h"

namespace {

bool Check(std::uint32_t result) {
    char text[1024] = "";
    zvEventGetLastError(text, sizeof text);
    if (result != ZVEVENT_OK) std::fprintf(stderr, "0x%08X %s\n", result, text);
    return result == ZVEVENT_OK;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || !Check(zvEventInitialize(argv[1]))) return 2;
    bool good = ForEachRecord(
        std::cin, [](const zvEventRecord& record) { return Check(zvEventSubmit(&record)); });
    good = Check(zvEventFlush(20000)) && good;
    return Check(zvEventShutdown()) && good ? 0 : 1;
}
