// The list that carries records across the border; implemented by frame/vx_list.h.
#pragma once

#include <stdint.h>

namespace vx {

/// Whoever asks a list for an enumerator must call Release, on an enumerator that isn't null.
template <class T>
struct IConstListEnum {
    virtual bool HasCurrent() = 0;  // 0
    /// Steps on and returns the entry it left.
    virtual void* MoveNext() = 0;                          // 1
    virtual const T* Current() = 0;                        // 2
    virtual void Release() = 0;                            // 3
    virtual void* Reset() = 0;                             // 4
    virtual void* DeletingDestructor(uint32_t flags) = 0;  // 5
};

template <class T>
struct IListEnum {
    virtual bool HasCurrent() = 0;                         // 0
    virtual void* MoveNext() = 0;                          // 1
    virtual T* Current() = 0;                              // 2
    virtual void Release() = 0;                            // 3
    virtual void* Reset() = 0;                             // 4
    virtual void* DeletingDestructor(uint32_t flags) = 0;  // 5
};

/// Results are 0, or 1168 (ERROR_NOT_FOUND) for an empty list.
template <class T>
struct IList {
    virtual uint32_t PushBack(const T& value) = 0;     // 0
    virtual uint32_t PushFront(const T& value) = 0;    // 1
    virtual const T* ConstBack() = 0;                  // 2
    virtual T* Back() = 0;                             // 3
    virtual uint32_t GetBack(T* out) = 0;              // 4
    virtual const T* ConstFront() = 0;                 // 5
    virtual T* Front() = 0;                            // 6
    virtual uint32_t GetFront(T* out) = 0;             // 7
    virtual void Erase(IListEnum<T>* enumerator) = 0;  // 8
    virtual IConstListEnum<T>* CreateConstEnum() = 0;  // 9
    virtual IListEnum<T>* CreateEnum() = 0;            // 10
    virtual void Clear() = 0;                          // 11
    virtual uint64_t GetCount() = 0;                   // 12
};

}  // namespace vx
