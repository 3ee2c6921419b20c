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

} // namespace
} // namespace kovra
