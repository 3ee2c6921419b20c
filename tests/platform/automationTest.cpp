#include "platform/automation.h"
#include "platform/simulated/machine.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace kovra {
namespace {

using simulated::Machine;

TEST(TextStream, LinesEndAtLfOrCrLf) {
    Machine machine;
    machine.files.write(L"C:\\a.txt", std::string{"one\r\ntwo\n\r\n\xE4\rb\xFF\r"});
    machine.files.write(L"C:\\empty.txt", "");
    machine.inside([] {
        const FileSystemObject fileSystem = FileSystemObject::create();
        std::optional<TextStream> stream =
            fileSystem.GetFile(L"c:\\A.TXT")->OpenAsTextStream(IoMode::ForReading);
        ASSERT_TRUE(stream);
        std::vector<std::wstring> lines;
        while (stream->AtEndOfStream() == false)
            lines.push_back(*stream->ReadLine());
        EXPECT_EQ(lines, (std::vector<std::wstring>{L"one", L"two", L"", L"\u00E4\rb\u00FF\r"}));
        EXPECT_FALSE(stream->ReadLine());

        stream = fileSystem.OpenTextFile(L"C:\\a.txt", IoMode::ForReading, false);
        EXPECT_EQ(stream->ReadLine(), L"one");
        EXPECT_EQ(stream->ReadAll(), L"two\n\r\n\u00E4\rb\u00FF\r");
        EXPECT_FALSE(stream->ReadAll());
        EXPECT_FALSE(fileSystem.OpenTextFile(L"C:\\empty.txt", IoMode::ForReading, false)->ReadAll());
        EXPECT_FALSE(fileSystem.OpenTextFile(L"C:\\missing.txt", IoMode::ForReading, false));
    });
}

TEST(TextStream, DoubleByteTextIsReadWhole) {
    Machine machine;
    ASSERT_TRUE(machine.codePage.set(932));
    machine.files.write(L"C:\\a.txt", "\x95\x5C\n\x93\xFA\r\n");
    machine.inside([] {
        std::optional<TextStream> stream =
            FileSystemObject::create().OpenTextFile(L"C:\\a.txt", IoMode::ForReading, false);
        EXPECT_EQ(stream->ReadLine(), L"\u8868");
        EXPECT_EQ(stream->ReadLine(), L"\u65E5");
        EXPECT_EQ(stream->AtEndOfStream(), true);
    });
}

TEST(TextStream, WritesAnsiTextAndRefusesTheRest) {
    Machine machine;
    machine.inside([&machine] {
        const FileSystemObject fileSystem = FileSystemObject::create();
        std::optional<TextStream> stream = fileSystem.OpenTextFile(L"C:\\a.txt", IoMode::ForWriting, true);
        ASSERT_TRUE(stream);
        EXPECT_TRUE(stream->Write(L"\u00E4"));
        EXPECT_FALSE(stream->Write(L"b\u4E2D"));
        EXPECT_TRUE(stream->Write(L"c"));
        EXPECT_FALSE(stream->ReadLine());
        EXPECT_FALSE(fileSystem.DeleteFile(L"C:\\a.txt", true)); // it is open
        stream->Close();
        EXPECT_FALSE(stream->Write(L"d"));
        EXPECT_EQ(machine.files.read(L"C:\\a.txt"), "\xE4"
                                                    "c");
        EXPECT_FALSE(fileSystem.CreateTextFile(L"C:\\A.txt", false));
        EXPECT_TRUE(fileSystem.CreateTextFile(L"C:\\A.txt", true));
        EXPECT_EQ(machine.files.read(L"C:\\a.txt"), "");
        EXPECT_FALSE(fileSystem.OpenTextFile(L"C:\\b.txt", IoMode::ForWriting, false));
        EXPECT_FALSE(machine.files.fileExists(L"C:\\b.txt"));
        EXPECT_TRUE(fileSystem.DeleteFile(L"C:\\a.txt", false));
    });
}

TEST(FileSystemObject, ListsAndMovesAsTheRealOne) {
    Machine machine;
    machine.files.write(L"C:\\dir\\B.lnk", "12");
    machine.files.write(L"C:\\dir\\a.txt", "");
    machine.files.write(L"C:\\dir\\sub\\c.txt", "");
    machine.files.makeFolder(L"C:\\target");
    machine.inside([&machine] {
        const FileSystemObject fileSystem = FileSystemObject::create();
        std::vector<std::wstring> names;
        for (const File& file : fileSystem.GetFolder(L"C:\\dir\\")->Files())
            names.push_back(*file.Name() + L"=" + *file.Path());
        EXPECT_EQ(names, (std::vector<std::wstring>{L"a.txt=C:\\dir\\a.txt", L"B.lnk=C:\\dir\\B.lnk"}));
        EXPECT_EQ(fileSystem.GetFile(L"C:\\dir\\b.LNK")->Size(), 2U);

        EXPECT_FALSE(fileSystem.MoveFile(L"C:\\dir\\sub", L"C:\\dir\\sub2"));
        EXPECT_FALSE(fileSystem.MoveFolder(L"C:\\dir\\a.txt", L"C:\\dir\\b.txt"));
        EXPECT_FALSE(fileSystem.MoveFile(L"C:\\dir\\a.txt", L"C:\\target"));
        EXPECT_TRUE(fileSystem.MoveFile(L"C:\\dir\\a.txt", L"C:\\target\\"));
        EXPECT_TRUE(machine.files.fileExists(L"C:\\target\\a.txt"));
        EXPECT_FALSE(fileSystem.DeleteFolder(L"C:\\dir\\", true));
        EXPECT_TRUE(fileSystem.MoveFolder(L"C:\\dir", L"C:\\moved"));
        EXPECT_TRUE(fileSystem.DeleteFolder(L"C:\\moved", false));
    });
}

TEST(FileSystemObject, AnObjectThatCannotBeMadeFailsInEverything) {
    Machine machine;
    machine.files.write(L"C:\\a.txt", "x");
    machine.fail("CreateObject Scripting.FileSystemObject", ERROR_FILE_NOT_FOUND, 1);
    machine.inside([] {
        const FileSystemObject none = FileSystemObject::create();
        EXPECT_FALSE(none);
        EXPECT_FALSE(none.FileExists(L"C:\\a.txt"));
        EXPECT_FALSE(none.GetFile(L"C:\\a.txt"));
        EXPECT_FALSE(none.DeleteFile(L"C:\\a.txt", true));
        EXPECT_TRUE(FileSystemObject::create().FileExists(L"C:\\a.txt"));
    });
    EXPECT_EQ(machine.calls("FileSystemObject.FileExists"), 2U);
}

TEST(Shortcut, IsAFileOnceItIsSaved) {
    Machine machine;
    const simulated::Shortcut expected{L"\"C:\\K\u4E2D\\Kovra.exe\"", L"-minimized", L"\"C:\\K\"", 4,
                                       L"C:\\Windows\\x.exe, 0"};
    machine.inside([&machine] {
        const WshShell shell = WshShell::create();
        EXPECT_FALSE(shell.createShortcut(L"C:\\a.txt"));
        std::optional<Shortcut> shortcut = shell.createShortcut(L"C:\\Kovra.LNK");
        ASSERT_TRUE(shortcut);
        EXPECT_TRUE(shortcut->setTargetPath(L"\"C:\\K\u4E2D\\Kovra.exe\""));
        EXPECT_TRUE(shortcut->setArguments(L"-minimized"));
        EXPECT_TRUE(shortcut->setWorkingDirectory(L"\"C:\\K\""));
        EXPECT_TRUE(shortcut->setWindowStyle(4));
        EXPECT_TRUE(shortcut->setIconLocation(*shell.ExpandEnvironmentStrings(L"%systemroot%\\x.exe, 0")));
        EXPECT_FALSE(machine.files.fileExists(L"C:\\Kovra.lnk"));
        EXPECT_TRUE(shortcut->Save());
        EXPECT_FALSE(shell.createShortcut(L"C:\\missing\\a.lnk")->Save());

        EXPECT_TRUE(shell.createShortcut(L"C:\\kovra.lnk")->Save()); // keeps what it finds there
        EXPECT_EQ(shell.ExpandEnvironmentStrings(L"100% %nothing%SystemDrive%\\a%"), L"100% %nothingC:\\a%");
    });
    const std::optional<simulated::Shortcut> saved = machine.shell.shortcutAt(L"C:\\Kovra.lnk");
    ASSERT_TRUE(saved);
    EXPECT_EQ(*saved, expected);
}

TEST(SpecialFolders, AreLookedUpByNumber) {
    Machine machine;
    machine.shell.specialFolders.paths.erase(CSIDL_APPDATA);
    machine.inside([] {
        ITEMIDLIST* list = nullptr;
        std::array<char, MAX_PATH> path{};
        EXPECT_NE(SHGetSpecialFolderLocation(nullptr, CSIDL_APPDATA, &list), 0);
        ASSERT_EQ(SHGetSpecialFolderLocation(nullptr, CSIDL_COMMON_APPDATA, &list), 0);
        EXPECT_TRUE(SHGetPathFromIDListA(list, path.data()));
        EXPECT_STREQ(path.data(), "C:\\ProgramData");
        CoTaskMemFree(list);
        EXPECT_FALSE(SHGetPathFromIDListA(list, path.data()));
    });
    EXPECT_TRUE(machine.shell.specialFolders.lists.empty());
    for (const auto& [number, path] : machine.shell.specialFolders.paths)
        EXPECT_TRUE(machine.files.folderExists(path)) << number;
}

} // namespace
} // namespace kovra
