#include "frame/object_factory.h"

#include <cwchar>

#include <windows.h>

#include "frame/guarded.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

const ComponentEntry* Find(const ComponentEntry* table, size_t count, const wchar_t* name) {
    for (size_t i = 0; i < count; ++i) {
        if (_wcsicmp(table[i].name, name) == 0) return &table[i];
    }
    return nullptr;
}

void Trace(const ComponentEntry& entry, int32_t level, const wchar_t* CreationTraces::*text) {
    if (entry.traces == nullptr) return;
    TRACE_SCOPE("VxCreateObject");
    TRACE_LINE(level, entry.traces->*text);
}

}  // namespace

uint32_t CreateComponent(const ComponentEntry* table, size_t count, const wchar_t* name,
                         const Identifier* iid, void** out) {
    if (out == nullptr) return ERROR_INVALID_DATA;
    *out = nullptr;
    if (name == nullptr || iid == nullptr) return ERROR_INVALID_DATA;
    const Identifier wanted = *iid;

    const ComponentEntry* const entry = Find(table, count, name);
    if (entry == nullptr) return ERROR_NOT_FOUND;
    IVxBaseInterface* object = nullptr;
    // The allocation doesn't throw, but a constructor may.
    const uint32_t error = Guarded([&] { return object = entry->create(), uint32_t{ERROR_SUCCESS}; });
    Trace(*entry, trace::kInformation, &CreationTraces::created);
    if (error != ERROR_SUCCESS) return error;
    if (object == nullptr) return ERROR_OUTOFMEMORY;
    *out = object->QueryInterface(&wanted);
    Trace(*entry, trace::kInformation, &CreationTraces::asked);
    if (*out != nullptr) return ERROR_SUCCESS;
    entry->discard(object);
    Trace(*entry, trace::kError, &CreationTraces::notFound);
    return ERROR_NOT_FOUND;
}

void DestroyComponent(const ComponentEntry* table, size_t count, const wchar_t* name, void* object) {
    if (name == nullptr || object == nullptr) return;
    if (const ComponentEntry* const entry = Find(table, count, name)) entry->destroy(object);
}

}  // namespace optimizer
