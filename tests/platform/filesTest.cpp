#include "platform/automation.h"
#include "platform/fileByHandle.h"
#include "tests/platform/contract.h"

#include <cctype>
#include <optional>
#include <set>
#include <string_view>

namespace kovra::contract {
namespace {

const std::string path = scratchFolder + "\\file";
const std::wstring name = L"C:\\Scratch\\file";
constexpr std::size_t folderLength = 11; // of the scratch folder with the separator

FileHandle open(const std::string& path, DWORD access, DWORD disposition) {
    return FileHandle{CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  disposition, FILE_ATTRIBUTE_NORMAL, nullptr)};
}

/// Nothing, a file, one that is read-only, a loaded library, a file that is open for reading, one that is
/// held without sharing; an empty folder, and one with such a file in it.
constexpr std::string_view things = " frlohEFRH";

/// Lays the thing; it is open as long as the result.
FileHandle lay(char thing, std::string path) {
    if (std::isupper(thing) != 0) {
        makeFolder(path);
        path += "\\file";
    }
    const int kind = std::tolower(thing);
    if (kind == 'l')
        layLoadedLibrary(path);
    else if (kind == 'h')
        layHeldFile(path);
    else if (kind != ' ' && kind != 'e')
        write(path, "x");
    if (kind == 'r')
        makeReadOnly(path);
    return kind == 'o' ? open(path, GENERIC_READ, OPEN_EXISTING) : FileHandle{};
}

struct At {
    std::string path;
    std::wstring name{path.begin(), path.end()};
    FileSystemObject files = FileSystemObject::create();
    /// Fails in everything where there is no file.
    File file = files.GetFile(name).value_or(File{AutomationObject{}});

