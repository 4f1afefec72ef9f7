// Prints the alert documents that the library makes of events, one a line.
//
//     format_alert [no-resolved] [source-label] [prefix=TEXT] < events
//
// The events' form stands in records.h. Exits 0 when every call succeeded.
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <string>

#include "records.h"
#include "zvEvent/zvEventAlertmanager.h"

int main(int argc, char** argv) {
    zvEventAlertmanagerFormatterConfig config;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        config.send_resolved &= word != "no-resolved";
        config.allow_source_label |= word == "source-label";
        if (word.rfind("prefix=", 0) == 0) config.alertname_prefix = word.substr(7);
    }
    const bool good = ForEachRecord(std::cin, [&](const zvEventRecord& record) {
        std::string document;
        const std::uint32_t result = zvEventFormatAlertmanagerRecord(&record, config, &document);
        if (result == ZVEVENT_OK) {
            std::cout << document << '\n';
        } else {
            std::fprintf(stderr, "format: 0x%08X\n", result);
        }
        return result == ZVEVENT_OK;
    });
    return good ? 0 : 1;
}
