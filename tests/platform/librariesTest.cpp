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

CONTRACT_TEST(Libraries, TheShellIsSeenInItsSessionAndAStartThatCannotBeIsTold) {
    const std::int32_t console = getActiveConsoleSessionId();
    startOther("Explorer.EXE");
    EXPECT_TRUE(soon([console] { return isExplorerInSession(console) > 0; }));
    EXPECT_EQ(isExplorerInSession(console + 40), 0);
    EXPECT_EQ(isExplorerInSession(-1), 0);
    for (const bool normal : {false, true}) {
        EXPECT_EQ(launchApplicationInSession(inside.c_str(), "", console, normal), -1);
        EXPECT_EQ(launchApplicationInSession(inside.c_str(), "", -1, normal), -1);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
}

CONTRACT_TEST(Libraries, NoJunctionIsMadeWhereNoneCanBe) {
    makeFolder(target);
    write(inside, "inside");
    createJunction("C:/Scratch/target", link.c_str());
    EXPECT_FALSE(isFolder(link));
    const std::string none = scratchFolder + "\\no\\no";
    for (const char* refused : {"", "no", "C:no", "\\\\localhost\\C$\\no", none.c_str(), inside.c_str()}) {
        createJunction(target.c_str(), refused);
        EXPECT_FALSE(isFolder(refused)) << refused;
        createJunction(refused, link.c_str());
        EXPECT_FALSE(isFolder(link)) << refused;
    }
    makeFolder(link);
    write(shown, "own");
    createJunction(target.c_str(), link.c_str());
    EXPECT_EQ(read(shown), "own");
    EXPECT_EQ(read(inside), "inside");
}

CONTRACT_TEST(Libraries, AJunctionShowsItsTargetAndGoesWithoutIt) {
    makeFolder(target);
    write(inside, "inside");
    createJunction(target.c_str(), link.c_str());
    const std::string record = junctionRecord(linkName);
    EXPECT_BUT_NOT_UNDER_WINE(!record.empty() && read(shown) == "inside" && isLinked(openFolder(link)),
                              "its file system has no junctions, and nothing half made stays");
    if (underWine())
        return;
    createJunction(scratchFolder.c_str(), link.c_str());
    EXPECT_EQ(read(shown), "inside") << "one that shows something is left alone";
    EXPECT_TRUE(setJunctionRecord(linkName, ""));
    EXPECT_EQ(read(shown), "") << "an ordinary folder";
    EXPECT_TRUE(setJunctionRecord(linkName, record));
    EXPECT_EQ(read(shown), "inside");
    makeReadOnly(link);
    EXPECT_TRUE(removeJunction(linkName));

    const std::string other = scratchFolder + "\\other";
    makeFolder(other);
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
