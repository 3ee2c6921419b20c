#include "integration/shellExtension.h"

#include "integration/shellMachine.h"

namespace kovra {
namespace {

/// Whether the staged version replaces the live one, when so many reads of the two fail.
bool isTaken(const std::string& staged, const std::string& live, std::uint64_t unreadable = 0) {
    ShellMachine machine;
    machine.files.write(L"C:\\Kovra\\bin\\kovraShellExt.tmp.dll", staged);
    machine.files.write(L"C:\\Kovra\\bin\\kovraShellExt.dll", live);
    machine.fail("ReadFile", ERROR_ACCESS_DENIED, unreadable);
    machine.insideLauncher(updateAndRegisterShellExtension);
    return !machine.traced("same version, don't update");
}

TEST(ShellExtensionUpdate, ComparesEveryByte) {
    const std::string block(2048, 'x');
    EXPECT_FALSE(isTaken(block + "same", block + "same"));
    EXPECT_TRUE(isTaken(block + "new", block + "old"));
    EXPECT_TRUE(isTaken("new  ", "new")) << "blanks fill the last block, but the sizes differ";
    EXPECT_TRUE(isTaken(block, block, 1)) << "a block that can't be read is one of blanks";
    EXPECT_TRUE(isTaken(block + "new", block + "old", 2)) << "the blocks behind are still compared";
}

} // namespace
} // namespace kovra
