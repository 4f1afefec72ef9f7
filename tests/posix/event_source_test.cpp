// Installing and removing event sources where the system has none.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "base/last_error.h"
#include "zvEvent/zvEvent.h"

namespace {

TEST(EventSource, CannotBeInstalledAndIsNeverThere) {
    EXPECT_EQ(zvEventInstallWindowsEventSource("zvEvent", nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(
        zvevent::LastErrorText(),
        "Unable to create Windows Event Log source registry key error=" + std::to_string(ENOTSUP));
    EXPECT_EQ(zvEventRemoveWindowsEventSource("zvEvent"), ZVEVENT_OK);
    EXPECT_EQ(zvevent::LastErrorText(), "");
}

TEST(EventSource, ChecksTheNameFirst) {
    for (const char* name : {static_cast<const char*>(nullptr), "", "a\\b", "\\"}) {
        EXPECT_EQ(zvEventInstallWindowsEventSource(name, "file"), ZVEVENT_E_INVALID_ARGUMENT);
        EXPECT_EQ(zvevent::LastErrorText(), "Invalid Windows Event Log source name");
        EXPECT_EQ(zvEventRemoveWindowsEventSource(name), ZVEVENT_E_INVALID_ARGUMENT);
        EXPECT_EQ(zvevent::LastErrorText(), "Invalid Windows Event Log source name");
    }
}

}  // namespace
