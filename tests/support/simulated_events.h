// What the simulated event log holds, and what a test sees of it.
#pragma once

#include <cstdint>

struct SimulatedEvent {
    uint64_t writtenTicks;  // 0: the event doesn't tell
    uint32_t bootTimeMs;    // 0: the event doesn't tell
};

struct SimulatedEvents {
    static constexpr int kMost = 4;

    SimulatedEvent events[kMost];  // the newest first
    int count;
    const char* failing;  // the function that fails; null for none
    int openHandles;
    int subscriptions;     // made in all
    uint64_t bookmark;     // when the event behind which the last one starts was written
    const void* delivery;  // who hears of events; null when there is no subscription
};

/// Exports of the simulated library.
using SimulatedEventsFunction = SimulatedEvents*();
/// Hands an event to the subscription that there is, on the caller's thread.
using DeliverEventFunction = void(const SimulatedEvent*);
