#include "tests/host/framework/test_plugin.h"

#include <memory>
#include <string>

#include "frame/handles.h"

namespace {

class TestPlugin final : public IServPlugin {
public:
    explicit TestPlugin(const wchar_t* name) : m_name(name) {}

    void* QueryInterface(const Identifier* iid) override {
        const bool known = *iid == IVxBaseInterface::kIdentifier || *iid == IServPlugin::kIdentifier;
        return known ? this : nullptr;
    }
    uint32_t Init(IServMain* main) override {
        m_main = main;
        return Tell(L"Init");
    }
    void UnInit() override { Tell(L"UnInit"); }
    uint32_t Start() override { return Tell(L"Start"); }
    uint32_t Stop() override { return Tell(L"Stop"); }

    uint32_t Tell(const wchar_t* step) {
        const auto tell =
            optimizer::GetExport<OnPluginStepFunction>(GetModuleHandleW(nullptr), kOnPluginStep);
        return tell(m_name.c_str(), step, m_main);
    }

private:
    std::wstring m_name;
    IServMain* m_main = nullptr;
};

}  // namespace

extern "C" uint32_t VxCreateObject(const wchar_t* name, const Identifier* iid, void** out) {
    auto plugin = std::make_unique<TestPlugin>(name);
    const uint32_t error = plugin->Tell(L"create");
    if (error != 0) return error;
    *out = plugin.release()->QueryInterface(iid);
    return 0;
}

extern "C" void VxDestroyObject(const wchar_t*, void* object) {
    const std::unique_ptr<TestPlugin> plugin(static_cast<TestPlugin*>(object));
    plugin->Tell(L"destroy");
}
