// What the verbs reach outside of the program. Tests put their own in place.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "border/boot_time.h"
#include "border/optimizer.h"

namespace ctl {

/// Lines are written by any thread; the rest is one thread's.
class ITerminal {
public:
    /// False when nobody takes it any more.
    virtual bool PrintLine(const std::wstring& line) = 0;
    virtual void PrintErrorLine(const std::wstring& line) = 0;
    /// In place of the text shown before; an empty one ends it. Nothing is seen in a pipe.
    virtual void ShowProgress(const std::wstring& text) = 0;
    virtual std::string ReadInput() = 0;

protected:
    ~ITerminal() = default;
};

/// Where the verbs get their engine.
class IEngineSource {
public:
    /// Gives the engine, the same one at each call; it lives as long as the source. Throws Failure when there
    /// is none. Blocks for the time that a connection takes: `timeoutMs` when given, a few seconds otherwise.
    virtual IOptimizer& Open(std::optional<uint32_t> timeoutMs) = 0;

protected:
    ~IEngineSource() = default;
};

/// Where the verbs get the measurement of the boot.
class IBootSource {
public:
    /// As IEngineSource.
    virtual boottime::IBootTimeCommClient& Open(std::optional<uint32_t> timeoutMs) = 0;

protected:
    ~IBootSource() = default;
};

/// What the service manager says of the service.
struct ServiceState {
    uint32_t error = 0;  // of a question that got no answer; the rest is void then
    bool installed = false;
    bool running = false;
    std::wstring state;  // in a word, such as "stopped"
};

class IMachine {
public:
    virtual ServiceState QueryService() = 0;
    /// The settings folder of the engine beside this program, with the last back-slash.
    virtual std::wstring SettingsFolder() = 0;
    /// The computer's name, empty when it can't be told.
    virtual std::wstring Name() = 0;

protected:
    ~IMachine() = default;
};

struct Surroundings {
    ITerminal& terminal;
    IEngineSource& service;
    IEngineSource& inProcess;
    IBootSource& boot;
    IMachine& machine;
};

}  // namespace ctl
