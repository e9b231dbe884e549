#include <windows.h>

#include "frame/handles.h"
#include "frame/module_path.h"
#include "host/service/refusal.h"
#include "host/service/service_control.h"
#include "host/settings_check/settings_check.h"
#include "trust/file_trust.h"

namespace host {

namespace {

using optimizer::ServiceHandle;

std::wstring ProgramPath() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

/// Whoever can change a file beside the program, or its settings, has the service do what it likes.
bool IsSafe(const std::wstring& folder, std::vector<std::wstring>& told) {
    const auto found = optimizer::FindFolderStranger(folder);
    if (!found) return true;
    told.push_back(L"The service isn't installed, since it would run as SYSTEM from " + folder + L": " +
                   optimizer::StrangerSentence(found->folder, found->place, found->stranger) +
                   L" (or install with --allow-writable-folder, for a trial)");
    return false;
}

/// One setting of the service, with what it is good for. The service works without it, so a refusal is told
/// and no more: systems of before, and Wine, don't know all of them.
template <class Information>
void Set(SC_HANDLE service, DWORD which, Information information, const wchar_t* what,
         std::vector<std::wstring>& told) {
    if (ChangeServiceConfig2W(service, which, &information)) return;
    const DWORD error = GetLastError();
    told.push_back(Refused(std::wstring(L"The service is installed without ") + what, error));
}

void Configure(SC_HANDLE service, std::vector<std::wstring>& told) {
    std::wstring text = L"Switches this machine between its profiles and puts it back.";
    Set(service, SERVICE_CONFIG_DESCRIPTION, SERVICE_DESCRIPTIONW{text.data()}, L"a description", told);
    // A service that died comes back, since only a running engine puts the machine back when asked.
    SC_ACTION restart = {SC_ACTION_RESTART, 5000};
    SERVICE_FAILURE_ACTIONSW actions = {};
    actions.dwResetPeriod = 3600;
    actions.cActions = 1;
    actions.lpsaActions = &restart;
    Set(service, SERVICE_CONFIG_FAILURE_ACTIONS, actions, L"a restart after a crash", told);
    // So does one that ends by itself, as when another process has the name of one of its pipes.
    Set(service, SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, SERVICE_FAILURE_ACTIONS_FLAG{TRUE},
        L"a restart after a start that failed", told);
    // Names, each with its NUL, and one more. docs/host.md says which call needs which; SYSTEM's others, as
    // the one that opens any process for debugging, aren't there to be abused.
    wchar_t privileges[] =
        L"SeAssignPrimaryTokenPrivilege\0SeBackupPrivilege\0SeChangeNotifyPrivilege\0"
        L"SeImpersonatePrivilege\0SeIncreaseQuotaPrivilege\0SeLoadDriverPrivilege\0SeRestorePrivilege\0"
        L"SeTcbPrivilege\0";
    Set(service, SERVICE_CONFIG_REQUIRED_PRIVILEGES_INFO, SERVICE_REQUIRED_PRIVILEGES_INFOW{privileges},
        L"a bound on its privileges", told);
    Set(service, SERVICE_CONFIG_SERVICE_SID_INFO, SERVICE_SID_INFO{SERVICE_SID_TYPE_UNRESTRICTED},
        L"an identifier of its own", told);
}

}  // namespace

bool InstallService(bool forTrial, std::vector<std::wstring>& told) {
    const std::wstring settings = FindSettingsFolder();
    const std::wstring program = optimizer::GetModuleFolder();
    if (!forTrial && (!IsSafe(program, told) || !IsSafe(program + L"settings\\", told))) return false;
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
    if (!manager) {
        const DWORD error = GetLastError();
        told.push_back(Refused(L"The service manager can't be opened", error));
        return false;
    }
    if (!forTrial) {
        // What users may read: files that they would have got with the program.
        const uint32_t error =
            optimizer::ProtectSettings(settings, {L"profiles.json", L"tasks.json", L"applications.json"});
        const bool isThere = error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND;
        if (error != ERROR_SUCCESS && isThere)
            told.push_back(Refused(L"The settings folder " + settings + L" can't be closed to users", error));
        if (isThere && !IsSafe(settings, told)) return false;
    }
    const std::wstring command = L"\"" + ProgramPath() + L"\" run";
    const ServiceHandle service(CreateServiceW(manager.Get(), kServiceName, L"Optimizer host",
                                               SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                                               SERVICE_AUTO_START, SERVICE_ERROR_NORMAL, command.c_str(),
                                               nullptr, nullptr, nullptr, nullptr, nullptr));
    if (!service) {
        const DWORD error = GetLastError();
        told.push_back(Refused(L"The service can't be registered", error));
        return false;
    }
    Configure(service.Get(), told);
    return true;
}

}  // namespace host
