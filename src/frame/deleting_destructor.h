#pragma once

#include <cstdint>

namespace optimizer {

/// Gives `Class` the deleting destructor of its boundary interface: flag 1 frees the memory too.
template <class Class, class Interface>
class WithDeletingDestructor : public Interface {
public:
    void* DeletingDestructor(uint32_t flags) override {
        auto* const self = static_cast<Class*>(this);
        if ((flags & 1) != 0) {
            delete self;
        } else {
            self->~Class();
        }
        return self;  // NOLINT(clang-analyzer-cplusplus.NewDelete): only the address travels
    }

protected:
    ~WithDeletingDestructor() = default;
};

}  // namespace optimizer
