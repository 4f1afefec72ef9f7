// Prints the alert document, with source labels, of every event on its standard input.
// alert_documents PREFIX. An event is a line of words FIELD=TEXT, the text in hexadecimal.
#include <iostream>
#include <sstream>
#include <string>

#include "record_fields.h"
#include "zvEvent/zvEventAlertmanager.h"

int main(int argc, char** argv) {
    const std::string prefix = argc == 2 ? argv[1] : "";
    for (std::string line; std::getline(std::cin, line);) {
        zvevent::tool::Event event;
        std::istringstream words(line);
        for (std::string word, text; words >> word; text.clear()) {
            const std::size_t split = word.find('=');
            for (std::size_t i = split + 1; i + 1 < word.size(); i += 2)
                text += static_cast<char>(std::stoi(word.substr(i, 2), nullptr, 16));
            const auto* const field = zvevent::tool::FindRecordField(word.substr(0, split));
            if (field == nullptr || !event.Set(*field, text).empty()) return 1;
        }
        std::string document;
        if (zvEventFormatAlertmanagerRecord(&event.Record(), {true, true, prefix}, &document) !=
            ZVEVENT_OK)
            return 1;
        std::cout << document << '\n';
    }
}
