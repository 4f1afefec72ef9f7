/* A C program on the public header and the real library: one event through a callback. Its exit
 * code is the line that failed, or 0. */
#include <stdio.h>
#include <string.h>

#include "zvEvent/zvEvent.h"

#define CHECK(condition) \
    if (!(condition)) return __LINE__

static void KeepMessage(const zvEventRecord* event, void* user_data) {
    if (event->struct_size == sizeof *event) strncpy(user_data, event->message, 63);
}

int main(void) {
    char message[64] = "";
    uint32_t callback_id = 0;
    zvEventRecord record = zvEventRecordInit();
    FILE* const file = fopen("c_program.xml", "w");
    CHECK(file != NULL);
    fputs(
        "<zvCFG><key name='QRV'><key name='Events'><key name='sink'><key name='native'><key "
        "name='main'><value name='enabled'>0</value></key></key></key></key></key></zvCFG>",
        file);
    CHECK(fclose(file) == 0);
    CHECK(zvEventRegisterCallback(KeepMessage, message, &callback_id) == ZVEVENT_OK);
    CHECK(zvEventInitialize("c_program.xml") == ZVEVENT_OK);
    record.message = "from C";
    CHECK(zvEventSubmit(&record) == ZVEVENT_OK && zvEventShutdown() == ZVEVENT_OK);
    return strcmp(message, "from C") == 0 ? 0 : __LINE__;
}
