#include "platform/simulated/files.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>

namespace kovra::simulated {
namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

bool opens(FileSystem& files, std::wstring_view path, DWORD access, DWORD disposition) {
    return files.open(path, access, shareAll, disposition).has_value();
}

TEST(Files, NamesKeepTheirCaseWhichDoesNotCount) {
    FileSystem files;
    files.write(L"C:\\Kovra\\\u00C4pfel.txt", "x");
    EXPECT_EQ(files.read(L"c:\\kovra\\\u00E4PFEL.TXT"), "x");
    files.write(L"c:\\KOVRA\\\u00E4pfel.txt", "y");
    EXPECT_EQ(files.list(L"C:\\Kovra"), std::vector<std::wstring>{L"\u00C4pfel.txt"});
}

TEST(Files, PathsLeadWhereWindowsTakesThem) {
    FileSystem files;
    files.write(L"C:\\Kovra\\www\\index.php", "x");
    files.write(L"\\\\server\\share\\a\\b.txt", "far");
    for (const auto* path :
         {L"\\Kovra\\www\\index.php", L"C:/Kovra/www/index.php", L"C:\\Kovra\\.\\x\\..\\www\\index.php",
          L"..\\..\\Kovra\\www\\index.php", L"C:\\Kovra\\www\\index.php. ."})
        EXPECT_TRUE(files.fileExists(path)) << std::string(path, path + std::wcslen(path));
    EXPECT_TRUE(files.folderExists(L"C:\\Kovra\\www\\"));
    EXPECT_TRUE(files.folderExists(L"C:\\"));
    EXPECT_TRUE(files.fileExists(L"\\\\SERVER\\share\\a\\b.txt"));
    for (const auto* path : {L"", L"D:\\", L"C:\\Kovra\\www\\index.php\\", L"C:\\Kovra\\www\r\n",
                             L"C:\\Kovra\\*", L"\\\\server\\other\\a", L"C:\\Kovra\\www\\index.php\\x"}) {
        EXPECT_FALSE(files.fileExists(path)) << std::string(path, path + std::wcslen(path));
        EXPECT_FALSE(files.folderExists(path)) << std::string(path, path + std::wcslen(path));
    }
    EXPECT_FALSE(files.folderExists(L"C:\\Kovra\\" + std::wstring(300, L'a')));
    EXPECT_EQ(files.fullPath(L"\\Kovra\\.\\www\\"), L"C:\\Kovra\\www");
}

TEST(Files, AppendingGoesBehindWhatOthersHaveWritten) {
    FileSystem files;
    std::optional<OpenFile> file = files.open(L"C:\\log", FILE_APPEND_DATA, shareAll, OPEN_ALWAYS);
    ASSERT_TRUE(file && file->write("one "));
    ASSERT_TRUE(files.open(L"C:\\log", FILE_APPEND_DATA, shareAll, OPEN_ALWAYS)->write("two "));
    ASSERT_TRUE(file->write("three"));
    EXPECT_EQ(files.read(L"C:\\log"), "one two three");
}

TEST(Files, AnOpenFileOutlastsTheFolderThatTheWorldRemoves) {
    FileSystem files;
    files.write(L"C:\\a\\b\\c", "x");
    std::optional<OpenFile> file = files.open(L"C:\\a\\b\\c", GENERIC_READ, shareAll, OPEN_EXISTING);
    ASSERT_TRUE(file);
    files.remove(L"C:\\a");
    EXPECT_EQ(file->content(), "x");
    EXPECT_EQ(file->path(), L"c");
}

TEST(Files, AttributesForbidWhatTheyForbid) {
    FileSystem files;
    files.write(L"C:\\a\\readOnly", "x");
    files.write(L"C:\\a\\loaded", "x");
    files.write(L"C:\\a\\inUse", "x");
    files.setReadOnly(L"C:\\a\\readOnly");
    files.setLoaded(L"C:\\a\\loaded");
    files.setInUse(L"C:\\a\\inUse");

    EXPECT_FALSE(opens(files, L"C:\\a\\readOnly", GENERIC_WRITE, OPEN_EXISTING));
    EXPECT_FALSE(files.deleteFile(L"C:\\a\\readOnly"));
    EXPECT_TRUE(files.move(L"C:\\a\\readOnly", L"C:\\a\\movedReadOnly"));
    EXPECT_TRUE(files.deleteFile(L"C:\\a\\movedReadOnly", true));

    EXPECT_TRUE(opens(files, L"C:\\a\\loaded", GENERIC_READ, OPEN_EXISTING));
    EXPECT_FALSE(opens(files, L"C:\\a\\loaded", GENERIC_WRITE, CREATE_ALWAYS));
    EXPECT_FALSE(files.deleteFile(L"C:\\a\\loaded", true));
    EXPECT_TRUE(files.move(L"C:\\a\\loaded", L"C:\\a\\movedLoaded"));
    EXPECT_FALSE(files.deleteFile(L"C:\\a\\movedLoaded", true)); // still the loaded one

    EXPECT_FALSE(opens(files, L"C:\\a\\inUse", GENERIC_READ, OPEN_EXISTING));
    EXPECT_FALSE(files.deleteFile(L"C:\\a\\inUse", true));
    EXPECT_FALSE(files.move(L"C:\\a\\inUse", L"C:\\a\\other"));
    EXPECT_FALSE(files.move(L"C:\\a", L"C:\\b")); // with what is in use in it
}

TEST(Files, NothingIsWrittenWhereItIsDenied) {
    FileSystem files;
    files.write(L"C:\\Kovra\\bin\\a", "x");
    files.denyWrites(L"C:\\Kovra");
    const FileSnapshot before = files.snapshot();
    EXPECT_FALSE(opens(files, L"C:\\Kovra\\bin\\a", GENERIC_WRITE, OPEN_EXISTING));
    EXPECT_FALSE(opens(files, L"C:\\Kovra\\bin\\new", FILE_APPEND_DATA, OPEN_ALWAYS));
    EXPECT_FALSE(files.deleteFile(L"C:\\Kovra\\bin\\a", true));
    EXPECT_FALSE(files.deleteFolder(L"C:\\Kovra\\bin", true));
    EXPECT_FALSE(files.move(L"C:\\Kovra\\bin\\a", L"C:\\a"));
    EXPECT_FALSE(files.move(L"C:\\Windows\\System32", L"C:\\Kovra\\s"));
    EXPECT_FALSE(files.makeJunction(L"C:\\Windows", L"C:\\Kovra\\link"));
    EXPECT_TRUE(opens(files, L"C:\\Kovra\\bin\\a", GENERIC_READ, OPEN_EXISTING));
    EXPECT_EQ(files.snapshot(), before);
    files.write(L"C:\\Kovra\\bin\\b", "the world's hand");
    EXPECT_NE(files.snapshot(), before);
}

TEST(Files, MovingNeedsAFreePlaceOnTheSameDrive) {
    FileSystem files;
    files.write(L"C:\\a\\b\\file", "x");
    files.write(L"C:\\c", "y");
    files.makeFolder(L"D:\\");
    EXPECT_FALSE(files.move(L"C:\\a\\b\\file", L"C:\\C"));
    EXPECT_FALSE(files.move(L"C:\\missing", L"C:\\d"));
    EXPECT_FALSE(files.move(L"C:\\a", L"C:\\x\\d"));
    EXPECT_FALSE(files.move(L"C:\\a", L"C:\\a\\b\\into itself"));
    EXPECT_FALSE(files.move(L"C:\\a", L"D:\\a"));
    EXPECT_TRUE(files.move(L"C:\\c", L"D:\\c"));
    EXPECT_TRUE(files.move(L"C:\\a", L"C:\\e"));
    EXPECT_EQ(files.read(L"C:\\e\\b\\file"), "x");
    EXPECT_FALSE(files.folderExists(L"C:\\a"));
}

TEST(Files, AFolderGoesUpToWhatCannotBeDeleted) {
    FileSystem files;
    for (const auto* path : {L"C:\\f\\1", L"C:\\f\\2\\a", L"C:\\f\\2\\b", L"C:\\f\\3"})
        files.write(path, "x");
    files.setReadOnly(L"C:\\f\\2\\b");
    EXPECT_FALSE(files.deleteFolder(L"C:\\f", false));
    EXPECT_EQ(files.list(L"C:\\f"), (std::vector<std::wstring>{L"2", L"3"}));
    EXPECT_EQ(files.list(L"C:\\f\\2"), std::vector<std::wstring>{L"b"});
    EXPECT_TRUE(files.deleteFolder(L"C:\\f", true));
    EXPECT_FALSE(files.folderExists(L"C:\\f"));
    EXPECT_FALSE(files.deleteFolder(L"C:\\f", true));
}

TEST(Files, AJunctionShowsItsTargetAndGoesWithoutIt) {
    FileSystem files;
    files.write(L"C:\\data\\sub\\file", "x");
    files.makeFolder(L"C:\\root\\empty");
    files.write(L"C:\\root\\full\\file", "y");
    EXPECT_FALSE(files.makeJunction(L"C:\\missing", L"C:\\root\\link"));
    for (const auto* refused : {L"\\\\server\\share", L"data", L"C:data", L"\\data"}) {
        EXPECT_FALSE(files.makeJunction(refused, L"C:\\root\\link"));
        EXPECT_FALSE(files.makeJunction(L"C:\\data", refused));
    }
    EXPECT_FALSE(files.makeJunction(L"C:\\data", L"C:\\root\\full"));
    EXPECT_TRUE(files.makeJunction(L"C:\\data", L"C:\\root\\empty"));
    ASSERT_TRUE(files.makeJunction(L"C:\\data", L"C:\\root\\link"));

    EXPECT_EQ(files.read(L"C:\\root\\link\\sub\\file"), "x");
    ASSERT_TRUE(files.open(L"C:\\root\\link\\new", FILE_APPEND_DATA, shareAll, OPEN_ALWAYS)->write("z"));
    EXPECT_EQ(files.read(L"C:\\data\\new"), "z");
    EXPECT_EQ(files.list(L"C:\\root\\link"), (std::vector<std::wstring>{L"new", L"sub"}));
    EXPECT_EQ(files.snapshot().at(L"C:\\root\\link").linkTarget, L"C:\\data");
    EXPECT_FALSE(files.snapshot().contains(L"C:\\root\\link\\new"));

    EXPECT_TRUE(files.removeFolder(L"C:\\root\\link"));
    files.deletionFollowsJunctions = false;
    EXPECT_TRUE(files.deleteFolder(L"C:\\root", true)); // with the other junction in it
    EXPECT_EQ(files.read(L"C:\\data\\sub\\file"), "x");

    files.deletionFollowsJunctions = true;
    files.makeFolder(L"C:\\root\\dead");
    files.setLink(L"C:\\root\\dead", L"C:\\gone");
    ASSERT_TRUE(files.makeJunction(L"C:\\data", L"C:\\root\\dead")); // it shows nothing
    EXPECT_TRUE(files.deleteFolder(L"C:\\root", true));
    EXPECT_TRUE(files.list(L"C:\\data").empty());
}

TEST(Files, AFileMayHaveSeveralNames) {
    FileSystem files;
    files.write(L"C:\\a\\one", "x");
    files.addName(L"C:\\a\\one", L"C:\\two");
    ASSERT_TRUE(files.open(L"C:\\two", FILE_APPEND_DATA, shareAll, OPEN_ALWAYS)->write("y"));
    EXPECT_EQ(files.read(L"C:\\a\\one"), "xy");
    EXPECT_TRUE(files.deleteFile(L"C:\\two"));
    EXPECT_EQ(files.read(L"C:\\a\\one"), "xy");
}

TEST(Files, AHeldFolderStaysWithWhatTheDeletionHasNotReached) {
    FileSystem files;
    for (const auto* path : {L"C:\\f\\1", L"C:\\f\\held\\2", L"C:\\f\\z"})
        files.write(path, "x");
    std::optional<OpenFile> held = files.openFolder(L"C:\\f\\held", true, FILE_SHARE_READ | FILE_SHARE_WRITE);
    EXPECT_FALSE(files.deleteFolder(L"C:\\f", true));
    EXPECT_EQ(files.list(L"C:\\f"), (std::vector<std::wstring>{L"held", L"z"}));
    EXPECT_FALSE(files.move(L"C:\\f\\held", L"C:\\g"));
    held.reset();
    EXPECT_TRUE(files.deleteFolder(L"C:\\f", true));
}

TEST(Files, JunctionsInACircleOrIntoNothingLeadNowhere) {
    FileSystem files;
    files.makeFolder(L"C:\\a");
    files.makeFolder(L"C:\\b");
    ASSERT_TRUE(files.makeJunction(L"C:\\b", L"C:\\a"));
    EXPECT_FALSE(files.makeJunction(L"C:\\a", L"C:\\b")); // they are the same folder by now
    ASSERT_TRUE(files.setLink(L"C:\\b", L"C:\\a"));
    EXPECT_FALSE(files.fileExists(L"C:\\a\\x"));
    files.remove(L"C:\\b");
    EXPECT_TRUE(files.folderExists(L"C:\\a")); // the junction itself
    EXPECT_TRUE(files.list(L"C:\\a").empty());
    EXPECT_FALSE(opens(files, L"C:\\a\\x", GENERIC_WRITE, CREATE_ALWAYS));
}

} // namespace
} // namespace kovra::simulated
