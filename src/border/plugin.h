// The root of all interfaces and the shape of every component.
#pragma once

#include "border/identifier.h"

struct IServMain;

/// The root of all interfaces. There is no reference counting: an object lives from VxCreateObject to
/// VxDestroyObject, or from GetPlugin to ReleasePlugin of the component manager.
struct IVxBaseInterface {
    static constexpr Identifier kIdentifier = {
        0x66551ab3, 0xfca3, 0xbc90, {0x5f, 0x42, 0xc5, 0xf7, 0x92, 0xe2, 0x4b, 0x51}};

    /// Returns the object's pointer for the interface, or null when the object doesn't implement it.
    virtual void* QueryInterface(const Identifier* iid) = 0;  // 0
};

/// A component. The host calls Init, Start, the component's own operations, Stop and UnInit, in this order.
/// Results are Windows error codes, 0 for success.
struct IServPlugin : IVxBaseInterface {
    static constexpr Identifier kIdentifier = {
        0x414e2323, 0x04d0, 0x9833, {0x76, 0x41, 0x88, 0x7c, 0x5d, 0x82, 0x52, 0xe9}};

    /// Keeps `main` and takes the plug-ins that the component needs. A failed Init has called UnInit on
    /// itself.
    virtual uint32_t Init(IServMain* main) = 0;  // 1
    /// Drops what Init took. May be called more than once.
    virtual void UnInit() = 0;     // 2
    virtual uint32_t Start() = 0;  // 3
    virtual uint32_t Stop() = 0;   // 4
};

/// A component that offers nothing but its life cycle.
struct IPlainPlugin : IServPlugin {
    /// Flag 1 frees the memory.
    virtual void* DeletingDestructor(uint32_t flags) = 0;  // 5
};

/// The two exports by which every library of the suite makes and ends its components. The name's case is
/// ignored.
using VxCreateObjectFunction = uint32_t(const wchar_t* name, const Identifier* iid, void** out);
using VxDestroyObjectFunction = void(const wchar_t* name, void* object);
