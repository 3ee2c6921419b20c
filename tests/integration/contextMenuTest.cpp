#include "integration/contextMenu.h"

#include "integration/shellMachine.h"

#include <gmock/gmock.h>

namespace kovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

/// What the launcher makes of a template.
std::string filled(ShellMachine& machine, const std::string& templateBytes, bool addMenu) {
    machine.files.write(ShellMachine::templatePath, templateBytes);
    machine.insideLauncher([&] { EXPECT_TRUE(registerWin7ContextMenu(addMenu)); });
    return machine.files.read(ShellMachine::outputPath).value_or("no output");
}

TEST(ContextMenu, FillsTheTemplateByteForByte) {
    ShellMachine machine;
    std::string expected = *machine.files.read(ShellMachine::templatePath);
    for (const auto& [placeholder, text] : std::map<std::string, std::string>{
             {"%EXEPATH%", "C:\\\\Kovra\\\\bin"},
             {"%WWWPATH%", "C:\\\\Kovra\\\\www"},
             {"%SHAREMAINCAPTION%", "Share with ''Kovra''"},
             {"%SHARECAPTION%", "Share"},
             {"%SENDCAPTION%", "Send [file]"},
             {"%PUBLISHCAPTION%", "Publi\xE9 \\ ?"}}) // the code page lacks that quote
        expected = replaced(expected, placeholder, text);
    machine.files.write(ShellMachine::outputPath, std::string(10'000, 'x')); // of an earlier run, and longer
    machine.fail("DeleteFileA", ERROR_SHARING_VIOLATION, 1); // regedit has it open, and lets others write
    EXPECT_EQ(filled(machine, *machine.files.read(ShellMachine::templatePath), true), expected);
    EXPECT_THAT(machine.traceLines, ElementsAre("start registering windows 7 context menu : True",
                                                "done registering windows 7 context menu : True"));
    EXPECT_THAT(machine.shell.executed, ElementsAre(importsTemplate));
    EXPECT_EQ(machine.defaultValue(ShellMachine::menuKey), L"Share with ''Kovra''");
    EXPECT_EQ(machine.calls("File.OpenAsTextStream"), 2U); // the setting and the language file, once each
}

TEST(ContextMenu, RemovalFormMarksTheTemplatesBracketsOnly) {
    ShellMachine machine;
    machine.launcherPath = L"C:\\Kovra\\[bin]\\kovraLauncher.exe";
    machine.files.write(machine.launcherPath, "");
    machine.files.write(L"C:\\Kovra\\[bin]\\default\\contextMenu.reg",
                        "[HKEY_CLASSES_ROOT\\x]\r\n@=\"[%EXEPATH%\" %SENDCAPTION% %exepath% %EXEPATH%");
    machine.insideLauncher([&] { EXPECT_TRUE(registerWin7ContextMenu(false)); });
    EXPECT_EQ(
        machine.files.read(ShellMachine::outputPath),
        "[-HKEY_CLASSES_ROOT\\x]\r\n@=\"[-C:\\\\Kovra\\\\[bin]\" Send [file] %exepath% C:\\\\Kovra\\\\[bin]");
    EXPECT_TRUE(machine.traced("done registering windows 7 context menu : False"));
}

TEST(ContextMenu, LaterPlaceholdersAreFilledInEarlierCaptionsToo) {
    ShellMachine machine;
    machine.files.write(L"C:\\Kovra\\www\\includes\\lng\\en.php",
                        "//shellShareWith:%SHARECAPTION%\n//doShare:a%SHAREMAINCAPTION%\n//doSend:\n");
    EXPECT_EQ(filled(machine, "%SHAREMAINCAPTION%|%SENDCAPTION%|%PUBLISHCAPTION%", true),
              "a%SHAREMAINCAPTION%||#doPublish#");
}

TEST(ContextMenu, LeavesAllOtherBytesOfTheTemplate) {
    ShellMachine machine;
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte)
        everyByte.push_back(static_cast<char>(byte));
    EXPECT_EQ(filled(machine, everyByte, true), everyByte);
    EXPECT_EQ(filled(machine, "", true), "");

    // In a double-byte code page the second byte of a character can look like a bracket or a backslash.
    machine.codePage.set(932);
    EXPECT_EQ(filled(machine, "[\x83[\x83\\%EXEPATH%]", false), "[-\x83[\x83\\C:\\\\Kovra\\\\bin]");
}

TEST(ContextMenu, AnUnreadableLanguageFileLeavesEverythingUntouched) {
    ShellMachine machine;
    machine.files.write(ShellMachine::outputPath, "of an earlier run");
    machine.removeLanguageFile();
    machine.registry.setText(ShellMachine::menuKey, L"", L"Share");
    machine.insideLauncher([&] {
        EXPECT_FALSE(registerWin7ContextMenu(true));
        EXPECT_EQ(unregisterContextMenu(), std::nullopt);
    });
    EXPECT_EQ(machine.files.read(ShellMachine::outputPath), "of an earlier run");
    EXPECT_THAT(machine.shell.executed, IsEmpty());
    EXPECT_FALSE(machine.registry.keyExists(ShellMachine::menuKey)); // deleted by then
}

TEST(ContextMenu, GoesOnWhereFilesCantBeReadOrWritten) {
    ShellMachine machine;
    machine.files.write(ShellMachine::outputPath, "of an earlier run");
    machine.files.denyWrites(L"C:\\Kovra\\data\\temp");
    machine.insideLauncher([&] { EXPECT_TRUE(registerWin7ContextMenu(true)); });
    EXPECT_EQ(machine.files.read(ShellMachine::outputPath), "of an earlier run");
    EXPECT_THAT(machine.shell.executed, ElementsAre(importsTemplate));

    machine.files.denyWrites(L"C:\\Kovra\\data\\temp", false);
    machine.files.setInUse(ShellMachine::templatePath);
    machine.insideLauncher([&] { EXPECT_TRUE(registerWin7ContextMenu(true)); });
    EXPECT_EQ(machine.files.read(ShellMachine::outputPath), "");
    EXPECT_EQ(machine.timesTraced("done registering windows 7 context menu : True"), 2U);

    machine.files.remove(ShellMachine::templatePath);
    machine.insideLauncher([&] { EXPECT_TRUE(registerWin7ContextMenu(true)); });
    EXPECT_EQ(machine.traceLines.back(),
              "Error: cannot find context menu registry file (C:\\Kovra\\bin\\default\\contextMenu.reg)");
    EXPECT_EQ(machine.shell.executed.size(), 2U);
}

TEST(ContextMenu, UnregisteringDeletesTheKnownKeysAndWhatTheTemplateKnows) {
    ShellMachine machine;
    machine.insideLauncher([&] {
        EXPECT_EQ(unregisterContextMenu(), true); // nothing is there
        machine.registry.setText(ShellMachine::menuKey, L"", L" ");
        EXPECT_FALSE(isContextMenuRegistered()); // without a caption there is no entry
        EXPECT_TRUE(registerWin7ContextMenu(true));
    });
    EXPECT_TRUE(machine.defaultValue(L"KOVRA.menu"));
    // A key of somebody else's below an entry keeps the entry until the template's removal.
    machine.registry.makeKey(L"Directory\\Shell\\KOVRA.share\\other");
    std::optional<bool> gone;
    machine.insideLauncher([&] {
        EXPECT_TRUE(isContextMenuRegistered());
        gone = unregisterContextMenu();
        EXPECT_FALSE(machine.registry.keyExists(L"*\\Shell\\KOVRA.share"));
    });
    EXPECT_EQ(gone, false);
    EXPECT_FALSE(machine.registry.keyExists(ShellMachine::menuKey));
    EXPECT_FALSE(machine.defaultValue(L"KOVRA.menu"));
}

} // namespace
} // namespace kovra
