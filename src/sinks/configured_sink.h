// A sink that takes every event and does nothing: stands for an enabled section whose kind has no
// output of its own, so that the section is accepted and counted.
#pragma once

#include "config/config.h"
#include "sinks/sink.h"

class zvEventConfiguredSink final : public zvEventSink {
public:
    explicit zvEventConfiguredSink(const zvEventSinkConfig& config)
        : zvEventSink(config), config_(config) {}

    std::uint32_t write(const zvEventNormalizedEvent&, std::uint64_t*) override {
        return ZVEVENT_OK;
    }

private:
    zvEventSinkConfig config_;
};
