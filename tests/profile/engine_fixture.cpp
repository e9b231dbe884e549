#include "tests/profile/engine_fixture.h"

#include <filesystem>

#include "frame/json.h"
#include "tests/support/simulated_users.h"

namespace test_support {

Machine* g_machine = nullptr;

namespace {

class Number final : public optimizer::IOptimizerActionSettings {
public:
    explicit Number(double v = 0) : value(v) {}
    void ToJson(picojson::value* out) const override { *out = picojson::value(value); }
    void FromJson(const picojson::value* in) override { value = in->is<double>() ? in->get<double>() : 0; }

    double value;
};

class RecordingAction final : public optimizer::IOptimizerAction {
public:
    RecordingAction(const std::wstring& name, double value) : m_name(name), m_parameters(value) {
        ++g_machine->created;
        ++g_machine->alive;
    }
    ~RecordingAction() override { --g_machine->alive; }

    uint32_t Note(optimizer::IOptimizerActionSettings*) override {
        if (g_machine->unnoted == m_name) return ERROR_GEN_FAILURE;
        if (!m_hasFound) m_found.value = g_machine->values[m_name];
        m_hasFound = true;
        return 0;
    }
    uint32_t Start() override {
        Note(nullptr);
        _Set(L"start ", m_parameters.value);
        return g_machine->failing == m_name ? ERROR_GEN_FAILURE : ERROR_SUCCESS;
    }
    uint32_t Stop() override {
        g_machine->onEvent(L"stop " + m_name);
        return 0;
    }
    uint32_t Revert() override {
        return g_machine->stuck != m_name ? _Set(L"revert ", m_found.value) : ERROR_SUCCESS;
    }
    uint32_t FinishRevert() override {
        return g_machine->stuck != m_name ? ERROR_SUCCESS : g_machine->stuckCode;
    }
    uint32_t PutBack() override {
        SetRevertParameters(&m_parameters);
        return Start();
    }
    uint32_t Update(optimizer::IOptimizerActionSettings* parameters) override {
        m_parameters.value = dynamic_cast<Number&>(*parameters).value;
        return _Set(L"update ", m_parameters.value);
    }
    bool HasSameParameters(optimizer::IOptimizerActionSettings*) override { return false; }
    optimizer::IOptimizerActionSettings* GetParameters() override { return &m_parameters; }
    optimizer::IOptimizerActionSettings* GetRevertParameters() override {
        return m_hasFound ? &m_found : nullptr;
    }
    uint32_t SetRevertParameters(optimizer::IOptimizerActionSettings* parameters) override {
        m_found.value = dynamic_cast<Number&>(*parameters).value;
        m_hasFound = true;
        return 0;
    }
    const wchar_t* GetName() override { return m_name.c_str(); }
    bool CanReturnTo(const optimizer::IOptimizerActionSettings*) const override {
        return g_machine->unfit != m_name;
    }

private:
    uint32_t _Set(const wchar_t* what, double value) {
        g_machine->log.push_back(what + m_name);
        g_machine->values[m_name] = value;
        g_machine->onEvent(g_machine->log.back());
        return ERROR_GEN_FAILURE;  // nobody may look at it
    }

    std::wstring m_name;
    Number m_parameters;
    Number m_found;
    bool m_hasFound = false;
};

}  // namespace

optimizer::ActionPointer RecordingFactory(const std::wstring& name, const std::string& parameters,
                                          IServMain*) {
    const bool known = (name.size() == 1 && name[0] >= L'A' && name[0] <= L'F') ||
                       name == L"PostponeWindowsUpdate" || name == L"VisualFX";
    picojson::value json;
    std::string error;
    if (!known || !optimizer::json::Parse(parameters, json, error)) return nullptr;
    Number number;
    number.FromJson(&json);
    return optimizer::ActionPointer(new RecordingAction(name, number.value));
}

EngineFixture::EngineFixture() {
    g_machine = &m_machine;
    optimizer::VxUsersLibrary::Instance().Bind();
    SetSimulatedUser(L"DOM", L"ann");
    std::filesystem::create_directory(m_folder.File(L"optimizer"));
    WriteProfiles(
        R"({"SystemActions":["A","B","C"],"Disabled":{},"Work":{"A":1,"B":1},"Movie":{},"Battery":{"A":9},
                      "Game":{"A":2,"B":2,"C":2,"D":2,"Unknown":{}}})");
    m_product.folder = m_folder.Path();
    m_host.manager.plugins[L"productinfo"] = &m_product;
    m_host.manager.plugins[L"optimizersettings"] = &m_settings;
    EXPECT_EQ(m_settings.Init(&m_host), 0U);
    for (const wchar_t name : {L'A', L'B', L'C', L'D'})
        m_machine.values[std::wstring(1, name)] = 7;
}

EngineFixture::~EngineFixture() {
    EXPECT_EQ(m_machine.alive, 0) << "an action was lost or ended twice";
}

}  // namespace test_support
