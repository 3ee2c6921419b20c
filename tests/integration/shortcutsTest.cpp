#include "integration/shortcuts.h"

#include "integration/shellMachine.h"

#include <gmock/gmock.h>

namespace kovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class StartupMachine : public ShellMachine {
public:
    const std::wstring allUsers = shell.specialFolders.paths.at(CSIDL_COMMON_STARTUP);
    const std::wstring currentUser = shell.specialFolders.paths.at(CSIDL_STARTUP);

    StartupMachine() {
        files.makeFolder(allUsers);
        files.makeFolder(currentUser);
    }

    void create(const std::wstring& scope, bool serviceInstalled = false) {
        insideLauncher([&] { createShortcuts(scope, serviceInstalled); });
    }

    [[nodiscard]] std::vector<std::wstring> inAllUsers() const { return files.list(allUsers); }

    [[nodiscard]] std::vector<std::wstring> inCurrentUser() const { return files.list(currentUser); }

    [[nodiscard]] simulated::Shortcut shortcutIn(const std::wstring& folder) const {
        return shell.shortcutAt(folder + L"\\Kovra.lnk").value();
    }
};

TEST(Shortcuts, LayTheApplicationsShortcutIntoTheFolderOfTheScope) {
    StartupMachine machine;
    machine.create(L"all");
    machine.create(L"all");
    EXPECT_THAT(machine.inAllUsers(), ElementsAre(L"Kovra.lnk"));
    EXPECT_THAT(machine.inCurrentUser(), IsEmpty());
    EXPECT_EQ(machine.shortcutIn(machine.allUsers),
              (simulated::Shortcut{L"\"C:\\Kovra\\bin\\Kovra.exe\"", L"-minimized", L"\"C:\\Kovra\\bin\"", 4,
                                   L"C:\\Kovra\\bin\\Kovra.exe, 0"}));
    machine.create(L"current");
    EXPECT_THAT(machine.inAllUsers(), IsEmpty());
    EXPECT_THAT(machine.inCurrentUser(), ElementsAre(L"Kovra.lnk"));
}

TEST(Shortcuts, OtherScopesOrAnInstalledServiceRemoveOnly) {
    const std::pair<const wchar_t*, bool> rows[] = {{L"none", false}, {L"service", false}, {L"", false},
                                                    {L"  ", false},   {L"All", false},     {L" all", false},
                                                    {L"all", true},   {L"current", true}};
    for (const auto& [scope, serviceInstalled] : rows) {
        StartupMachine machine;
        machine.files.write(machine.allUsers + L"\\KOVRA.LNK", "");
        machine.files.write(machine.currentUser + L"\\Kovra.lnk", "");
        machine.create(scope, serviceInstalled);
        EXPECT_THAT(machine.inAllUsers(), IsEmpty());
        EXPECT_THAT(machine.inCurrentUser(), IsEmpty());
    }
}

TEST(Shortcuts, RemovalTakesTheProductsFilesAlone) {
    StartupMachine machine;
    for (const wchar_t* name :
         {L"\\My kovra notes.txt", L"\\mail.lnk", L"\\kovra\\inside.txt", L"\\oldKovra.lnk",
          L"\\\u2603 kovra.lnk", L"\\read-only kovra.lnk", L"\\kovra in use.lnk"})
        machine.files.write(machine.allUsers + name, "");
    machine.files.setReadOnly(machine.allUsers + L"\\read-only kovra.lnk");
    machine.files.setInUse(machine.allUsers + L"\\kovra in use.lnk");
    machine.create(L"none");
    EXPECT_THAT(machine.inAllUsers(),
                ElementsAre(L"kovra", L"kovra in use.lnk", L"mail.lnk", L"read-only kovra.lnk"));
    EXPECT_THAT(machine.files.list(machine.allUsers + L"\\kovra"), ElementsAre(L"inside.txt"));
}

TEST(Shortcuts, AFolderThatTheSystemDoesNotKnowIsLeftAlone) {
    StartupMachine machine;
    machine.shell.specialFolders.paths.erase(CSIDL_COMMON_STARTUP);
    machine.files.currentFolder = L"C:\\work";
    machine.files.write(L"C:\\work\\kovra.txt", "");
    machine.files.write(L"C:\\kovra.txt", "");
    machine.files.write(machine.currentUser + L"\\Kovra.lnk", "");
    machine.create(L"all");
    EXPECT_TRUE(machine.files.fileExists(L"C:\\work\\kovra.txt"));
    EXPECT_TRUE(machine.files.fileExists(L"C:\\kovra.txt"));
    EXPECT_FALSE(machine.files.fileExists(L"C:\\Kovra.lnk"));
    EXPECT_THAT(machine.inCurrentUser(), IsEmpty());
}

TEST(Shortcuts, AFailingStepIsSkipped) {
    StartupMachine machine;
    machine.files.write(machine.allUsers + L"\\Kovra.lnk", "");
    machine.fail("CreateObject Wscript.Shell", 1);
    machine.create(L"all");
    EXPECT_THAT(machine.inAllUsers(), IsEmpty());
    machine.heal("CreateObject Wscript.Shell");
    machine.fail("WshShell.ExpandEnvironmentStrings", 1, 1);
    machine.fail("Shortcut.setWindowStyle", 1);
    machine.create(L"all");
    EXPECT_EQ(
        machine.shortcutIn(machine.allUsers),
        (simulated::Shortcut{L"", L"-minimized", L"\"C:\\Kovra\\bin\"", 1, L"C:\\Kovra\\bin\\Kovra.exe, 0"}));
    EXPECT_THAT(machine.shell.messageBoxes, IsEmpty());
}

} // namespace
} // namespace kovra
