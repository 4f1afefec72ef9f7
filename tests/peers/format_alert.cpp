// Prints the alert documents, with source labels, that the library makes of the events of its
// standard input (see records.h), one a line. Its argument is the prefix of the alerts' names.
#include <iostream>
#include <string>

#include "records.h"
#include "zvEvent/zvEventAlertmanager.h"

int main(int, char** argv) {
    const zvEventAlertmanagerFormatterConfig config{true, true, argv[1]};
    const bool good = ForEachRecord(std::cin, [&](const zvEventRecord& record) {
        std::string document;
        const bool formatted =
            zvEventFormatAlertmanagerRecord(&record, config, &document) == ZVEVENT_OK;
        std::cout << document << '\n';
        return formatted;
    });
    return good ? 0 : 1;
}
