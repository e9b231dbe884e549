// The list that crosses the border, driven through its virtual table alone.
#include "frame/vx_list.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/raw_slots.h"

namespace vx {
namespace {

using test_support::CallSlot;
using Numbers = std::vector<int>;

void PushBack(List<int>& list, const Numbers& values) {
    for (const int value : values)
        EXPECT_EQ(CallSlot<uint32_t>(&list, 0, &value), 0U);
}

Numbers ValuesOf(List<int>& list) {
    Numbers values;
    auto* const walker = CallSlot<IConstListEnum<int>*>(&list, 9);
    for (; CallSlot<bool>(walker, 0); CallSlot<void*>(walker, 1))
        values.push_back(*CallSlot<const int*>(walker, 2));
    CallSlot<void>(walker, 3);
    EXPECT_EQ(CallSlot<uint64_t>(&list, 12), values.size());
    return values;
}

TEST(VxList, TheEndsOfAnEmptyAndOfAFilledList) {
    const struct {
        size_t pointer;  // slot that gives a pointer
        int expected;
    } kEnds[] = {{2, 3}, {3, 3}, {5, 1}, {6, 1}};
    List<int> list;
    int out = 77;
    for (const auto& [slot, expected] : kEnds)
        EXPECT_EQ(CallSlot<int*>(&list, slot), nullptr) << slot;
    for (const size_t slot : {4, 7})
        EXPECT_EQ(CallSlot<uint32_t>(&list, slot, &out), 1168U);
    EXPECT_EQ(out, 77);

    PushBack(list, {2, 3});
    const int first = 1;
    EXPECT_EQ(CallSlot<uint32_t>(&list, 1, &first), 0U);
    EXPECT_EQ(ValuesOf(list), (Numbers{1, 2, 3}));
    for (const auto& [slot, expected] : kEnds)
        EXPECT_EQ(*CallSlot<int*>(&list, slot), expected) << slot;
    EXPECT_EQ(CallSlot<uint32_t>(&list, 4, &out), 0U);
    EXPECT_EQ(out, 3);
    EXPECT_EQ(CallSlot<uint32_t>(&list, 7, &out), 0U);
    EXPECT_EQ(out, 1);
    CallSlot<void>(&list, 11);
    EXPECT_EQ(ValuesOf(list), Numbers());
}

TEST(VxList, ErasesWhileItIsWalked) {
    const struct {
        Numbers erased;
        Numbers left;
    } kCases[] = {{{1}, {2, 3}}, {{3}, {1, 2}}, {{1, 2}, {3}}, {{1, 2, 3}, {}}, {{}, {1, 2, 3}}};
    for (const auto& c : kCases) {
        List<int> list;
        PushBack(list, {1, 2, 3});
        auto* const walker = CallSlot<IListEnum<int>*>(&list, 10);
        while (CallSlot<bool>(walker, 0)) {
            if (std::count(c.erased.begin(), c.erased.end(), *CallSlot<int*>(walker, 2)) != 0) {
                CallSlot<void>(&list, 8, walker);
            } else {
                CallSlot<void*>(walker, 1);
            }
        }
        CallSlot<void>(&list, 8, walker);  // at the end: nothing
        EXPECT_EQ(ValuesOf(list), c.left);
        CallSlot<void*>(walker, 4);
        EXPECT_EQ(CallSlot<bool>(walker, 0), !c.left.empty()) << "back on the first entry";
        CallSlot<void*>(walker, 5, uint32_t{1});
        PushBack(list, {9});
        EXPECT_EQ(*list.Back(), 9);
    }
}

}  // namespace
}  // namespace vx
