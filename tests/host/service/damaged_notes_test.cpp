// What becomes of the notes' files between a change and the way back, and what the file's user gets, from the
// real command line with an engine of its own.
#include <functional>

#include "frame/handles.h"
#include "tests/host/service/noted_machine.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using optimizer::FileHandle;
using optimizer::KernelHandle;
using optimizer::Narrow;
using rig::ReadFileText;
using rig::WriteFileText;
using testing::Contains;
using testing::HasSubstr;

class DamagedNotes : public NotedMachine {
protected:
    std::vector<std::wstring> Files() const { return {SystemFile(), UserFile()}; }

    /// Sets "Disabled", with all of `sentences` on its output.
    void PutBack(DWORD exitCode, const std::vector<std::string>& sentences) const {
        _ExpectEnd(Control(L"profile set Disabled"), exitCode, sentences);
    }
    void ExpectRun(const std::wstring& arguments, DWORD exitCode,
                   const std::vector<std::string>& sentences) const {
        _ExpectEnd(Control(arguments), exitCode, sentences);
    }
    void ExpectBack() const {
        EXPECT_EQ(Power(), kFound);
        EXPECT_TRUE(AreServicesBack());
        for (const std::wstring& file : Files())
            EXPECT_THAT(ReadFileText(file), HasSubstr(R"("Disabled":{})")) << "a note is left";
    }

private:
    static void _ExpectEnd(const rig::ProgramRun& run, DWORD exitCode,
                           const std::vector<std::string>& sentences) {
        EXPECT_EQ(run.exitCode, exitCode) << testing::PrintToString(run.lines);
        for (const std::string& sentence : sentences)
            EXPECT_THAT(run.lines, Contains(HasSubstr(sentence)));
    }
};

/// Opened by somebody who shares it with nobody.
FileHandle Hold(const std::wstring& path) {
    return FileHandle(CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
}

/// What is done to a restore file.
struct Damage {
    const char* name;
    std::function<void(const std::wstring& path)> doIt;
};

void Cut(const std::wstring& path, size_t length) {
    WriteFileText(path, ReadFileText(path).substr(0, length));
}

const Damage kDamages[] = {
    {"cut to one byte", [](auto& path) { Cut(path, 1); }},
    {"cut in the middle", [](auto& path) { Cut(path, ReadFileText(path).size() / 2); }},
    {"cut by one byte", [](auto& path) { Cut(path, ReadFileText(path).size() - 1); }},
    {"another value by a flipped bit",
     [](auto& path) {
         std::string text = ReadFileText(path);
         text[text.find("\"time\":4") + 7] ^= 1;
         WriteFileText(path, text);
     }},
    {"empty", [](auto& path) { WriteFileText(path, ""); }},
    {"gone", [](auto& path) { fs::remove(path); }},
    {"another type", [](auto& path) { WriteFileText(path, "[1]"); }},
    {"65 MiB", [](auto& path) { fs::resize_file(path, uintmax_t{65} * 1024 * 1024); }},
    {"a folder",
     [](auto& path) {
         fs::remove(path);
         fs::create_directory(path);
     }},
    // Wine lets root write it all the same.
    {"read-only", [](auto& path) { SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY); }},
    {"a byte order mark in front",
     [](auto& path) { WriteFileText(path, "\xEF\xBB\xBF" + ReadFileText(path)); }},
};

TEST_F(DamagedNotes, AGoodCopyBringsTheMachineBackFromEveryDamage) {
    for (const Damage& damage : kDamages) {
        SCOPED_TRACE(damage.name);
        EnterGame();
        for (const std::wstring& file : Files())
            damage.doIt(file);
        PutBack(0, {"The profile Disabled is "});
        for (const std::wstring& file : Files()) {
            SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
            fs::remove_all(file + L".bad");
        }
        ExpectBack();
    }
}

