#include "tools/demo/session_scene.h"

#include <string>

#include "frame/text.h"
#include "host/plugin_host/agent_instance.h"
#include "host/terminal/terminal.h"
#include "tools/rig/scratch_services.h"

namespace demo {

namespace {

using host::PrintLine;

constexpr int kBlocked = 1;
constexpr size_t kNameWidth = 24;

void PrintValue(const std::string& name, const std::wstring& value) {
    PrintLine(L"  " + optimizer::Widen(name) + std::wstring(kNameWidth - name.size(), L' ') + value);
}

}  // namespace

SessionScene::SessionScene() : m_inGame{m_found.effects, kBlocked} {
    for (auto& [key, value] : m_inGame.effects)
        value = value == 0 ? 1 : 0;
}

void SessionScene::AddActions(picojson::object& game) const {
    picojson::array effects;
    for (const auto& [key, value] : m_inGame.effects) {
        effects.emplace_back(picojson::object{{"name", picojson::value(key)},
                                              {"action", picojson::value(static_cast<double>(value))}});
    }
    game["VisualFX"] = picojson::value(effects);
    game["BlockWinNotification"] =
        picojson::value(picojson::object{{"BlockStatus", picojson::value("enabled")}});
}

bool SessionScene::WaitForAgent() {
    if (rig::WaitUntil(&host::HasSessionAgent)) return true;
    host::PrintErrorLine(L"The service started no agent in this session.");
    return false;
}

void SessionScene::Print() {
    const State now = _Look();
    for (const auto& [key, value] : now.effects)
        PrintValue(key, value == 0 ? L"off" : L"on");
    PrintValue("toast notifications", now.toastPolicy == kBlocked ? L"blocked by policy"
                                      : now.toastPolicy < 0       ? L"no policy"
                                                                  : L"allowed by policy");
}

bool SessionScene::HasFollowed(bool inGame) const {
    const State& wanted = inGame ? m_inGame : m_found;
    if (rig::UserSession::Reaches(wanted.effects) && _Look() == wanted) return true;
    host::PrintErrorLine(L"The user's session isn't as the profile wants it:");
    Print();
    return false;
}

SessionScene::State SessionScene::_Look() {
    return {rig::UserSession::Effects({"flat_menus", "gradient_captions"}), rig::UserSession::ToastPolicy()};
}

}  // namespace demo
