#include "integration/contextMenu.h"

#include "integration/modRegistry.h"
#include "support/fileSystem.h"
#include "support/hiddenProgram.h"
#include "support/pathSet.h"
#include "support/settings.h"
#include "support/systemFacts.h"
#include "support/text.h"
#include "support/trace.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace kovra {

namespace {

/// A key comes ahead of the key that contains it: a key with subkeys can't be deleted.
constexpr const wchar_t* keysToDelete[] = {
    L".kovraResource",
    L".kovraTheme",
    L"KOVRA.PSERVER.1\\Shell\\Open\\Command",
    L"KOVRA.PSERVER.1\\Shell\\Open",
    L"KOVRA.PSERVER.1\\Shell",
    L"KOVRA.PSERVER.1\\DefaultIcon",
    L"KOVRA.PSERVER.1",
    L"*\\Shell\\KOVRA.share\\command",
    L"*\\Shell\\KOVRA.share",
    L"Directory\\Shell\\KOVRA.share\\command",
    L"Directory\\Shell\\KOVRA.share",
};

struct CaptionPlace {
    const wchar_t* placeholder;
    const wchar_t* catalogueKey;
};

constexpr CaptionPlace captionPlaces[] = {
    {L"%SHAREMAINCAPTION%", L"shellShareWith"},
    {L"%SHARECAPTION%", L"doShare"},
    {L"%SENDCAPTION%", L"doSend"},
    {L"%PUBLISHCAPTION%", L"doPublish"},
};
/// In the order of their places.
using Captions = std::array<std::wstring, std::size(captionPlaces)>;

std::optional<Captions> readCaptions() {
    Captions captions;
    for (std::size_t place = 0; place < captions.size(); ++place) {
        const std::optional<std::wstring> caption = getTranslation(captionPlaces[place].catalogueKey, true);
        if (!caption)
            return std::nullopt;
        // A double quote would end the registry file's text.
        captions[place] = replaceAll(*caption, L"\"", L"''");
    }
    return captions;
}

std::wstring escapedPath(const std::wstring& path) {
    return replaceAll(path, L"\\", L"\\\\");
}

/// One placeholder after the other: what one brings in, the later ones see.
std::wstring filledText(std::wstring text, bool addMenu, const Captions& captions) {
    if (!addMenu)
        text = replaceAll(text, L"[", L"[-"); // ahead of the paths and captions, which keep their brackets
    text = replaceAll(text, L"%EXEPATH%", escapedPath(pathSet->exeFolder));
    text = replaceAll(text, L"%WWWPATH%", escapedPath(pathSet->wwwFolder));
    for (std::size_t place = 0; place < captions.size(); ++place)
        text = replaceAll(text, captionPlaces[place].placeholder, captions[place]);
    return text;
}

/// In pieces of whole lines, which no placeholder crosses, so that no text of megabytes is copied for each of
/// them.
std::string filledTemplate(std::string_view bytes, bool addMenu, const Captions& captions) {
    constexpr std::size_t leastPiece = 8192;
    std::string filled;
    while (!bytes.empty()) {
        const std::size_t lineEnd = std::min(bytes.find('\n', leastPiece), bytes.size() - 1);
        const std::string_view piece = bytes.substr(0, lineEnd + 1);
        filled += toAnsi(filledText(fromAnsi(piece), addMenu, captions));
        bytes.remove_prefix(piece.size());
    }
    return filled;
}

/// The bytes of the whole file; empty when they can't be read.
std::string readWhole(const FileHandle& file) {
    const DWORD size = file ? GetFileSize(file.get(), nullptr) : INVALID_FILE_SIZE;
    if (size == INVALID_FILE_SIZE)
        return {};
    std::string bytes(size, '\0');
    DWORD read = 0;
    if (!ReadFile(file.get(), bytes.data(), size, &read, nullptr))
        return {};
    bytes.resize(read);
    return bytes;
}

void writeWhole(const FileHandle& file, const std::string& bytes) {
    DWORD written = 0;
    if (file)
        WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

void writeFilledTemplate(const std::wstring& output, const std::wstring& templatePath, bool addMenu,
                         const Captions& captions) {
    DeleteFileA(toAnsi(output).c_str());
    FileHandle outputFile = openFile(output, GENERIC_WRITE, CREATE_ALWAYS);
    const FileHandle templateFile = openFile(templatePath, GENERIC_READ, OPEN_EXISTING);
    writeWhole(outputFile, filledTemplate(readWhole(templateFile), addMenu, captions));
    outputFile.close();
}

} // namespace

bool isContextMenuRegistered() {
    return !regQueryString(HKEY_CLASSES_ROOT, L"Directory\\Shell\\KOVRA.share", L"").empty();
}

bool shellExtensionMakesMenu() {
    return getWindowsMajorVersion() < 6 || getOsCode() == L"VI";
}

void startRegsvr32(const std::wstring& arguments) {
    startHidden("Open", "regsvr32.exe", arguments, pathSet->exeFolder);
}

bool registerWin7ContextMenu(bool addMenu) {
    const std::wstring addMenuWord = addMenu ? L"True" : L"False";
    writeLog(L"start registering windows 7 context menu : " + addMenuWord);
    const std::wstring templatePath = pathSet->exeFolder + L"\\default\\contextMenu.reg";
    if (!fileSystem().FileExists(templatePath)) {
        writeLog(L"Error: cannot find context menu registry file (" + templatePath + L")");
        return true;
    }
    const std::optional<Captions> captions = readCaptions();
    if (!captions)
        return false;
    const std::wstring output = pathSet->tempFolder + L"\\contextMenu.reg";
    writeFilledTemplate(output, templatePath, addMenu, *captions);
    startHidden("Open", "regedit", L"/s \"" + output + L"\"", pathSet->tempFolder);
    writeLog(L"done registering windows 7 context menu : " + addMenuWord);
    return true;
}

std::optional<bool> unregisterContextMenu() {
    for (const wchar_t* key : keysToDelete)
        regDeleteKey(HKEY_CLASSES_ROOT, key);
    const bool gone = !isContextMenuRegistered();
    if (shellExtensionMakesMenu())
        startRegsvr32(L"/u /s kovraShellExt.dll");
    else if (!registerWin7ContextMenu(false))
        return std::nullopt;
    return gone;
}

} // namespace kovra
