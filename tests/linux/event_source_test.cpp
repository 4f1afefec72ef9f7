// Installing and removing event sources where the system has none.
#include <gtest/gtest.h>

#include <cerrno>

#include "base/last_error.h"
#include "zvEvent/zvEvent.h"

TEST(EventSource, CannotBeInstalledAndIsNeverThere) {
    EXPECT_EQ(zvEventInstallWindowsEventSource("zvEvent", nullptr), ZVEVENT_E_FAILURE);
    EXPECT_EQ(
        zvevent::LastErrorText(),
        "Unable to create Windows Event Log source registry key error=" + std::to_string(ENOTSUP));
    EXPECT_EQ(zvEventRemoveWindowsEventSource("zvEvent"), ZVEVENT_OK);
}
