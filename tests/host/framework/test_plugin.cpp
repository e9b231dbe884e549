// A plug-in of any name that tells the test program of each step of its life, such as "a.Init", and gives
// what that answers: "create", "Init", "Start", "Stop", "UnInit" and "destroy".
#include <memory>
#include <string>

#include "border/plugin.h"
#include "frame/handles.h"

namespace {

class TestPlugin final : public IServPlugin {
public:
    explicit TestPlugin(const wchar_t* name) : m_name(name) { _Tell(L"create"); }
    ~TestPlugin() { _Tell(L"destroy"); }

    void* QueryInterface(const Identifier*) override { return this; }
    uint32_t Init(IServMain*) override { return _Tell(L"Init"); }
    void UnInit() override { _Tell(L"UnInit"); }
    uint32_t Start() override { return _Tell(L"Start"); }
    uint32_t Stop() override { return _Tell(L"Stop"); }

private:
    uint32_t _Tell(const wchar_t* step) {
        const auto tell =
            optimizer::GetExport<uint32_t(const std::wstring&)>(GetModuleHandleW(nullptr), "OnPluginStep");
        return tell(m_name + L"." + step);
    }

    std::wstring m_name;
};

}  // namespace

extern "C" uint32_t VxCreateObject(const wchar_t* name, const Identifier* iid, void** out) {
    *out = (new TestPlugin(name))->QueryInterface(iid);
    return 0;
}

extern "C" void VxDestroyObject(const wchar_t*, void* object) {
    const std::unique_ptr<TestPlugin> plugin(static_cast<TestPlugin*>(object));
}
