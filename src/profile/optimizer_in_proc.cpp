#include "profile/optimizer_in_proc.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include <windows.h>

#include "frame/exported_singleton.h"
#include "frame/guarded.h"
#include "frame/module_path.h"
#include "frame/object_factory.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kName = L"optimizerinproc";
constexpr const wchar_t* kEngine = L"optimizeral";
constexpr const wchar_t* kPluginList = L"settings\\inproc_optimizer.xml";
constexpr uint32_t kQueueThreads = 4;

/// For an installation without a list file.
constexpr const char* kOwnList =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    "<settings>\n"
    "\t<plugins>\n"
    "\t\t<plugin name=\"optimizeral\" dll=\"optimizeral.dll\" startup=\"2\"/>\n"
    "\t\t<plugin name=\"optimizersettings\" dll=\"optimizeral.dll\" startup=\"2\"/>\n"
    "\t\t<plugin name=\"productinfo\" dll=\"iservconfig.dll\" startup=\"2\"/>\n"
    "\t\t<plugin name=\"processdp\" dll=\"fakeprocessdp.dll\" startup=\"2\"/>\n"
    "\t\t<plugin name=\"optimizerprocessdp\" dll=\"optimizerprocessdp.dll\" startup=\"2\"/>\n"
    "\t</plugins>\n"
    "</settings>\n";

// Makes the component known to the process. A process that lacks the memory for it at load can't go on.
// NOLINTNEXTLINE(cert-err58-cpp)
const ExportedSingletonDeclaration<COptimizerInProc> kDeclaration(kName);

struct FileClose {
    void operator()(FILE* file) const { fclose(file); }
};

/// A new file in the temporary folder, removed with this object. Its path is empty when it can't be made.
class TemporaryFile {
public:
    TemporaryFile() {
        wchar_t folder[MAX_PATH + 1];
        const DWORD length = GetTempPathW(MAX_PATH + 1, folder);
        if (length == 0 || length > MAX_PATH) return;
        if (GetTempFileNameW(folder, L"vx", 0, m_path) == 0) m_path[0] = 0;
    }
    ~TemporaryFile() {
        if (m_path[0] != 0) DeleteFileW(m_path);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const wchar_t* Path() const { return m_path; }

private:
    wchar_t m_path[MAX_PATH] = {};
};

bool WriteOwnList(const wchar_t* path) {
    FILE* opened = nullptr;
    if (_wfopen_s(&opened, path, L"wt") != 0 || opened == nullptr) return false;
    const std::unique_ptr<FILE, FileClose> file(opened);
    fputs(kOwnList, file.get());
    return true;
}

}  // namespace

void* COptimizerInProc::QueryInterface(const Identifier* iid) {
    if (iid != nullptr && *iid == IRunReport::kIdentifier) return static_cast<IRunReport*>(this);
    if (iid != nullptr && *iid == INotesReport::kIdentifier) return static_cast<INotesReport*>(this);
    return AnswerFor<IOptimizer>(this, iid);
}

uint32_t COptimizerInProc::Init(IServMain*) {
    const uint32_t error = Guarded([&] { return _Init(); });
    if (error != ERROR_SUCCESS) UnInit();
    return error;
}

uint32_t COptimizerInProc::_Init() {
    TRACE_SCOPE("COptimizerInProc::Init");
    uint32_t error = m_main.Load(GetModuleFolder() + L"framework.dll", kServMainName);
    if (error != ERROR_SUCCESS) return error;
    IPluginLoader* const loader = m_main.Get()->GetPluginLoader();
    if (loader == nullptr) return ERROR_INVALID_HANDLE;
    std::optional<TemporaryFile> ownList;  // goes at the end, whatever the result
    error = loader->LoadPlugins((GetModuleFolder() + kPluginList).c_str());
    if (error != ERROR_SUCCESS && WriteOwnList(ownList.emplace().Path())) {
        error = loader->LoadPlugins(ownList->Path());
    }
    return error == ERROR_SUCCESS ? _TakeEngine() : error;
}