    [[nodiscard]] bool isThere() const { return files.FileExists(name) || files.FolderExists(name); }
};

struct Deed {
    const char* name;
    std::string_view outcomes; ///< for each of the things whether it is done: + yes, - no, * either
    bool (*isDone)(At at);
    std::string_view underWine = outcomes; ///< where that differs
};

// Wine may write to a read-only file where it runs as root. Its text streams share their file with nobody. It
// has no MoveFolder, and what moves in its place takes files too, and what is held.
const Deed deeds[] = {
    {"FileExists", "-+++++----", [](At at) { return at.files.FileExists(at.name); }},
    {"FolderExists", "------++++", [](At at) { return at.files.FolderExists(at.name); }},
    {"GetFile", "-+++++----", [](At at) { return !!at.files.GetFile(at.name); }},
    {"GetFolder", "------++++", [](At at) { return !!at.files.GetFolder(at.name); }},
    {"CreateFileA for reading", "-++++-----",
     [](At at) { return !!open(at.path, GENERIC_READ, OPEN_EXISTING); }},
    {"CreateFileA for writing", "++--+-----",
     [](At at) { return !!open(at.path, GENERIC_WRITE, CREATE_ALWAYS); }, "++*-+-----"},
    {"openForAppending", "++-*+-----",
     [](At at) { return !!openForAppending(openFolder(scratchFolder), &at.name[folderLength]); },
     "++**+-----"},
    {"OpenTextFile to read", "-++++-----",
     [](At at) { return !!at.files.OpenTextFile(at.name, IoMode::ForReading, false); }, "-+++------"},
    {"OpenTextFile to write", "++--+-----",
     [](At at) { return !!at.files.OpenTextFile(at.name, IoMode::ForWriting, true); }, "++*-------"},
    {"CreateTextFile", "++--+-----", [](At at) { return !!at.files.CreateTextFile(at.name, true); },
     "++*-------"},
    {"OpenAsTextStream", "-++++*****", [](At at) { return !!at.file.OpenAsTextStream(IoMode::ForReading); },
     "-+++******"},
};

/// What takes away is done when nothing is left, whatever it gives.
const Deed removals[] = {
    {"RemoveDirectoryA", "------+---", [](At at) { return !!RemoveDirectoryA(at.path.c_str()); }},
    {"DeleteFileA", "-+--------", [](At at) { return !!DeleteFileA(at.path.c_str()); }},
    {"Delete", "-+--------", [](At at) { return at.file.Delete(false); }},
    {"Delete by force", "-++-------", [](At at) { return at.file.Delete(true); }},
    {"DeleteFile", "-+--------", [](At at) { return at.files.DeleteFile(at.name, false); }},
    {"DeleteFile by force", "-++-------", [](At at) { return at.files.DeleteFile(at.name, true); }},
    {"DeleteFolder", "------++--", [](At at) { return at.files.DeleteFolder(at.name, false); }},
    {"DeleteFolder by force", "------+++-", [](At at) { return at.files.DeleteFolder(at.name, true); }},
    {"MoveFile", "-+++--****", [](At at) { return at.files.MoveFile(at.name, at.name + L"2"); }},
    {"MoveFile onto", "----------", [](At at) { return at.files.MoveFile(at.name, L"C:\\Scratch"); }},
    {"MoveFolder", "------+++-", [](At at) { return at.files.MoveFolder(at.name, at.name + L"2"); },
     "-+++--++++"},
    {"MoveFolder onto", "----------", [](At at) { return at.files.MoveFolder(at.name, L"C:\\Scratch"); }},
};

void expectOutcomes(const Deed& deed, bool takesAway) {
    const std::string_view expected = underWine() ? deed.underWine : deed.outcomes;
    std::string outcomes;
    for (const char thing : things) {
        const std::string path = scratchFolder + '\\' + deed.name + std::to_string(outcomes.size()) + ".dll";
        const FileHandle opened = lay(thing, path);
        const bool wasThere = At{path}.isThere();
        const bool isDone = deed.isDone(At{path});
        const bool hasEffect = takesAway ? wasThere && !At{path}.isThere() : isDone;
        outcomes += expected[outcomes.size()] == '*' ? '*' : hasEffect ? '+' : '-';
    }
    EXPECT_EQ(outcomes, expected) << deed.name;
}

CONTRACT_TEST(Files, DeedsAreDoneToWhatTheyAreFor) {
    for (const Deed& deed : deeds)
        expectOutcomes(deed, false);
    for (const Deed& deed : removals)
        expectOutcomes(deed, true);
}

CONTRACT_TEST(Files, NamesLeadWhereWindowsTakesThem) {
    write(scratchFolder + "\\\xC4pfel.txt", "x");
    for (const char* name : {"\\\xE4PFEL.TXT", "\\\xC4pfel.txt. .", "/./no/..\\\xC4pfel.txt"})
        EXPECT_EQ(read(scratchFolder + name), "x") << name;
    for (const std::string name : {"", "\\\xC4pfel.txt\\", "\\\xC4pfel.txt\\x", "\\*", "\\\xC4pfel.txt\r\n"})
        EXPECT_EQ(read(scratchFolder + name), "") << name;
    for (const char* path : {"c:\\SCRATCH", "C:\\Scratch\\", "C:/Scratch. ", "C:\\"})
        EXPECT_TRUE(At{path}.isThere()) << path;
    for (const std::string path : {"", "C:\\Scratch\r\n", "C:\\Scratc?", "Q:\\", "C:\\Scratch\\no\\no"})
        EXPECT_FALSE(At{path}.isThere()) << path;
    EXPECT_FALSE(At{"C:\\" + std::string(300, 'a')}.isThere());
}

CONTRACT_TEST(Files, ReadingGoesOnWhereItStoppedOrWasSet) {
    write(path, "12345");
    const FileHandle file = open(path, GENERIC_READ, OPEN_EXISTING);
    EXPECT_EQ(GetFileSize(file.get(), nullptr), 5U);
    const auto next = [&] {
        char buffer[4];
        DWORD count = 0;
        EXPECT_TRUE(ReadFile(file.get(), buffer, sizeof buffer, &count, nullptr));
        return std::string(buffer, count);
    };
    for (const char* expected : {"1234", "5", ""})
        EXPECT_EQ(next(), expected);
    for (LONG high : {1, 0}) {
        SetFilePointer(file.get(), 2, &high, FILE_BEGIN);
        EXPECT_EQ(next(), high == 0 ? "345" : "");
    }
    EXPECT_TRUE(open(path, GENERIC_WRITE, CREATE_ALWAYS));
    EXPECT_EQ(GetFileSize(file.get(), nullptr), 0U) << "made anew, it is empty";
}

CONTRACT_TEST(Files, AppendingByTheFolderGoesBehindWhatOthersHaveWritten) {
    EXPECT_FALSE(openFolder(scratchFolder + "\\missing"));
    const FileHandle folder = openFolder(scratchFolder);
    const std::string path = scratchFolder + "\\log.txt";
    const FileHandle files[] = {openForAppending(folder, L"log.txt"), openForAppending(folder, L"LOG.TXT")};
    DWORD written = 0;
    for (const int which : {0, 1, 0})
        EXPECT_TRUE(WriteFile(files[which].get(), which == 0 ? "a" : "b", 1, &written, nullptr));
    EXPECT_EQ(read(path), "aba");
    EXPECT_EQ(pathOnVolume(files[0]), L"\\Scratch\\log.txt");
    EXPECT_FALSE(isLinked(folder));
    EXPECT_FALSE(isLinked(files[0]));
    addName(path, scratchFolder + "\\second");
    EXPECT_TRUE(isLinked(files[0]));
}

std::optional<TextStream> openStream(IoMode mode) {
    return FileSystemObject::create().OpenTextFile(name, mode, true);
}

CONTRACT_TEST(Automation, ATextIsReadByLinesAndWhole) {
    const struct {
        std::string content;
        std::vector<std::wstring> lines;
        std::optional<std::wstring> whole;
    } texts[] = {{"", {}, {}},
                 {"one\r\ntwo\n\r\n", {L"one", L"two", {}}, L"one\r\ntwo\n\r\n"},
                 {"\xE4\rb\n\xFF\r", {L"\u00E4\rb", L"\u00FF\r"}, L"\u00E4\rb\n\u00FF\r"}};

    for (const auto& text : texts) {
        write(path, text.content);
        EXPECT_EQ(openStream(IoMode::ForReading)->ReadAll(), text.whole);
        std::optional<TextStream> stream = openStream(IoMode::ForReading);
        for (const std::wstring& line : text.lines) {
            EXPECT_EQ(stream->AtEndOfStream(), false);
            EXPECT_EQ(stream->ReadLine(), line);
        }
        EXPECT_EQ(stream->AtEndOfStream(), true);
        EXPECT_FALSE(stream->ReadLine());
    }
}

CONTRACT_TEST(Automation, AStreamWritesTextOfTheCodePage) {
    write(path, "longer");
    std::optional<TextStream> stream = openStream(IoMode::ForWriting);
    EXPECT_TRUE(stream->Write(L"\u00E4b"));
    EXPECT_BUT_NOT_UNDER_WINE(!stream->Write(L"\u4E2D"), "it writes a question mark");
    EXPECT_FALSE(DeleteFileA(path.c_str())) << "open";
    stream->Close();
    EXPECT_EQ(read(path).substr(0, 2), "\xE4\x62");
    EXPECT_TRUE(DeleteFileA(path.c_str()));
}

CONTRACT_TEST(Automation, AFolderListsItsFiles) {
    write(scratchFolder + "\\B.lnk", "12");
    write(scratchFolder + "\\a.txt", "");
    makeFolder(scratchFolder + "\\folder");
    std::set<std::wstring> files;
    for (const File& file : FileSystemObject::create().GetFolder(L"C:\\Scratch")->Files())
        files.insert(*file.Path() + L" " + *file.Name() + L" " + std::to_wstring(*file.Size()));
    EXPECT_EQ(files, (std::set<std::wstring>{L"C:\\Scratch\\B.lnk B.lnk 2", L"C:\\Scratch\\a.txt a.txt 0"}));
}

CONTRACT_TEST(Automation, AShortcutIsAFileOnceItIsSaved) {
    const WshShell shell = WshShell::create();
    std::optional<Shortcut> shortcut = shell.createShortcut(name + L".LNK");
    EXPECT_TRUE(shortcut->setTargetPath(L"\"C:\\K\u4E2D\\Kovra.exe\""));
    EXPECT_TRUE(shortcut->setArguments(L"-minimized"));
    EXPECT_TRUE(shortcut->setWorkingDirectory(L"\"C:\\K\""));
    EXPECT_TRUE(shortcut->setWindowStyle(4));
    EXPECT_TRUE(shortcut->setIconLocation(L"C:\\K\\Kovra.exe, 0"));
    EXPECT_EQ(read(path + ".lnk"), "");
    EXPECT_TRUE(shortcut->Save());
    EXPECT_TRUE(shortcut->Save()) << "over the one that is there";
    EXPECT_NE(read(path + ".lnk"), "");
    EXPECT_FALSE(shell.createShortcut(L"C:\\Scratch\\missing\\a.lnk")->Save());
}

CONTRACT_TEST(Automation, TheEnvironmentIsPutIntoTexts) {
    const std::optional<std::wstring> text =
        WshShell::create().ExpandEnvironmentStrings(L"100% %no%SystemDrive%\\%a% %systemDRIVE%%");
    EXPECT_STREQ(text->c_str(), L"100% %noC:\\%a% C:%");
    EXPECT_BUT_NOT_UNDER_WINE(text->back() != L'\0', "it has a NUL at the end");
}

} // namespace
} // namespace kovra::contract
