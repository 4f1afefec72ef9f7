/* A stranger's program on the installed library: sends one event to a callback and a CSV file, as
 * consumer.xml has it, and prints what came out of both. */
#include <stdio.h>

#include "zvEvent/zvEvent.h"

static void Print(const zvEventRecord* event, void* user_data) {
    printf("%s: %s %s, %.2f %s\n", (const char*)user_data, event->source_id, event->message,
           event->value, event->units);
}

static int Fail(const char* what) {
    char text[512];
    zvEventGetLastError(text, sizeof text);
    printf("%s: %s\n", what, text);
    return 1;
}

int main(void) {
    static char received_by[] = "callback";
    char line[512];
    uint32_t callback_id = 0;
    FILE* file = NULL;
    zvEventRecord record = zvEventRecordInit();
    record.event_id = 7;
    record.utc_ns = record.ptp_ns = 1700000000000000000u;
    record.source_id = "psu-1";
    record.message = "is too hot";
    record.value = 81.25;
    record.units = "C";

    if (zvEventRegisterCallback(Print, received_by, &callback_id) != ZVEVENT_OK)
        return Fail("register");
    if (zvEventInitialize("consumer.xml") != ZVEVENT_OK) return Fail("initialize");
    if (zvEventSubmit(&record) != ZVEVENT_OK) return Fail("submit");
    if (zvEventShutdown() != ZVEVENT_OK) return Fail("shutdown");

    file = fopen("consumer.csv", "rb");
    if (file == NULL) return Fail("CSV file");
    while (fgets(line, (int)sizeof line, file) != NULL)
        printf("%s", line);
    return fclose(file);
}