uint32_t COptimizerInProc::_TakeEngine() {
    IEventQueue* const queue = m_main.Get()->GetEventQueue();
    IComponentManager* const components = m_main.Get()->GetComponentManager();
    if (queue == nullptr || components == nullptr) return ERROR_INVALID_HANDLE;
    // Without its threads no change of profile would ever run.
    const uint32_t queueError = queue->Start(kQueueThreads);
    if (queueError != ERROR_SUCCESS) return queueError;
    void* engine = nullptr;
    const uint32_t error = components->GetPlugin(kEngine, &IOptimizer::kIdentifier, &engine);
    if (error == ERROR_SUCCESS) m_engine = static_cast<IOptimizer*>(engine);
    return error;
}

void COptimizerInProc::UnInit() {
    TRACE_SCOPE("COptimizerInProc::UnInit");
    const bool held = std::exchange(m_engine, nullptr) != nullptr;
    if (IServMain* const main = m_main.Get()) {
        IComponentManager* const components = main->GetComponentManager();
        if (held && components != nullptr) components->ReleasePlugin(kEngine);
        // The queue first: whoever waits for an item that will never run is let go.
        if (IEventQueue* const queue = main->GetEventQueue()) queue->Stop();
        if (IPluginLoader* const loader = main->GetPluginLoader()) loader->UnloadPlugins();
    }
    m_main.Release();
}

template <class... Parameters>
uint32_t COptimizerInProc::_Forward(uint32_t (IOptimizer::*operation)(Parameters...),
                                    Parameters... arguments) {
    return m_engine != nullptr ? (m_engine->*operation)(arguments...) : uint32_t{ERROR_GEN_FAILURE};
}

uint32_t COptimizerInProc::StartTask(const int32_t* task) {
    return _Forward(&IOptimizer::StartTask, task);
}

void COptimizerInProc::CancelTask(const int32_t* task) {
    if (m_engine != nullptr) m_engine->CancelTask(task);
}

uint32_t COptimizerInProc::SetProfile(const profile* wanted) {
    return _Forward(&IOptimizer::SetProfile, wanted);
}

uint32_t COptimizerInProc::GetProfile(profile* active) {
    return _Forward(&IOptimizer::GetProfile, active);
}

uint32_t COptimizerInProc::SetProfileConfig(const profile* which, vx::String* config) {
    return _Forward(&IOptimizer::SetProfileConfig, which, config);
}

uint32_t COptimizerInProc::GetProfileConfig(const profile* which, vx::String* config) {
    return _Forward(&IOptimizer::GetProfileConfig, which, config);
}

uint32_t COptimizerInProc::SetModuleEnable(bool enable) {
    return _Forward(&IOptimizer::SetModuleEnable, enable);
}

uint32_t COptimizerInProc::GetModuleEnable(bool* enable) {
    return _Forward(&IOptimizer::GetModuleEnable, enable);
}

uint32_t COptimizerInProc::AddEventsObserver(IOptimizerEvents* observer) {
    return _Forward(&IOptimizer::AddEventsObserver, observer);
}

uint32_t COptimizerInProc::RemoveEventsObserver(IOptimizerEvents* observer) {
    return _Forward(&IOptimizer::RemoveEventsObserver, observer);
}

uint32_t COptimizerInProc::GetLastRun(vx::String* report) {
    void* const engine = m_engine != nullptr ? m_engine->QueryInterface(&IRunReport::kIdentifier) : nullptr;
    return engine != nullptr ? static_cast<IRunReport*>(engine)->GetLastRun(report)
                             : uint32_t{ERROR_GEN_FAILURE};
}

uint32_t COptimizerInProc::GetNotes(vx::String* report) {
    void* const engine = m_engine != nullptr ? m_engine->QueryInterface(&INotesReport::kIdentifier) : nullptr;
    return engine != nullptr ? static_cast<INotesReport*>(engine)->GetNotes(report)
                             : uint32_t{ERROR_GEN_FAILURE};
}

}  // namespace optimizer
