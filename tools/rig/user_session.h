#pragma once

#include <map>
#include <string>
#include <vector>

namespace rig {

/// Visual effects by the keys of the settings.
using EffectValues = std::map<std::string, int>;

/// The desktop of the session that this process runs in, and the part of its user's registry that the
/// session's actions write. The asking goes through scratch_session.exe in this program's folder.
class UserSession {
public:
    /// Makes the keys that the actions want and a bare Wine lacks, and has the host take this system for
    /// `windowsVersion`, a name that Wine knows. The version is forgotten at the end, the keys aren't.
    explicit UserSession(const std::wstring& windowsVersion);
    ~UserSession();
    UserSession(const UserSession&) = delete;
    UserSession& operator=(const UserSession&) = delete;

    /// What the system says of those effects now. Throws when it says nothing.
    static EffectValues Effects(const std::vector<std::string>& keys);
    /// Asks for ten seconds until they have those values; for what an agent does meanwhile.
    static bool Reaches(const EffectValues& wanted);
    static void SetEffect(const std::string& key, int value);
    /// The policy on notifications that pop up and the setting for balloons; -1 when there is none.
    static int ToastPolicy();
    static int Balloons();
    /// Takes both away.
    static void ForgetNotifications();
};

/// All effects that the settings know.
const std::vector<std::string>& AllEffects();

}  // namespace rig
