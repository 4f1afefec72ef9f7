#include <cstdio>
#include "zvEvent/zvEvent.hpp"

int main() {
    zvEvent::Session session("events.xml");
    if (!session) {
        std::fprintf(stderr, "%s\n", session.result().text());
        return 1;
    }
    zvEvent::Event alert("Power supply 1 is too hot");
    alert.Type("temperature").SourceId("psu-1").Severity(zvEvent::Severity::Warning);
    alert.Value(81.5).Units("C").Action("raise").Submit();  // later "update" and "clear"
    return session.Shutdown() ? 0 : 1;
}
