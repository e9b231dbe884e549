#include "tests/support/update_agent.h"

#include <utility>

#include <unknwn.h>

namespace test_support {

namespace {

/// The agent behind the object that a method is called on.
UpdateAgent& Of(void* object) {
    return *static_cast<UpdateAgent**>(object)[1];
}

HRESULT Put(void* object, const char* step, const wchar_t* name, int number) {
    const HRESULT result = Of(object).step(step + std::to_string(number));
    if (result == S_OK) WritePowerNumber(name, static_cast<uint32_t>(number));
    return result;
}

template <class Function>
void* Slot(Function function) {
    return reinterpret_cast<void*>(+function);
}

}  // namespace

UpdateAgent::UpdateAgent(Step callback) : step(std::move(callback)) {
    m_table[0] = Slot([](void* self, const GUID* iid, void** out) {
        return Of(self).Give(iid->Data1 == 0x6ABC136A ? "settings2" : "", out);
    });
    m_table[1] = Slot([](void* self) { return ++Of(self).references; });
    m_table[2] = Slot([](void* self) { return --Of(self).references; });
    m_table[3] =
        Slot([](void* self, void*, const GUID*, void** out) { return Of(self).Give("create", out); });
    m_table[7] = Slot([](void* self, int* level) {
        *level = static_cast<int>(ReadPowerNumber(kUpdateLevel).value_or(3));
        return Of(self).step("get");
    });
    m_table[8] = Slot([](void* self, int level) { return Put(self, "level ", kUpdateLevel, level); });
    m_table[11] = Slot([](void* self, void** out) { return Of(self).Give("settings", out); });
    m_table[16] = Slot([](void* self) { return Of(self).step("save"); });
    m_table[17] = Slot([](void*, short* included) {
        *included = static_cast<short>(ReadPowerNumber(kUpdateRecommended).value_or(0));
        return S_OK;
    });
    m_table[18] = Slot(
        [](void* self, short included) { return Put(self, "recommended ", kUpdateRecommended, included); });
}

HRESULT UpdateAgent::Give(const std::string& name, void** out) {
    const HRESULT result = name.empty() ? S_OK : step(name);
    *out = result == S_OK ? &m_object : nullptr;
    references += result == S_OK ? 1 : 0;
    return result;
}

}  // namespace test_support
