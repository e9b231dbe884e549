// A machine for the kill matrix, in the Wine prefix that this runs in: services of its own, the simulated
// power library and update agent, and the user's settings.
//   killmatrix_machine prepare      makes what the pictures tell of; the picture to begin with comes by input
//   killmatrix_machine restore      brings the machine into the picture of its input
//   killmatrix_machine picture      prints what the machine is like
//   killmatrix_machine await MS     the same once it is like the picture of the input, or has come to rest,
//   or
//                                   that time is over
//   killmatrix_machine logon        has the host that loaded the plug-in of logon_plugin.cpp see a logon
#include <exception>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

#include <windows.h>

#include "frame/handles.h"
#include "frame/module_path.h"
#include "tools/killmatrix/logon_plugin.h"
#include "tools/killmatrix/matrix_services.h"
#include "tools/killmatrix/matrix_values.h"

namespace {

using killmatrix::MatrixServices;
using killmatrix::Picture;

constexpr DWORD kPeriodMs = 20;
constexpr ULONGLONG kRestMs = 1500;  // without a change, and with no service on its way

Picture Describe() {
    Picture picture;
    MatrixServices().Describe(picture);
    killmatrix::DescribeValues(picture);
    return picture;
}

Picture ReadPicture() {
    return killmatrix::ParsePicture({std::istreambuf_iterator<char>(std::cin), {}});
}

void Restore(const Picture& wanted) {
    killmatrix::RestoreValues(wanted);
    MatrixServices().Restore(wanted);
}

void SetText(HKEY root, const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    RegSetKeyValueW(root, key.c_str(), name, REG_SZ, text.c_str(),
                    static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

/// The installation lies in `folder`, the simulated libraries among its own.
void Prepare(const std::wstring& folder) {
    SetText(HKEY_LOCAL_MACHINE,
            L"Software\\Classes\\CLSID\\{BFE18E9C-6D87-4450-B37C-E02F0B373803}\\InprocServer32", nullptr,
            folder + L"updateagent.dll");
    // Older systems know no notifications to block, and Wine calls itself older.
    for (const wchar_t* const program : {L"optimizerhost.exe", L"optimizerctl.exe"})
        SetText(HKEY_CURRENT_USER, std::wstring(L"Software\\Wine\\AppDefaults\\") + program, L"Version",
                L"win10");
    // A bare Wine lacks the keys that the session's actions want.
    for (const wchar_t* const key : {L"VisualEffects", L"Advanced"}) {
        RegCreateKeyW(
            HKEY_CURRENT_USER,
            (std::wstring(L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\") + key).c_str(),
            optimizer::RegistryKey().Receive());
    }
    const Picture found = ReadPicture();
    MatrixServices().Install(found);
    Restore(found);
}

bool IsAtRest(const Picture& picture) {
    for (const auto& [name, text] : picture) {
        if (text.find("PENDING") != std::string::npos) return false;
    }
    return true;
}

Picture Await(const Picture& wanted, ULONGLONG limitMs) {
    const ULONGLONG beginMs = GetTickCount64();
    ULONGLONG changedMs = beginMs;
    Picture picture = Describe();
    while (picture != wanted && GetTickCount64() < beginMs + limitMs) {
        if (IsAtRest(picture) && GetTickCount64() >= changedMs + kRestMs) break;
        Sleep(kPeriodMs);
        Picture next = Describe();
        if (next != picture) changedMs = GetTickCount64();
        picture = std::move(next);
    }
    return picture;
}

void LogOn() {
    const optimizer::KernelHandle event(OpenEventW(EVENT_MODIFY_STATE, FALSE, killmatrix::kLogonEvent));
    if (!event || !SetEvent(event.Get())) throw std::runtime_error("no host waits for a logon");
}

/// Keeps the session's desktop, as a shell does. Without it each program that needs one brings up its own,
/// which costs more than all the rest, and one that comes while another's ends gets none.
[[noreturn]] void BeSession() {
    GetDesktopWindow();
    for (;;)
        Sleep(INFINITE);
}

int Run(const std::string& verb, const char* argument) {
    if (verb == "prepare") {
        Prepare(optimizer::GetModuleFolder());
    } else if (verb == "restore") {
        Restore(ReadPicture());
    } else if (verb == "picture") {
        std::cout << killmatrix::ToText(Describe());
    } else if (verb == "await" && argument != nullptr) {
        std::cout << killmatrix::ToText(Await(ReadPicture(), std::stoul(argument)));
    } else if (verb == "logon") {
        LogOn();
    } else if (verb == "session") {
        BeSession();
    } else {
        std::cerr << "killmatrix_machine prepare | restore | picture | await MS | logon | session\n";
        return 2;
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        return Run(count > 1 ? arguments[1] : "", count > 2 ? arguments[2] : nullptr);
    } catch (const std::exception& error) {
        std::cerr << "killmatrix_machine: " << error.what() << "\n";
        return 1;
    }
}
