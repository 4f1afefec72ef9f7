// Exceptions of MSVC's runtime, raised as that does it.
#include <gtest/gtest.h>
#include <windows.h>

#include <stdexcept>

#include "sinks/callback_sink.h"
#include "support/sample_event.h"

namespace {

void RaiseAsMsvcDoes(const zvEventRecord*, void*) {
    const ULONG_PTR details[4] = {0x19930520, 0, 0, 0};
    RaiseException(0xE06D7363, EXCEPTION_NONCONTINUABLE, 4, details);
}

void Throw(const zvEventRecord*, void*) {
    throw std::runtime_error("of the library's own runtime");
}

TEST(ForeignException, EndsAtTheCallbackThatItLeaves) {
    zvEventCallbackSink sink;
    int calls = 0;
    const auto count = [](const zvEventRecord*, void* number) { ++*static_cast<int*>(number); };
    std::uint32_t id = 0;
    for (const zvEventCallback callback : {RaiseAsMsvcDoes, Throw, +count})
        sink.Register(callback, &calls, &id);
    for (int round = 1; round <= 2; ++round) {
        EXPECT_EQ(sink.write(zvevent::test::SampleEvent(), nullptr), ZVEVENT_E_FAILURE);
        EXPECT_EQ(calls, round);
    }
}

}  // namespace
