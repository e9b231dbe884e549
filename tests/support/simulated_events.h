// What the simulated event log holds, and what a test sees of it.
#pragma once

#include <cstdint>
#include <string_view>

struct SimulatedEvent {
    uint64_t writtenTicks;  // 0: the event doesn't tell
    uint32_t bootTimeMs;    // 0: the event doesn't tell
};

/// Export "SimulatedLog" gives it; "DeliverEvent" hands one to the subscription that there is, on the
/// caller's thread.
struct SimulatedEvents {
    SimulatedEvent events[4];  // the newest first
    int count;
    std::string_view failing;  // the function that fails
    int openHandles;
    int subscriptions;     // made in all
    uint64_t bookmark;     // when the event behind which the last one starts was written
    const void* delivery;  // who hears of events; null when there is no subscription
};
