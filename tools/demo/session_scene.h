#pragma once

#include <picojson.h>

#include "tools/rig/user_session.h"

namespace demo {

/// The part of the demo that plays in the user's session: two visual effects and the policy on notifications
/// that pop up, all of which "Game" changes. What is printed is what the system says: SystemParametersInfo to
/// a process that asks anew, and the user's registry.
class SessionScene {
public:
    /// Takes down what it finds. Has Wine pass for a Windows that knows such notifications.
    SessionScene();

    /// Adds what "Game" wants of the session.
    void AddActions(picojson::object& game) const;
    /// Waits for the agent that the service starts; false when none comes.
    static bool WaitForAgent();
    static void Print();
    /// Waits until the session is as "Game" wants it, or as it was found; tells when it isn't.
    bool HasFollowed(bool inGame) const;
    bool IsAsFound() const { return _Look() == m_found; }

private:
    struct State {
        rig::EffectValues effects;
        int toastPolicy = -1;

        bool operator==(const State& other) const = default;
    };
    static State _Look();

    rig::UserSession m_session{L"win10"};
    State m_found = _Look();
    State m_inGame;
};

}  // namespace demo
