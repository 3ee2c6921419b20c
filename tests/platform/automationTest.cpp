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