TEST_F(DamagedNotes, AHeldFileIsWaitedForThenItsCopyCountsAndWithoutOneNothingIsTaken) {
    EnterGame();
    {
        std::optional<FileHandle> held[] = {Hold(SystemFile()), Hold(UserFile())};
        rig::ChildProcess command(Command(L"profile set Disabled"));
        const KernelHandle process(OpenProcess(SYNCHRONIZE, FALSE, command.Id()));
        EXPECT_EQ(WaitForSingleObject(process.Get(), 500), DWORD{WAIT_TIMEOUT}) << "it waits meanwhile";
        for (auto& file : held)
            file.reset();
        EXPECT_EQ(command.Finish(), 0U) << testing::PrintToString(command.Lines());
    }
    ExpectBack();

    EnterGame();
    {
        const FileHandle held[] = {Hold(SystemFile()), Hold(UserFile())};
        PutBack(1,
                {"The choice of Disabled can't be stored", "HibernateOnCable is back, but its note can't be",
                 "WindowsServices is back, but its note can't be removed",
                 "The profile Disabled is set; everything was done, but not all of it is stored."});
        EXPECT_EQ(Power(), kFound);
        EXPECT_TRUE(AreServicesBack());
    }
    PutBack(0, {"The profile Disabled is "});
    ExpectBack();

    EnterGame();
    {
        const FileHandle held[] = {Hold(SystemFile()), Hold(UserFile()), Hold(SystemFile() + L".copy"),
                                   Hold(UserFile() + L".copy")};
        PutBack(1,
                {"The notes in " + Narrow(SystemFile()) + " can't be read, so that nothing of them was put",
                 "The notes in " + Narrow(UserFile()) + " can't be read, so that nothing of them was put",
                 "but not everything is back"});
    }
    PutBack(0, {"The profile Disabled is "});
    ExpectBack();
}

TEST_F(DamagedNotes, WhatIsDamagedWithItsCopyWaitsForAPersonAndNothingIsNotedOverIt) {
    const auto damage = [&] {
        for (const std::wstring& file : Files()) {
            WriteFileText(file, "{\"Disabled\":");
            WriteFileText(file + L".copy", "[1]");
        }
    };
    EnterGame();
    const std::vector<std::wstring> files = Files();
    const std::string good[] = {ReadFileText(files[0]), ReadFileText(files[1])};
    damage();
    const std::vector<std::string> lost = {
        "What was noted in " + Narrow(files[0]) + " is damaged and kept beside it as",
        "What was noted in " + Narrow(files[1]) + " is damaged and kept beside it as"};
    PutBack(1, lost);
    EXPECT_EQ(Power(), kInGame);
    EXPECT_TRUE(AreServicesInGame());
    for (const std::wstring& file : files) {
        EXPECT_EQ(ReadFileText(file + L".damaged"), "{\"Disabled\":");
        EXPECT_EQ(ReadFileText(file + L".copy.damaged"), "[1]");
    }

    const std::vector<uint32_t> changedByHand = {7, 8, 9, 10};
    SetPower(changedByHand);
    ExpectRun(L"module on", 1, lost);  // that it was on lay in the same file
    ExpectRun(L"profile set Game", 1,
              {lost[0], lost[1], "HibernateOnBattery was not changed, since its note has no place",
               "HibernateOnCable was not changed, since its note has no place",
               "WindowsServices was not changed, since its note has no place"});
    EXPECT_EQ(Power(), changedByHand);

    for (size_t i = 0; i < files.size(); ++i) {
        fs::remove(files[i] + L".damaged");
        WriteFileText(files[i], good[i]);  // mended
    }
    PutBack(0, {"The profile Disabled is set; its actions were executed in"});
    ExpectBack();

    damage();
    PutBack(1, lost);
    for (const std::wstring& file : files)
        fs::remove(file + L".damaged");
    EnterGame();
    PutBack(0, {"The profile Disabled is set; its actions were executed in"});
    ExpectBack();
}

}  // namespace
}  // namespace host_test
