#include <stdio.h>
#include "zvEvent/zvEvent.h"

int main(void) {
    char text[512];
    zvEventRecord record = zvEventRecordInit();
    if (zvEventInitialize("events.xml") != ZVEVENT_OK) {
        zvEventGetLastError(text, sizeof text);
        fprintf(stderr, "%s\n", text);
        return 1;
    }
    record.event_type = "temperature";
    record.source_id = "psu-1";
    record.message = "Power supply 1 is too hot";
    record.severity = zvEventSeverityWarning;
    record.action = "raise"; /* later "update" and "clear" */
    record.value = 81.5;
    record.units = "C";
    zvEventSubmit(&record);
    return zvEventShutdown() == ZVEVENT_OK ? 0 : 1;
}
