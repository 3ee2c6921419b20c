#include "integration/shellExtension.h"

#include "integration/contextMenu.h"
#include "integration/shellMachine.h"
#include "integration/shellRegistration.h"

#include <gmock/gmock.h>

namespace kovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Content = std::optional<std::string>;

constexpr const wchar_t* livePath = L"C:\\Kovra\\bin\\kovraShellExt.dll";
constexpr const wchar_t* stagedPath = L"C:\\Kovra\\bin\\kovraShellExt.tmp.dll";
constexpr const wchar_t* displacedPath = L"C:\\Kovra\\bin\\kovraShellExt.old.dll";

/// A machine whose shell extension's files are as told, with regsvr32 as the one that registers.
class ExtensionMachine : public ShellMachine {
public:
    ExtensionMachine(const Content& staged, const Content& live) {
        version = windowsXp;
        lay(livePath, live);
        lay(stagedPath, staged);
    }

    void update() { insideLauncher(updateAndRegisterShellExtension); }

    [[nodiscard]] Content live() const { return files.read(livePath); }

    [[nodiscard]] Content staged() const { return files.read(stagedPath); }

    [[nodiscard]] Content displaced() const { return files.read(displacedPath); }

    /// The trace but for its last line, which tells how the extension is registered.
    [[nodiscard]] std::vector<std::string> updateTrace() const {
        EXPECT_EQ(traceLines.back(), "reg for windows major version:5 os=XP");
        return {traceLines.begin(), traceLines.end() - 1};
    }

private:
    void lay(const wchar_t* path, const Content& content) {
        if (content)
            files.write(path, *content);
        else
            files.remove(path);
    }
};

constexpr const char* started = "Start update of kovraShellExt.dll";
constexpr const char* same = "same version, don't update";
constexpr const char* removing = "try to remove existing";

enum class Hold : std::uint8_t { none, readOnly, loaded, inUse };

TEST(ShellExtensionUpdate, DoesWhatTheFilesAllow) {
    struct {
        Content staged, live, stagedAfter, liveAfter, displacedAfter;
        std::vector<std::string> trace;
        Hold hold; // of the live file
        bool unregisters;
    } const rows[] = {
        {{}, "old", {}, "old", {}, {}, Hold::loaded, false},
        {{}, {}, {}, {}, {}, {}, Hold::none, false},
        {"new", {}, {}, "new", {}, {started}, Hold::none, false},
        {"same", "same", {}, "same", {}, {started, same}, Hold::loaded, false},
        {"", "", {}, "", {}, {started, same}, Hold::none, false},
        {"new", "old", {}, "new", {}, {started, removing}, Hold::readOnly, true},
        {"new", "old", {}, "new", "old", {started, removing}, Hold::loaded, true},
        {"new", "old", "new", "old", {}, {started, removing}, Hold::inUse, true},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        ExtensionMachine machine(row.staged, row.live);
        machine.files.write(displacedPath, "of an earlier update");
        machine.files.setReadOnly(displacedPath);
        machine.files.setReadOnly(livePath, row.hold == Hold::readOnly);
        machine.files.setLoaded(livePath, row.hold == Hold::loaded);
        machine.files.setInUse(livePath, row.hold == Hold::inUse);
        machine.update();
        EXPECT_EQ(machine.staged(), row.stagedAfter);
        EXPECT_EQ(machine.live(), row.liveAfter);
        EXPECT_EQ(machine.displaced(), row.displacedAfter);
        EXPECT_EQ(machine.updateTrace(), row.trace);
        EXPECT_EQ(machine.shell.executed.front(),
                  row.unregisters ? unregistersExtension : registersExtension);
        EXPECT_EQ(machine.shell.executed.size(), row.unregisters ? 2U : 1U);
    }
}

TEST(ShellExtensionUpdate, WaitsUntilTheFilesAreLetGo) {
    ExtensionMachine machine("2", "1");
    machine.files.setLoaded(livePath);
    machine.update();
    EXPECT_EQ(machine.displaced(), "1");
    // The displaced file is in the way of the next one while somebody has it loaded.
    machine.files.setLoaded(livePath);
    machine.files.write(stagedPath, "3");
    machine.update();
    EXPECT_EQ(machine.live(), "2");
    EXPECT_EQ(machine.staged(), "3");
    EXPECT_EQ(machine.displaced(), "1");
    machine.files.setLoaded(displacedPath, false);
    machine.update();
    EXPECT_EQ(machine.live(), "3");
    EXPECT_FALSE(machine.staged());
    EXPECT_EQ(machine.displaced(), "2");
}

