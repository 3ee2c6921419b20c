#include "integration/contextMenu.h"

#include "integration/shellMachine.h"

namespace kovra {
namespace {

TEST(ContextMenu, AnEntryWithoutACaptionIsNoneAndOneWithAStrangersKeyStays) {
    ShellMachine machine;
    machine.registry.setText(ShellMachine::menuKey, L"", L" ");
    machine.insideLauncher([] { EXPECT_FALSE(isContextMenuRegistered()); });
    machine.registry.setText(ShellMachine::menuKey, L"", L"Share");
    machine.registry.makeKey(std::wstring{ShellMachine::menuKey} + L"\\other");
    machine.insideLauncher([] { EXPECT_EQ(unregisterContextMenu(), false); });
    machine.insideLauncher([] { EXPECT_EQ(unregisterContextMenu(), true); }); // the template knew it
}

TEST(ContextMenu, ATemplateOfAnyLengthIsFilledAsAWhole) {
    ShellMachine machine;
    const std::string line(50, 'x');
    std::string bytes, filled;
    for (int count = 0; count < 1000; ++count) {
        bytes += line + "%EXEPATH%\r\n";
        filled += line + "C:\\\\Kovra\\\\bin\r\n";
    }
    machine.files.write(L"C:\\Kovra\\bin\\default\\contextMenu.reg", bytes);
    machine.insideLauncher([] { EXPECT_TRUE(registerWin7ContextMenu(true)); });
    EXPECT_TRUE(machine.files.read(L"C:\\Kovra\\data\\temp\\contextMenu.reg") == filled);
}

} // namespace
} // namespace kovra
