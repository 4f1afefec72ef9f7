// Hands the events of its standard input to the real library. "emit FILE" submits them, configured
// by the file, and at the end flushes and shuts down; "emit --alerts PREFIX" prints their alert
// documents, with source labels, one a line. Exits 0 when every call succeeded.
//
// The events come one a line: the record's bytes in hexadecimal, then its texts, each with its 0; a
// text's place in the record holds its offset, or 0.
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

#include "zvEvent/zvEvent.h"
#include "zvEvent/zvEventAlertmanager.h"

namespace {

bool Check(std::uint32_t result) {
    char text[1024] = "";
    zvEventGetLastError(text, sizeof text);
    if (result != ZVEVENT_OK) std::fprintf(stderr, "0x%08X %s\n", result, text);
    return result == ZVEVENT_OK;
}

std::uint32_t PrintAlert(const zvEventRecord& record, const std::string& prefix) {
    std::string document;
    const auto result = zvEventFormatAlertmanagerRecord(&record, {true, true, prefix}, &document);
    std::cout << document << '\n';
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    const bool alerts = argc == 3;
    bool good = argc > 1 && (alerts || Check(zvEventInitialize(argv[1])));
    for (std::string line; good && std::getline(std::cin, line);) {
        std::string bytes;
        for (std::size_t i = 0; i + 1 < line.size(); i += 2)
            bytes += static_cast<char>(std::stoi(line.substr(i, 2), nullptr, 16));
        zvEventRecord record;
        std::memcpy(&record, bytes.data(), sizeof record);
        for (const char** place :
             {&record.event_type, &record.source_id, &record.source_name, &record.message,
              &record.action, &record.dedupe_key, &record.correlation_id, &record.timecode,
              &record.units, &record.details_json})
            if (*place != nullptr) *place = bytes.data() + reinterpret_cast<std::size_t>(*place);
        good = Check(alerts ? PrintAlert(record, argv[2]) : zvEventSubmit(&record));
    }
    if (!alerts) good = good && Check(zvEventFlush(20000)) && Check(zvEventShutdown());
    return good ? 0 : 1;
}
