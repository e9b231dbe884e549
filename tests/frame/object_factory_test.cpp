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

/// A plug-in that answers for one interface, and counts.
class Component final : public IVxBaseInterface {
public:
    Component() { ++g_made; }
    ~Component() { ++g_destroyed; }

    void* QueryInterface(const Identifier* iid) override {
        return *iid == IVxBaseInterface::kIdentifier ? this : nullptr;
    }
    void* DeletingDestructor(uint32_t) {
        delete this;
        return nullptr;
    }
};

constexpr Identifier kStrange = {1, 2, 3, {}};

const ComponentEntry kTable[] = {
    OwnedComponent<Component>(L"owned"),
    RawComponent<Component>(L"raw"),
    {L"scarce", []() -> IVxBaseInterface* { return nullptr; }, nullptr, nullptr},
};

uint32_t Create(const wchar_t* name, const Identifier* iid, void** out) {
    return CreateComponent(kTable, std::size(kTable), name, iid, out);
}

class ObjectFactory : public testing::Test {
protected:
    ObjectFactory() { g_made = g_destroyed = 0; }
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
        {L"scarce", &base, ERROR_OUTOFMEMORY, 0}, {L"owned", &kStrange, ERROR_NOT_FOUND, 1},
        {L"raw", &kStrange, ERROR_NOT_FOUND, 1},
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
    EXPECT_EQ(Create(nullptr, nullptr, nullptr), ERROR_INVALID_DATA);
}

TEST_F(ObjectFactory, NamesIgnoreCaseAndOnlyAnOwnedComponentIsDestroyed) {
    for (const auto& [name, destroyed] : {std::pair{L"OWNED", 1}, std::pair{L"Raw", 0}}) {
        g_destroyed = 0;
        void* out = nullptr;
        ASSERT_EQ(Create(name, &IVxBaseInterface::kIdentifier, &out), ERROR_SUCCESS);
        DestroyComponent(kTable, std::size(kTable), L"unknown", out);
        DestroyComponent(kTable, std::size(kTable), name, nullptr);
        DestroyComponent(kTable, std::size(kTable), nullptr, out);
        EXPECT_EQ(g_destroyed, 0);
        DestroyComponent(kTable, std::size(kTable), name, out);
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
        declaration.Release();  // one too many
        declaration.Create();
        EXPECT_EQ(g_made, 2);
    }
    EXPECT_EQ(g_destroyed, 2) << "a reference left over ends with the declaration";
    EXPECT_FALSE(IsConstructorRegistered(address));
}

class Target {
public:
    void Nothing() { heard += "nothing;"; }
    void Text(std::shared_ptr<std::string> text) { heard += *text + ";"; }
    void Two(wchar_t* word, int number) {
        heard += std::to_string(word[0]) + "," + std::to_string(number) + ";";
    }
    void Three(DWORD a, DWORD b, const int* c) {
        heard += std::to_string(a) + "," + std::to_string(b) + "," + std::to_string(*c) + ";";
    }

    std::string heard;
};

TEST(WorkItems, RunWithTheirArgumentsAndEndWithDispose) {
    Target target;
    const auto text = std::make_shared<std::string>("text");
    wchar_t word[] = L"A";
    const int last = 3;
    EqWorkItem* const items[] = {
        new EqWorkItemMember0<void, Target>(&target, &Target::Nothing),
        new EqWorkItemMember1<void, Target, std::shared_ptr<std::string>>(&target, text, &Target::Text),
        new EqWorkItemMember2<void, Target, wchar_t*, int>(&target, word, -2, &Target::Two),
        new EqWorkItemMember3<void, Target, DWORD, DWORD, const int*>(&target, 1, 0xFFFFFFFF, &last,
                                                                      &Target::Three),
    };
    EXPECT_EQ(text.use_count(), 2);
    for (EqWorkItem* const item : items)
        CallSlot<void>(item, 2);
    EXPECT_EQ(target.heard, "nothing;text;65,-2;1,4294967295,3;");
    EXPECT_EQ(text.use_count(), 2) << "a run doesn't end the item: timers run again";
    for (EqWorkItem* const item : items)
        CallSlot<void>(item, 1);
    EXPECT_EQ(text.use_count(), 1);

    using Item = EqWorkItemMember1<void, Target, std::shared_ptr<std::string>>;
    alignas(Item) std::byte storage[sizeof(Item)];
    auto* const item = new (storage) Item(&target, text, &Target::Text);
    EXPECT_EQ(CallSlot<void*>(item, 0, uint32_t{0}), item) << "flag 0 leaves the memory";
    EXPECT_EQ(text.use_count(), 1);
}

}  // namespace
}  // namespace optimizer
