// The list that crosses the border, driven through its virtual table alone.
#include "frame/vx_list.h"

#include <vector>

#include <gtest/gtest.h>

#include "tests/support/raw_slots.h"

namespace vx {
namespace {

using test_support::CallSlot;
using Numbers = std::vector<int>;

Numbers ValuesOf(List<int>& list) {
    Numbers values;
    auto* const walker = CallSlot<IConstListEnum<int>*>(&list, 9);
    for (; CallSlot<bool>(walker, 0); CallSlot<void*>(walker, 1))
        values.push_back(*CallSlot<const int*>(walker, 2));
    CallSlot<void>(walker, 3);
    EXPECT_EQ(CallSlot<uint64_t>(&list, 12), values.size());
    return values;
}

TEST(VxList, FillsAndErasesWhileItIsWalked) {
    List<int> list;
    for (const int value : {1, 2, 3})
        EXPECT_EQ(CallSlot<uint32_t>(&list, 0, &value), 0U);
    auto* const walker = CallSlot<IListEnum<int>*>(&list, 10);
    CallSlot<void*>(walker, 1);
    CallSlot<void>(&list, 8, walker);
    EXPECT_EQ(*CallSlot<int*>(walker, 2), 3) << "stands on the next one";
    CallSlot<void>(walker, 3);
    EXPECT_EQ(ValuesOf(list), (Numbers{1, 3}));
}

}  // namespace
}  // namespace vx
