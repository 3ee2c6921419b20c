#include "platform/simulated/files.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>

namespace kovra::simulated {
namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

DWORD openError(FileSystem& files, std::wstring_view path, DWORD access, DWORD share, DWORD disposition) {
    DWORD error = ERROR_SUCCESS;
    const std::optional<OpenFile> file = files.open(path, access, share, disposition, error);
    EXPECT_EQ(file.has_value(), error == ERROR_SUCCESS || error == ERROR_ALREADY_EXISTS);
    return error;
}

void append(FileSystem& files, std::wstring_view path, std::string_view bytes) {
    DWORD error = ERROR_SUCCESS;
    DWORD written = 0;
    std::optional<OpenFile> file = files.open(path, FILE_APPEND_DATA, shareAll, OPEN_ALWAYS, error);
    ASSERT_TRUE(file && file->write(bytes.data(), static_cast<DWORD>(bytes.size()), written));
    EXPECT_EQ(written, bytes.size());
}

TEST(Files, NamesKeepTheirCaseWhichDoesNotCount) {
    FileSystem files;
    ASSERT_TRUE(files.write(L"C:\\Kovra\\\u00C4pfel.txt", "x"));
    EXPECT_EQ(files.read(L"c:\\kovra\\\u00E4PFEL.TXT"), "x");
    ASSERT_TRUE(files.write(L"c:\\KOVRA\\\u00E4pfel.txt", "y"));
    EXPECT_EQ(files.list(L"C:\\Kovra"), std::vector<std::wstring>{L"\u00C4pfel.txt"});
}

TEST(Files, PathsLeadWhereWindowsTakesThem) {
    FileSystem files;
    ASSERT_TRUE(files.write(L"C:\\Kovra\\www\\index.php", "x"));
    ASSERT_TRUE(files.write(L"\\\\server\\share\\a\\b.txt", "far"));
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
    EXPECT_FALSE(files.write(L"C:\\Kovra\\www\\index.php\\below", "a file stands in the way"));
}

TEST(Files, OpeningGivesWindowsErrors) {
    FileSystem files;
    files.write(L"C:\\a\\there", "12345");
    EXPECT_EQ(openError(files, L"C:\\a\\missing", GENERIC_READ, shareAll, OPEN_EXISTING),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(openError(files, L"C:\\b\\missing", GENERIC_WRITE, shareAll, CREATE_ALWAYS),
              ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(openError(files, L"C:\\a\\wh?t", GENERIC_WRITE, shareAll, CREATE_ALWAYS), ERROR_INVALID_NAME);
    EXPECT_EQ(openError(files, L"C:\\a", GENERIC_READ, shareAll, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    EXPECT_EQ(openError(files, L"C:\\a\\there", FILE_APPEND_DATA, shareAll, OPEN_ALWAYS),
              ERROR_ALREADY_EXISTS);
    EXPECT_EQ(files.read(L"C:\\a\\there"), "12345");
    EXPECT_EQ(openError(files, L"C:\\a\\there", GENERIC_WRITE, shareAll, CREATE_ALWAYS),
              ERROR_ALREADY_EXISTS);
    EXPECT_EQ(files.read(L"C:\\a\\there"), "");
    EXPECT_EQ(openError(files, L"C:\\a\\new", FILE_APPEND_DATA, shareAll, OPEN_ALWAYS), ERROR_SUCCESS);
    EXPECT_TRUE(files.fileExists(L"C:\\a\\new"));
}

TEST(Files, ReadingGoesOnWhereItStopped) {
    FileSystem files;
    files.write(L"C:\\a", "12345");
    DWORD error = ERROR_SUCCESS;
    DWORD count = 0;
    std::array<char, 4> buffer{};
    std::optional<OpenFile> file = files.open(L"C:\\a", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, error);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->size(), 5U);
    ASSERT_TRUE(file->read(buffer.data(), 4, count));
    EXPECT_EQ(std::string(buffer.data(), count), "1234");
    ASSERT_TRUE(file->read(buffer.data(), 4, count));
    EXPECT_EQ(std::string(buffer.data(), count), "5");
    EXPECT_TRUE(file->read(buffer.data(), 4, count));
    EXPECT_EQ(count, 0U);
    EXPECT_FALSE(file->write("x", 1, count));
}

TEST(Files, AppendingGoesBehindWhatOthersHaveWritten) {
    FileSystem files;
    DWORD error = ERROR_SUCCESS;
    DWORD written = 0;
    std::optional<OpenFile> file = files.open(L"C:\\log", FILE_APPEND_DATA, shareAll, OPEN_ALWAYS, error);
    ASSERT_TRUE(file && file->write("one ", 4, written));
    append(files, L"C:\\log", "two ");
    ASSERT_TRUE(file->write("three", 5, written));
    EXPECT_EQ(files.read(L"C:\\log"), "one two three");
}

TEST(Files, SharingHoldsUntilTheFileIsLetGo) {
    FileSystem files;
    files.write(L"C:\\a", "x");
    DWORD error = ERROR_SUCCESS;
    {
        std::optional<OpenFile> first =
            files.open(L"C:\\a", GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, error);
        ASSERT_TRUE(first);
        const OpenFile moved = std::move(*first); // one opener still
        EXPECT_EQ(openError(files, L"C:\\a", GENERIC_READ, shareAll, OPEN_EXISTING), ERROR_SUCCESS);
        EXPECT_EQ(openError(files, L"C:\\a", GENERIC_READ, FILE_SHARE_WRITE, OPEN_EXISTING),
                  ERROR_SHARING_VIOLATION);
        EXPECT_EQ(openError(files, L"C:\\a", GENERIC_WRITE, shareAll, OPEN_EXISTING),
                  ERROR_SHARING_VIOLATION);
        EXPECT_EQ(openError(files, L"C:\\a", FILE_APPEND_DATA, shareAll, OPEN_ALWAYS),
                  ERROR_SHARING_VIOLATION);
        EXPECT_EQ(files.deleteFile(L"C:\\a"), ERROR_SHARING_VIOLATION);
        EXPECT_EQ(files.move(L"C:\\a", L"C:\\b"), ERROR_SHARING_VIOLATION);
        EXPECT_EQ(openError(files, L"C:\\a", GENERIC_WRITE, shareAll, CREATE_ALWAYS),
                  ERROR_SHARING_VIOLATION);
        EXPECT_EQ(files.read(L"C:\\a"), "x");
    }
    EXPECT_EQ(openError(files, L"C:\\a", GENERIC_WRITE, 0, OPEN_EXISTING), ERROR_SUCCESS);
    EXPECT_EQ(files.deleteFile(L"C:\\a"), ERROR_SUCCESS);
}

TEST(Files, AnOpenFileOutlastsTheFolderThatTheWorldRemoves) {
    FileSystem files;
    files.write(L"C:\\a\\b\\c", "x");
    DWORD error = ERROR_SUCCESS;
    std::optional<OpenFile> file = files.open(L"C:\\a\\b\\c", GENERIC_READ, shareAll, OPEN_EXISTING, error);
    ASSERT_TRUE(file);
    ASSERT_TRUE(files.remove(L"C:\\a"));
    EXPECT_EQ(file->readRest(), "x");
    EXPECT_EQ(file->path(), L"c");
}

TEST(Files, AttributesForbidWhatTheyForbid) {
    FileSystem files;
    files.write(L"C:\\a\\readOnly", "x");
    files.write(L"C:\\a\\loaded", "x");
    files.write(L"C:\\a\\inUse", "x");
    ASSERT_TRUE(files.setReadOnly(L"C:\\a\\readOnly") && files.setLoaded(L"C:\\a\\loaded") &&
                files.setInUse(L"C:\\a\\inUse"));
    EXPECT_FALSE(files.setInUse(L"C:\\a\\missing"));

    EXPECT_EQ(openError(files, L"C:\\a\\readOnly", GENERIC_WRITE, shareAll, OPEN_EXISTING),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(files.deleteFile(L"C:\\a\\readOnly"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(files.move(L"C:\\a\\readOnly", L"C:\\a\\movedReadOnly"), ERROR_SUCCESS);
    EXPECT_EQ(files.deleteFile(L"C:\\a\\movedReadOnly", true), ERROR_SUCCESS);

    EXPECT_EQ(openError(files, L"C:\\a\\loaded", GENERIC_READ, shareAll, OPEN_EXISTING), ERROR_SUCCESS);
    EXPECT_EQ(openError(files, L"C:\\a\\loaded", GENERIC_WRITE, shareAll, CREATE_ALWAYS),
              ERROR_SHARING_VIOLATION);
    EXPECT_EQ(files.deleteFile(L"C:\\a\\loaded", true), ERROR_ACCESS_DENIED);
    EXPECT_EQ(files.move(L"C:\\a\\loaded", L"C:\\a\\movedLoaded"), ERROR_SUCCESS);
    EXPECT_EQ(files.deleteFile(L"C:\\a\\movedLoaded", true), ERROR_ACCESS_DENIED); // still the loaded one

    EXPECT_EQ(openError(files, L"C:\\a\\inUse", GENERIC_READ, shareAll, OPEN_EXISTING),
              ERROR_SHARING_VIOLATION);
    EXPECT_EQ(files.deleteFile(L"C:\\a\\inUse", true), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(files.move(L"C:\\a\\inUse", L"C:\\a\\other"), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(files.move(L"C:\\a", L"C:\\b"), ERROR_ACCESS_DENIED); // with what is in use in it
}

TEST(Files, NothingIsWrittenWhereItIsDenied) {
    FileSystem files;
    files.write(L"C:\\Kovra\\bin\\a", "x");
    ASSERT_TRUE(files.denyWrites(L"C:\\Kovra"));
    const FileSnapshot before = files.snapshot();
    EXPECT_EQ(openError(files, L"C:\\Kovra\\bin\\a", GENERIC_WRITE, shareAll, OPEN_EXISTING),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(openError(files, L"C:\\Kovra\\bin\\new", FILE_APPEND_DATA, shareAll, OPEN_ALWAYS),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(files.deleteFile(L"C:\\Kovra\\bin\\a", true), ERROR_ACCESS_DENIED);
    EXPECT_EQ(files.deleteFolder(L"C:\\Kovra\\bin", true), ERROR_ACCESS_DENIED);
    EXPECT_EQ(files.move(L"C:\\Kovra\\bin\\a", L"C:\\a"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(files.move(L"C:\\Windows\\System32", L"C:\\Kovra\\s"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(files.makeJunction(L"C:\\Windows", L"C:\\Kovra\\link"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(openError(files, L"C:\\Kovra\\bin\\a", GENERIC_READ, shareAll, OPEN_EXISTING), ERROR_SUCCESS);
    EXPECT_EQ(files.snapshot(), before);
    EXPECT_TRUE(files.write(L"C:\\Kovra\\bin\\b", "the world's hand"));
    EXPECT_NE(files.snapshot(), before);
}

TEST(Files, MovingNeedsAFreePlaceOnTheSameDrive) {
    FileSystem files;
    files.write(L"C:\\a\\b\\file", "x");
    files.write(L"C:\\c", "y");
    files.makeFolder(L"D:\\");
    EXPECT_EQ(files.move(L"C:\\a\\b\\file", L"C:\\C"), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(files.move(L"C:\\missing", L"C:\\d"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(files.move(L"C:\\a", L"C:\\x\\d"), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(files.move(L"C:\\a", L"C:\\a\\b\\into itself"), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(files.move(L"C:\\a", L"D:\\a"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(files.move(L"C:\\c", L"D:\\c"), ERROR_SUCCESS);
    EXPECT_EQ(files.move(L"C:\\a", L"C:\\e"), ERROR_SUCCESS);
    EXPECT_EQ(files.read(L"C:\\e\\b\\file"), "x");
    EXPECT_FALSE(files.folderExists(L"C:\\a"));
}

TEST(Files, AFolderGoesUpToWhatCannotBeDeleted) {
    FileSystem files;
    for (const auto* path : {L"C:\\f\\1", L"C:\\f\\2\\a", L"C:\\f\\2\\b", L"C:\\f\\3"})
        files.write(path, "x");
    files.setReadOnly(L"C:\\f\\2\\b");
    EXPECT_EQ(files.deleteFolder(L"C:\\f", false), ERROR_ACCESS_DENIED);
    EXPECT_EQ(files.list(L"C:\\f"), (std::vector<std::wstring>{L"2", L"3"}));
    EXPECT_EQ(files.list(L"C:\\f\\2"), std::vector<std::wstring>{L"b"});
    EXPECT_EQ(files.deleteFolder(L"C:\\f", true), ERROR_SUCCESS);
    EXPECT_FALSE(files.folderExists(L"C:\\f"));
    EXPECT_EQ(files.deleteFolder(L"C:\\f", true), ERROR_PATH_NOT_FOUND);
}

TEST(Files, AJunctionShowsItsTargetAndGoesWithoutIt) {
    FileSystem files;
    files.write(L"C:\\data\\sub\\file", "x");
    files.makeFolder(L"C:\\root\\empty");
    files.write(L"C:\\root\\full\\file", "y");
    EXPECT_EQ(files.makeJunction(L"C:\\missing", L"C:\\root\\link"), ERROR_PATH_NOT_FOUND);
    for (const auto* refused : {L"\\\\server\\share", L"data", L"C:data", L"\\data"}) {
        EXPECT_EQ(files.makeJunction(refused, L"C:\\root\\link"), ERROR_INVALID_NAME);
        EXPECT_EQ(files.makeJunction(L"C:\\data", refused), ERROR_INVALID_NAME);
    }
    EXPECT_EQ(files.makeJunction(L"C:\\data", L"C:\\root\\full"), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(files.makeJunction(L"C:\\data", L"C:\\root\\empty"), ERROR_SUCCESS);
    ASSERT_EQ(files.makeJunction(L"C:\\data", L"C:\\root\\link"), ERROR_SUCCESS);

    EXPECT_EQ(files.read(L"C:\\root\\link\\sub\\file"), "x");
    append(files, L"C:\\root\\link\\new", "z");
    EXPECT_EQ(files.read(L"C:\\data\\new"), "z");
    EXPECT_EQ(files.listFiles(L"C:\\root\\link"), std::vector<std::wstring>{L"new"});
    EXPECT_EQ(files.snapshot().at(L"C:\\root\\link").junctionTarget, L"C:\\data");
    EXPECT_FALSE(files.snapshot().contains(L"C:\\root\\link\\new"));

    EXPECT_EQ(files.removeFolder(L"C:\\root\\link"), ERROR_SUCCESS);
    files.deletionFollowsJunctions = false;
    EXPECT_EQ(files.deleteFolder(L"C:\\root", true), ERROR_SUCCESS); // with the other junction in it
    EXPECT_EQ(files.read(L"C:\\data\\sub\\file"), "x");

    files.deletionFollowsJunctions = true;
    files.makeFolder(L"C:\\root\\dead");
    files.setLink(L"C:\\root\\dead", L"C:\\gone");
    ASSERT_EQ(files.makeJunction(L"C:\\data", L"C:\\root\\dead"), ERROR_SUCCESS); // it shows nothing
    EXPECT_EQ(files.deleteFolder(L"C:\\root", true), ERROR_SUCCESS);
    EXPECT_TRUE(files.list(L"C:\\data").empty());
}

TEST(Files, AFileMayHaveSeveralNames) {
    FileSystem files;
    files.write(L"C:\\a\\one", "x");
    ASSERT_TRUE(files.addName(L"C:\\a\\one", L"C:\\two"));
    append(files, L"C:\\two", "y");
    EXPECT_EQ(files.read(L"C:\\a\\one"), "xy");
    EXPECT_EQ(files.deleteFile(L"C:\\two"), ERROR_SUCCESS);
    EXPECT_EQ(files.read(L"C:\\a\\one"), "xy");
}

TEST(Files, AHeldFolderStaysWithWhatTheDeletionHasNotReached) {
    FileSystem files;
    for (const auto* path : {L"C:\\f\\1", L"C:\\f\\held\\2", L"C:\\f\\z"})
        files.write(path, "x");
    std::optional<OpenFolder> held =
        files.openFolder(L"C:\\f\\held", true, FILE_SHARE_READ | FILE_SHARE_WRITE);
    EXPECT_EQ(files.deleteFolder(L"C:\\f", true), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(files.list(L"C:\\f"), (std::vector<std::wstring>{L"held", L"z"}));
    EXPECT_EQ(files.move(L"C:\\f\\held", L"C:\\g"), ERROR_SHARING_VIOLATION);
    held.reset();
    EXPECT_EQ(files.deleteFolder(L"C:\\f", true), ERROR_SUCCESS);
}

TEST(Files, JunctionsInACircleOrIntoNothingLeadNowhere) {
    FileSystem files;
    files.makeFolder(L"C:\\a");
    files.makeFolder(L"C:\\b");
    ASSERT_EQ(files.makeJunction(L"C:\\b", L"C:\\a"), ERROR_SUCCESS);
    EXPECT_EQ(files.makeJunction(L"C:\\a", L"C:\\b"),
              ERROR_ALREADY_EXISTS); // they are the same folder by now
    ASSERT_TRUE(files.setLink(L"C:\\b", L"C:\\a"));
    EXPECT_FALSE(files.fileExists(L"C:\\a\\x"));
    ASSERT_TRUE(files.remove(L"C:\\b"));
    EXPECT_TRUE(files.folderExists(L"C:\\a")); // the junction itself
    EXPECT_TRUE(files.list(L"C:\\a").empty());
    EXPECT_EQ(openError(files, L"C:\\a\\x", GENERIC_WRITE, shareAll, CREATE_ALWAYS), ERROR_PATH_NOT_FOUND);
}

} // namespace
} // namespace kovra::simulated
