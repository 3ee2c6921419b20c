#include "integration/shellExtension.h"

#include "integration/contextMenu.h"
#include "support/fileSystem.h"
#include "support/hiddenProgram.h"
#include "support/pathSet.h"
#include "support/systemFacts.h"
#include "support/text.h"
#include "support/trace.h"

#include <array>

namespace kovra {

namespace {

/// The shell extension's files, all in the launcher's folder.
struct ExtensionFiles {
    std::wstring live;      ///< the one that is registered
    std::wstring staged;    ///< a new version, laid there by an update
    std::wstring displaced; ///< a former live one that could not be deleted
};

constexpr DWORD blockSize = 2048;
using Block = std::array<char, blockSize>;

/// The file's block at `position`, where its reading has come to, with blanks behind the file's end; all
/// blanks when it can't be read.
Block nextBlock(const FileHandle& file, std::uint64_t position) {
    Block block;
    block.fill(' ');
    DWORD read = 0;
    if (file && !ReadFile(file.get(), block.data(), blockSize, &read, nullptr)) {
        block.fill(' ');
        // A read that fails does not move on.
        const std::uint64_t next = position + blockSize;
        LONG high = static_cast<LONG>(next >> 32);
        SetFilePointer(file.get(), static_cast<LONG>(next & 0xFFFFFFFF), &high, FILE_BEGIN);
    }
    return block;
}

bool haveSameBytes(const std::wstring& first, const std::wstring& second, std::uint64_t size) {
    const FileHandle firstFile = openFile(first, GENERIC_READ, OPEN_EXISTING);
    const FileHandle secondFile = openFile(second, GENERIC_READ, OPEN_EXISTING);
    for (std::uint64_t position = 0; position < size; position += blockSize) {
        if (nextBlock(firstFile, position) != nextBlock(secondFile, position))
            return false;
    }
    return true;
}

std::optional<std::uint64_t> sizeOf(const std::wstring& path) {
    const std::optional<File> file = fileSystem().GetFile(path);
    return file ? file->Size() : std::nullopt;
}

/// A size that can't be told makes the files different: the new version is then taken into use and not lost.
bool areSameVersion(const std::wstring& first, const std::wstring& second) {
    const std::optional<std::uint64_t> size = sizeOf(first);
    return size && size == sizeOf(second) && haveSameBytes(first, second, *size);
}

void replaceLive(const ExtensionFiles& extension) {
    FileSystemObject& files = fileSystem();
    writeLog(L"try to remove existing");
    startRegsvr32(L"/u /s kovraShellExt.dll");
    files.DeleteFile(extension.live, true);
    // A library that another process has loaded can't be deleted, but it can be moved.
    if (files.FileExists(extension.live))
        files.MoveFile(extension.live, extension.displaced);
    if (!files.FileExists(extension.live))
        files.MoveFile(extension.staged, extension.live);
}

void takeStagedIntoUse(const ExtensionFiles& extension) {
    FileSystemObject& files = fileSystem();
    writeLog(L"Start update of kovraShellExt.dll");
    if (!files.FileExists(extension.live)) {
        files.MoveFile(extension.staged, extension.live);
    } else if (areSameVersion(extension.staged, extension.live)) {
        writeLog(L"same version, don't update");
        files.DeleteFile(extension.staged, false);
    } else {
        replaceLive(extension);
    }
}

} // namespace

void updateAndRegisterShellExtension() {
    const std::wstring stem = pathSet->exeFolder + L"\\kovraShellExt";
    const ExtensionFiles extension{stem + L".dll", stem + L".tmp.dll", stem + L".old.dll"};
    FileSystemObject& files = fileSystem();
    if (files.FileExists(extension.displaced))
        files.DeleteFile(extension.displaced, true);
    if (files.FileExists(extension.staged))
        takeStagedIntoUse(extension);
    writeLog(L"reg for windows major version:" + decimal(getWindowsMajorVersion()) + L" os=" + getOsCode());
    if (shellExtensionMakesMenu())
        startRegsvr32(L"/s kovraShellExt.dll");
    else
        static_cast<void>(registerWin7ContextMenu(true));
}

} // namespace kovra
