#include "comm/boot_time_records.h"

#include <algorithm>
#include <cwchar>

#include "frame/vx_list.h"

namespace boottime {

namespace {

using optimizer::CByteStream;

constexpr size_t kMostTold = 1000;  // processes in a trace

struct CounterField {
    int32_t ProcessCounters::*member;
    const wchar_t* name;
};

constexpr CounterField kCounters[] = {
    {&ProcessCounters::cpuKernelTime, L"cpuKernelTime"}, {&ProcessCounters::cpuUserTime, L"cpuUserTime"},
    {&ProcessCounters::bytesRead, L"bytesRead"},         {&ProcessCounters::bytesWritten, L"bytesWritten"},
    {&ProcessCounters::bytesOther, L"bytesOther"},
};

struct SpeedField {
    double DiskSpeed::*member;
    const wchar_t* name;
};

constexpr SpeedField kSpeeds[] = {
    {&DiskSpeed::min_hddUsage, L"min_hddUsage"},
    {&DiskSpeed::max_hddUsage, L"max_hddUsage"},
    {&DiskSpeed::average_hddUsage, L"average_hddUsage"},
};

template <class Record, class Field, size_t Count>
std::wstring NamedValues(const Record& record, const Field (&fields)[Count]) {
    std::wstring text;
    for (const Field& field : fields) {
        if (!text.empty()) text += L' ';
        text += field.name;
        text += L'=' + std::to_wstring(record.*field.member);
    }
    return text;
}

}  // namespace

void Write(CByteStream& stream, const ProcessCounters& counters) {
    stream.Write(&counters, sizeof counters);
}

void Write(CByteStream& stream, const DiskSpeed& speed) {
    stream.Write(&speed, sizeof speed);
}

void WriteFilter(CByteStream& stream, const ProcessImpact& filter) {
    stream.Write(&filter.ppid, sizeof filter.ppid);
    stream.Write(&filter.pid, sizeof filter.pid);
    stream.WriteString(filter.name.Text());
}

bool Write(CByteStream& stream, ImpactList& list) {
    constexpr size_t kFixedBytes = 8 + 8 + 4 + sizeof(wchar_t) + sizeof(ProcessCounters);
    uint64_t count = 0;
    size_t expectedBytes = stream.SizeBytes() + sizeof(uint32_t);
    stream.WriteUint32(static_cast<uint32_t>(list.GetCount()));
    vx::ForEach(list, [&](const ProcessImpact& impact) {
        WriteFilter(stream, impact);
        Write(stream, impact.counters);
        expectedBytes += kFixedBytes + std::wcslen(impact.name.Text()) * sizeof(wchar_t);
        ++count;
    });
    return count == list.GetCount() && stream.SizeBytes() == expectedBytes;
}

void Read(CByteStream& stream, ProcessCounters& counters) {
    for (const CounterField& field : kCounters)
        stream.Read(&(counters.*field.member), sizeof(int32_t));
}

void Read(CByteStream& stream, DiskSpeed& speed) {
    for (const SpeedField& field : kSpeeds)
        stream.Read(&(speed.*field.member), sizeof(double));
}

void ReadFilter(CByteStream& stream, ProcessImpact& filter) {
    stream.Read(&filter.ppid, sizeof filter.ppid);
    stream.Read(&filter.pid, sizeof filter.pid);
    const std::wstring name = stream.ReadString();
    if (!name.empty()) filter.name.Assign(name.c_str());
}

uint32_t Read(CByteStream& stream, ImpactList& list) {
    const uint32_t count = std::min(stream.ReadUint32(), kMostElements);
    uint32_t error = 0;
    for (uint32_t i = 0; i < count && error == 0; ++i) {
        ProcessImpact impact = {};
        ReadFilter(stream, impact);
        Read(stream, impact.counters);
        error = list.PushBack(impact);
    }
    return error;
}

std::wstring TextOf(const ProcessCounters& counters) {
    return NamedValues(counters, kCounters);
}

std::wstring TextOf(const DiskSpeed& speed) {
    return NamedValues(speed, kSpeeds);
}

/// A list may claim more processes than any machine has, and its text costs more than all the rest.
std::wstring TextOf(ImpactList& list) {
    std::wstring text;
    size_t told = 0;
    vx::ForEach(list, [&](const ProcessImpact& impact) {
        if (++told > kMostTold) return;
        text += L"ppid=" + std::to_wstring(impact.ppid) + L" pid=" + std::to_wstring(impact.pid) + L" name=" +
                impact.name.Text() + L' ' + TextOf(impact.counters) + L", ";
    });
    if (told > kMostTold) text += L"...";
    return text;
}

}  // namespace boottime