TEST(ShellExtensionUpdate, ComparesEveryByteWhateverTheSize) {
    for (const std::size_t size : {1U, 2047U, 2048U, 2049U, 4096U, 100'000U}) {
        SCOPED_TRACE(size);
        const std::string content(size, 'x');
        std::string other = content;
        other.back() = 'y';
        for (const std::string& staged : {content, other}) {
            ExtensionMachine machine(staged, content);
            machine.update();
            EXPECT_THAT(machine.updateTrace(), ElementsAre(started, staged == content ? same : removing));
        }
    }
    {
        // A first block that can be read of neither file leaves the second one to compare.
        ExtensionMachine machine(std::string(2048, 'x') + "new", std::string(2048, 'x') + "old");
        machine.fail("ReadFile", ERROR_ACCESS_DENIED, 2);
        machine.update();
        EXPECT_THAT(machine.updateTrace(), ElementsAre(started, removing));
    }
    ExtensionMachine longer("new  ", "new"); // blanks fill the last block, but the sizes differ
    longer.update();
    EXPECT_EQ(longer.live(), "new  ");
}

TEST(ShellExtensionUpdate, TakesAnUnreadableBlockForBlanks) {
    struct {
        const char* function;
        std::uint64_t failures;
        bool areSame;
    } const rows[] = {{"CreateFileA", 1, false}, {"CreateFileA", 2, true}, {"ReadFile", 1, false},
                      {"ReadFile", 2, true},     {"File.Size", 1, false},  {"File.Size", 2, false}};

    for (const auto& row : rows) {
        SCOPED_TRACE(std::string{row.function} + " " + std::to_string(row.failures));
        ExtensionMachine machine("one version", "one version");
        machine.files.remove(L"C:\\P1"); // the trace would open its own file
        machine.fail(row.function, ERROR_ACCESS_DENIED, row.failures);
        machine.update();
        EXPECT_EQ(machine.live(), "one version");
        EXPECT_FALSE(machine.staged());
        EXPECT_EQ(machine.shell.executed.size(), row.areSame ? 1U : 2U);
    }
}

TEST(ShellExtensionUpdate, TheWindowsVersionDecidesHowTheMenuComesAndGoes) {
    struct {
        const char* line;
        simulated::WindowsVersion version;
        bool byExtension;
    } const rows[] = {{"reg for windows major version:5 os=XP", windowsXp, true},
                      {"reg for windows major version:6 os=VI", windowsVista, true},
                      {"reg for windows major version:6 os=W7", windows7, false},
                      {"reg for windows major version:6 os=W8", windows8, false},
                      {"reg for windows major version:10 os=XX", {10, 0, VER_PLATFORM_WIN32_NT}, false}};

    for (const auto& row : rows) {
        ExtensionMachine machine("new", "old");
        machine.version = row.version;
        machine.update();
        EXPECT_EQ(machine.live(), "new");
        EXPECT_TRUE(machine.traced(row.line));
        EXPECT_THAT(
            machine.shell.executed,
            ElementsAre(unregistersExtension, row.byExtension ? registersExtension : importsTemplate));
        machine.insideLauncher([&] { EXPECT_EQ(unregisterContextMenu(), true); });
        EXPECT_EQ(machine.shell.executed.back(), row.byExtension ? unregistersExtension : importsTemplate);
    }
}

TEST(ShellRegistration, WritesTheFileTypesAndGoesOnToTheExtension) {
    ShellMachine machine;
    machine.version = windowsXp;
    bool registered = false;
    for (int times = 0; times < 2; ++times)
        machine.insideLauncher([&] { registered = registerContextMenu(); });
    EXPECT_TRUE(registered);
    EXPECT_EQ(machine.defaultValue(L"KOVRA.PSERVER.1\\DefaultIcon"), L"C:\\Kovra\\bin\\kovraLauncher.exe");
    EXPECT_EQ(machine.defaultValue(L"KOVRA.PSERVER.1\\Shell\\Open\\Command"),
              L"\"C:\\Kovra\\bin\\kovra.exe\" \"%1\"");
    EXPECT_EQ(machine.defaultValue(L"KOVRA.PSERVER.1\\Shell\\Open"), L"Kovra - New resource");
    EXPECT_EQ(machine.defaultValue(L".kovraResource"), L"KOVRA.PSERVER.1");
    EXPECT_EQ(machine.defaultValue(L".kovraTheme"), L"KOVRA.PSERVER.1");
    EXPECT_FALSE(machine.defaultValue(L"KOVRA.PSERVER.1\\Shell"));
    EXPECT_THAT(machine.shell.executed, ElementsAre(registersExtension, registersExtension));
}

TEST(ShellRegistration, StopsAtAnUnreadableLanguageFileOnly) {
    ShellMachine machine;
    machine.removeLanguageFile();
    bool registered = true;
    machine.insideLauncher([&] { registered = registerContextMenu(); });
    EXPECT_FALSE(registered);
    EXPECT_TRUE(machine.defaultValue(L"KOVRA.PSERVER.1\\Shell\\Open\\Command"));
    EXPECT_FALSE(machine.defaultValue(L"KOVRA.PSERVER.1\\Shell\\Open"));
    EXPECT_FALSE(machine.registry.keyExists(L".kovraResource"));
    EXPECT_THAT(machine.shell.executed, IsEmpty());

    machine.set("no language");
    machine.registry.denyWrites(L".kovraResource");
    machine.insideLauncher([&] { registered = registerContextMenu(); });
    EXPECT_TRUE(registered);
    EXPECT_EQ(machine.defaultValue(L"KOVRA.PSERVER.1\\Shell\\Open"), L"Kovra - #configNewResource#");
    EXPECT_EQ(machine.defaultValue(L".kovraTheme"), L"KOVRA.PSERVER.1");
    EXPECT_EQ(machine.defaultValue(ShellMachine::menuKey), L"#shellShareWith#");
}

} // namespace
} // namespace kovra
