#include "platform/automation.h"
#include "tests/platform/contract.h"

#include <algorithm>
#include <utility>

namespace kovra::contract {
namespace {

const std::string path = scratchFolder + "\\file";
const std::wstring name = L"C:\\Scratch\\file";

std::optional<TextStream> openStream(IoMode mode) {
    return FileSystemObject::create().OpenTextFile(name, mode, true);
}

CONTRACT_TEST(Automation, ATextIsReadByLinesAndWhole) {
    struct Text {
        std::string content;
        std::vector<std::wstring> lines;
        std::optional<std::wstring> whole;
    };

    const Text texts[] = {{"", {}, {}},
                          {"one\r\ntwo\n\r\n", {L"one", L"two", {}}, L"one\r\ntwo\n\r\n"},
                          {"\xE4\rb\n\xFF\r", {L"\u00E4\rb", L"\u00FF\r"}, L"\u00E4\rb\n\u00FF\r"}};
    for (const Text& text : texts) {
        write(path, text.content);
        EXPECT_EQ(openStream(IoMode::ForReading)->ReadAll(), text.whole);
        std::optional<TextStream> stream = openStream(IoMode::ForReading);
        std::vector<std::wstring> lines;
        while (stream->AtEndOfStream() == false && lines.size() < 9)
            lines.push_back(stream->ReadLine().value_or(L"no line"));
        EXPECT_EQ(lines, text.lines);
        EXPECT_FALSE(stream->ReadLine());
    }
}

CONTRACT_TEST(Automation, AStreamWritesTextOfTheCodePage) {
    write(path, "longer");
    std::optional<TextStream> stream = openStream(IoMode::ForWriting);
    EXPECT_TRUE(stream->Write(L"\u00E4b"));
    EXPECT_BUT_NOT_UNDER_WINE(!stream->Write(L"\u4E2D"), "it writes a question mark");
    EXPECT_FALSE(DeleteFileA(path.c_str()));
    stream->Close();
    EXPECT_EQ(read(path).substr(0, 2), "\xE4\x62");
    EXPECT_TRUE(DeleteFileA(path.c_str()));
}

CONTRACT_TEST(Automation, AFolderListsItsFiles) {
    write(scratchFolder + "\\B.lnk", "12");
    write(scratchFolder + "\\a.txt", "");
    makeFolder(scratchFolder + "\\folder");
    std::vector<std::wstring> files;
    for (const File& file : FileSystemObject::create().GetFolder(L"C:\\Scratch")->Files())
        files.push_back(*file.Path() + L" " + *file.Name() + L" " + std::to_wstring(*file.Size()));
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files,
              (std::vector<std::wstring>{L"C:\\Scratch\\B.lnk B.lnk 2", L"C:\\Scratch\\a.txt a.txt 0"}));
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
    for (const char* saved : {"anew", "over the one that is there"}) {
        EXPECT_TRUE(shortcut->Save()) << saved;
        EXPECT_NE(read(path + ".lnk"), "") << saved;
    }
    EXPECT_FALSE(shell.createShortcut(L"C:\\Scratch\\missing\\a.lnk")->Save());
}

CONTRACT_TEST(Automation, TheEnvironmentIsPutIntoTexts) {
    using Row = std::pair<const wchar_t*, const wchar_t*>;
    for (const auto& [text, expected] :
         {Row{L"100% %no%SystemDrive%\\%a%", L"100% %noC:\\%a%"}, Row{L"%systemDRIVE%%", L"C:%"}}) {
        const std::wstring result =
            WshShell::create().ExpandEnvironmentStrings(text).value_or(std::wstring{});
        EXPECT_BUT_NOT_UNDER_WINE(result == expected, "it has a NUL at the end");
        EXPECT_STREQ(result.c_str(), expected);
    }
}

} // namespace
} // namespace kovra::contract
