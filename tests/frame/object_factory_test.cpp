// How components and work items come and go: who is destroyed, who is only freed, and with which codes.
#include "frame/object_factory.h"

#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <windows.h>

#include "frame/exported_singleton.h"
#include "frame/work_item.h"
#include "tests/support/raw_slots.h"

namespace optimizer {
namespace {

using test_support::CallSlot;

int g_made = 0;
int g_destroyed = 0;

class Component final : public IVxBaseInterface {
public:
    Component() { ++g_made; }
    ~Component() { ++g_destroyed; }

    void* QueryInterface(const Identifier* iid) override { return *iid == kIdentifier ? this : nullptr; }
    void DeletingDestructor(uint32_t) { delete this; }
};

constexpr Identifier kStrange = {1, 2, 3, {}};

const ComponentEntry kTable[] = {
    OwnedComponent<Component>(L"owned"),
    RawComponent<Component>(L"raw"),
    {L"scarce", []() -> IVxBaseInterface* { return nullptr; }, nullptr, nullptr},
    {L"throws", []() -> IVxBaseInterface* { throw std::bad_alloc(); }, nullptr, nullptr},
};

class ObjectFactory : public testing::Test {
protected:
    ObjectFactory() { g_made = g_destroyed = 0; }

    static uint32_t Create(const wchar_t* name, const Identifier* iid, void** out) {
        return CreateComponent(kTable, std::size(kTable), name, iid, out);
    }
    static void Destroy(const wchar_t* name, void* object) {
        DestroyComponent(kTable, std::size(kTable), name, object);
    }
};

TEST_F(ObjectFactory, EveryFailureHasItsCodeAndANullObject) {
    const Identifier base = IVxBaseInterface::kIdentifier;
    const struct {
        const wchar_t* name;
        const Identifier* iid;
        uint32_t error;
        int made;
    } kCases[] = {
        {nullptr, &base, ERROR_INVALID_DATA, 0},  {L"owned", nullptr, ERROR_INVALID_DATA, 0},
        {L"unknown", &base, ERROR_NOT_FOUND, 0},  {L"", &base, ERROR_NOT_FOUND, 0},
        {L"scarce", &base, ERROR_OUTOFMEMORY, 0}, {L"throws", &base, ERROR_OUTOFMEMORY, 0},
        {L"raw", &kStrange, ERROR_NOT_FOUND, 1},  {L"owned", &kStrange, ERROR_NOT_FOUND, 1},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << (c.name != nullptr ? c.name : L"null") << L" " << c.error);
        g_made = g_destroyed = 0;
        void* out = this;
        EXPECT_EQ(Create(c.name, c.iid, &out), c.error);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(g_made, c.made);
        EXPECT_EQ(g_destroyed, c.made);
    }
    EXPECT_EQ(Create(L"owned", &base, nullptr), ERROR_INVALID_DATA);
}

TEST_F(ObjectFactory, NamesIgnoreCaseAndOnlyAnOwnedComponentIsDestroyed) {
    for (const auto& [name, destroyed] : {std::pair{L"OWNED", 1}, std::pair{L"Raw", 0}}) {
        g_destroyed = 0;
        void* out = nullptr;
        ASSERT_EQ(Create(name, &IVxBaseInterface::kIdentifier, &out), ERROR_SUCCESS);
        Destroy(L"unknown", out);
        Destroy(nullptr, out);
        Destroy(name, nullptr);
        EXPECT_EQ(g_destroyed, 0);
        Destroy(name, out);
        EXPECT_EQ(g_destroyed, destroyed) << name;
    }
}

TEST_F(ObjectFactory, ASingletonLivesFromTheFirstReferenceToTheLast) {
    const IObjectConstructor* address = nullptr;
    {
        ExportedSingletonDeclaration<Component> declaration(L"component");
        address = &declaration;
        EXPECT_TRUE(IsConstructorRegistered(address));
        EXPECT_EQ(g_made, 0);
        EXPECT_EQ(declaration.Create(), declaration.Create());
        declaration.Release();
        EXPECT_EQ(g_destroyed, 0);
        declaration.Release();
        EXPECT_EQ(g_destroyed, 1);
        declaration.Create();
        EXPECT_EQ(g_made, 2);
    }
    EXPECT_EQ(g_destroyed, 2) << "a reference left over ends with the declaration";
    EXPECT_FALSE(IsConstructorRegistered(address));
}

using Text = std::shared_ptr<std::string>;

struct Target {
    void None() { heard += "none;"; }
    void One(Text text) { heard += *text + ";"; }
    void Two(wchar_t* word, int n) { heard += std::to_string(word[0]) + "," + std::to_string(n) + ";"; }
    void Three(DWORD a, DWORD b, const int* c) {
        heard += std::to_string(a) + "," + std::to_string(b) + "," + std::to_string(*c) + ";";
    }

    std::string heard;
};

TEST(WorkItems, RunWithTheirArgumentsAndEndWithDispose) {
    Target target;
    const Text text = std::make_shared<std::string>("one");
    wchar_t word[] = L"A";
    const int last = 3;
    EqWorkItem* const items[] = {
        new EqWorkItemMember0<void, Target>(&target, &Target::None),
        new EqWorkItemMember1<void, Target, Text>(&target, text, &Target::One),
        new EqWorkItemMember2<void, Target, wchar_t*, int>(&target, word, -2, &Target::Two),
        new EqWorkItemMember3<void, Target, DWORD, DWORD, const int*>(&target, 1, ~0U, &last, &Target::Three),
    };
    for (EqWorkItem* const item : items)
        CallSlot<void>(item, 2);
    EXPECT_EQ(target.heard, "none;one;65,-2;1,4294967295,3;");
    EXPECT_EQ(text.use_count(), 2) << "a run doesn't end the item: timers run again";
    for (EqWorkItem* const item : items)
        CallSlot<void>(item, 1);
    EXPECT_EQ(text.use_count(), 1);
}

}  // namespace
}  // namespace optimizer
