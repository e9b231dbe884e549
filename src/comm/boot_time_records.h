// The records of the boot-time pipe: how they are packed, and how traces show them.
#pragma once

#include <string>

#include "border/boot_time.h"
#include "comm/byte_stream.h"
#include "frame/process_impact.h"

namespace boottime {

using ImpactList = vx::IList<ProcessImpact>;

/// A list has no more elements than this, whatever its count says: many times what a machine runs.
inline constexpr uint32_t kMostElements = 0x10000;

void Write(optimizer::CByteStream& stream, const ProcessCounters& counters);
void Write(optimizer::CByteStream& stream, const DiskSpeed& speed);
void WriteFilter(optimizer::CByteStream& stream, const ProcessImpact& filter);
/// An empty list when the memory is too short to walk it.
void Write(optimizer::CByteStream& stream, ImpactList& list);

/// What isn't there stays as it was, number by number.
void Read(optimizer::CByteStream& stream, ProcessCounters& counters);
void Read(optimizer::CByteStream& stream, DiskSpeed& speed);
/// Into an empty filter, which a payload without one leaves empty.
void ReadFilter(optimizer::CByteStream& stream, ProcessImpact& filter);
/// Adds the elements behind what the list held. Elements that the count tells of and that aren't there are
/// zeros, up to kMostElements. 0, or the list's error.
uint32_t Read(optimizer::CByteStream& stream, ImpactList& list);

std::wstring TextOf(const ProcessCounters& counters);
std::wstring TextOf(const DiskSpeed& speed);
std::wstring TextOf(ImpactList& list);

}  // namespace boottime
