/* A C program on the public header and the real library: one event through a callback, and the
 * calls around it. Its configuration file lies in the current directory. Exits 0 when all is well;
 * otherwise it says which line failed. */
#include <stdio.h>
#include <string.h>

#include "zvEvent/zvEvent.h"

#define CHECK(condition)                                                    \
    do {                                                                    \
        if (!(condition)) {                                                 \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
            return 1;                                                       \
        }                                                                   \
    } while (0)

static const char* const kConfigPath = "c_program.xml";
static const char* const kConfig =
    "<zvCFG><key name='QRV'><key name='Events'><key name='sink'><key name='native'>"
    "<key name='main'><value name='enabled'>0</value></key>"
    "</key></key></key></key></zvCFG>";

static void KeepMessage(const zvEventRecord* event, void* user_data) {
    char* message = user_data;
    if (event->struct_size == sizeof *event) strncpy(message, event->message, 63);
}

int main(void) {
    char text[64];
    char message[64] = "";
    uint32_t callback_id = 0;
    zvEventRecord record = {0};
    FILE* const file = fopen(kConfigPath, "w");
    CHECK(file != NULL && fputs(kConfig, file) >= 0 && fclose(file) == 0);

    CHECK(zvEventGetApiVersion() == ZVEVENT_API_VERSION);
    CHECK(zvEventSubmitSimple(0, zvEventSeverityInfo, "c", "too early") ==
          ZVEVENT_E_NOT_INITIALIZED);
    CHECK(zvEventGetLastError(text, sizeof text) == ZVEVENT_OK);
    CHECK(strcmp(text, "zvEvent is not initialized") == 0);

    CHECK(zvEventRegisterCallback(KeepMessage, message, &callback_id) == ZVEVENT_OK);
    CHECK(zvEventInitialize(kConfigPath) == ZVEVENT_OK);
    record.struct_size = sizeof record;
    record.version = ZVEVENT_API_VERSION;
    record.message = "from C";
    record.severity = zvEventSeverityError;
    CHECK(zvEventSubmit(&record) == ZVEVENT_OK);
    CHECK(zvEventFlush(10000) == ZVEVENT_OK);
    CHECK(strcmp(message, "from C") == 0);
    CHECK(zvEventReloadConfig(NULL) == ZVEVENT_OK);
    CHECK(zvEventUnregisterCallback(callback_id) == ZVEVENT_OK);
    CHECK(zvEventShutdown() == ZVEVENT_OK);
    return 0;
}
