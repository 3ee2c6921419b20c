#include "platform/automation.h"
#include "platform/ext.h"
#include "platform/fileByHandle.h"
#include "platform/junctions.h"
#include "platform/sess.h"
#include "tests/platform/contract.h"

namespace kovra::contract {
namespace {

const std::string target = scratchFolder + "\\target";
const std::string inside = target + "\\inside";
const std::string link = scratchFolder + "\\link";
const std::string shown = link + "\\inside";
const std::wstring linkName = L"C:\\Scratch\\link";

bool isFolder(const std::string& path) {
    return FileSystemObject::create().FolderExists({path.begin(), path.end()});
}

CONTRACT_TEST(Libraries, TheShellIsSeenInItsSession) {
    const std::int32_t console = getActiveConsoleSessionId();
    EXPECT_GE(console, 0);
    startOther("Explorer.EXE");
    EXPECT_TRUE(soon([console] { return isExplorerInSession(console) > 0; }));
    for (const std::int32_t other : {console + 40, -1})
        EXPECT_EQ(isExplorerInSession(other), 0) << other;
}

CONTRACT_TEST(Libraries, AStartThatCannotBeIsTold) {
    const std::string program = scratchFolder + "\\a.exe";
    for (const bool normal : {false, true}) {
        EXPECT_EQ(launchApplicationInSession(program.c_str(), "", getActiveConsoleSessionId(), normal), -1);
        EXPECT_EQ(launchApplicationInSession(program.c_str(), "", -1, normal), -1);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
}

CONTRACT_TEST(Libraries, NoJunctionIsMadeWhereNoneCanBe) {
    makeFolder(target);
    write(inside, "inside");
    makeFolder(link);
    write(shown, "own");
    createJunction(target.c_str(), link.c_str());
    EXPECT_EQ(read(shown), "own");
    DeleteFileA(shown.c_str());
    RemoveDirectoryA(link.c_str());
    createJunction("C:/Scratch/target", link.c_str());
    EXPECT_FALSE(isFolder(link));
    const std::string none = scratchFolder + "\\no\\no";
    for (const char* refused : {"", "no", "C:no", "\\\\localhost\\C$\\no", none.c_str(), inside.c_str()}) {
        createJunction(target.c_str(), refused);
        EXPECT_FALSE(isFolder(refused)) << refused;
        createJunction(refused, link.c_str());
        EXPECT_FALSE(isFolder(link)) << refused;
    }
    EXPECT_EQ(read(inside), "inside");
}

CONTRACT_TEST(Libraries, AJunctionShowsItsTargetAndGoesWithoutIt) {
    makeFolder(target);
    write(inside, "inside");
    createJunction(target.c_str(), link.c_str());
    EXPECT_BUT_NOT_UNDER_WINE(read(shown) == "inside", "its file system has no junctions");
    EXPECT_BUT_NOT_UNDER_WINE(isFolder(link), "and nothing half made stays");
    const std::string record = junctionRecord(linkName);
    EXPECT_BUT_NOT_UNDER_WINE(!record.empty(), "the same");
    if (underWine())
        return;
    EXPECT_TRUE(isLinked(openFolder(link)));
    const std::string other = scratchFolder + "\\other";
    makeFolder(other);
    createJunction(other.c_str(), link.c_str());
    EXPECT_EQ(read(shown), "inside") << "one that shows something is left alone";
    EXPECT_TRUE(setJunctionRecord(linkName, ""));
    EXPECT_EQ(junctionRecord(linkName), "");
    EXPECT_EQ(read(shown), "");
    EXPECT_TRUE(setJunctionRecord(linkName, record));
    EXPECT_EQ(read(shown), "inside");
    makeReadOnly(link);
    EXPECT_TRUE(removeJunction(linkName));
    EXPECT_FALSE(isFolder(link));

    createJunction(other.c_str(), link.c_str());
    RemoveDirectoryA(other.c_str());
    createJunction(target.c_str(), link.c_str());
    EXPECT_EQ(read(shown), "inside") << "one that leads nowhere shows nothing";
    createJunction(scratchFolder.c_str(), (target + "\\link").c_str());
    EXPECT_TRUE(removeJunctionsBelow(L"C:\\Scratch\\target"));
    EXPECT_FALSE(isFolder(target + "\\link"));
    EXPECT_TRUE(RemoveDirectoryA(link.c_str()));
    EXPECT_EQ(read(inside), "inside");
}

} // namespace
} // namespace kovra::contract
