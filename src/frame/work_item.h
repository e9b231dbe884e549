#pragma once

#include <tuple>

#include "border/host.h"
#include "frame/deleting_destructor.h"

namespace optimizer {

/// A unit of work that calls a member function of `T` with the arguments it carries. Disposing of it deletes
/// it. An argument that points to allocated data belongs to the member function, which frees it.
template <class R, class T, class... Arguments>
class EqWorkItemMember final
    : public WithDeletingDestructor<EqWorkItemMember<R, T, Arguments...>, EqWorkItem> {
public:
    using Member = R (T::*)(Arguments...);

    EqWorkItemMember(T* target, Arguments... arguments, Member member)
        : m_target(target), m_arguments(arguments...), m_member(member) {}

    void Dispose() override { this->DeletingDestructor(1); }

    void Execute() override {
        std::apply([this](const Arguments&... arguments) { (m_target->*m_member)(arguments...); },
                   m_arguments);
    }

private:
    T* m_target;
    std::tuple<Arguments...> m_arguments;
    Member m_member;
};

template <class R, class T>
using EqWorkItemMember0 = EqWorkItemMember<R, T>;
template <class R, class T, class A>
using EqWorkItemMember1 = EqWorkItemMember<R, T, A>;
template <class R, class T, class A, class B>
using EqWorkItemMember2 = EqWorkItemMember<R, T, A, B>;
template <class R, class T, class A, class B, class C>
using EqWorkItemMember3 = EqWorkItemMember<R, T, A, B, C>;

}  // namespace optimizer
