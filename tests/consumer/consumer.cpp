// The same as consumer.c through the C++ headers, and one of the functions that take C++ types.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "zvEvent/zvEvent.hpp"
#include "zvEvent/zvEventAlertmanager.h"

int main() {
    zvEvent::Event event("is too hot");
    event.EventId(7).SourceId("psu-1").Value(81.25).Units("C");
    event.Time(std::chrono::system_clock::time_point(std::chrono::seconds(1700000000)));
    event.PtpNs(1700000000000000000);

    const auto subscription = zvEvent::Subscribe([](const zvEventRecord& received) {
        std::printf("callback: %s %s, %.2f %s\n", received.source_id, received.message,
                    received.value, received.units);
    });
    zvEvent::Session session("consumer.xml");
    if (!session || !event.Submit() || !session.Shutdown()) {
        std::cout << session.result().text() << '\n';
        return 1;
    }
    std::fflush(stdout);
    std::cout << std::ifstream("consumer.csv", std::ios::binary).rdbuf();

    std::string alert;
    const zvEventRecord record = event.Record();
    if (zvEventFormatAlertmanagerRecord(&record, {}, &alert) != ZVEVENT_OK) return 1;
    return alert.find("is too hot") == std::string::npos ? 1 : 0;
}
