#include "frontend/installationPaths.h"

#include "frontend/dataFolders.h"
#include "platform/win32.h"
#include "support/executable.h"
#include "support/fileSystem.h"
#include "support/pathSet.h"
#include "support/serviceMode.h"
#include "support/trace.h"

namespace kovra {

namespace {

[[noreturn]] void refuse(const std::wstring& message) {
    reportError(message);
    ExitProcess(0);
}

std::wstring dataPathFile() {
    return pathSet->exeFolder + L"\\appDataPath";
}

void resolveInstallation() {
    PathSet& paths = *pathSet;
    paths.usesJunction = false;
    paths.exeFolder = executableFolder();
    const std::size_t backslash = paths.exeFolder.rfind(L'\\');
    // A drive's root has its backslash at index 2; a folder right below it would leave a bare drive.
    if (backslash == std::wstring::npos || backslash < 2)
        refuse(L"Kovra cannot be installed directly in root directory");
    paths.installRoot = paths.exeFolder.substr(0, backslash);
    if (paths.installRoot.size() == 2)
        refuse(L"Kovra cannot be installed directly in root directory");
    paths.apacheFolder = paths.installRoot + L"\\Apache";
    paths.phpFolder = paths.installRoot + L"\\PHP";
}

/// The answer of the last user's run; no when there is none or its folder is gone.
bool readDataRoot() {
    const std::wstring file = dataPathFile();
    if (!fileSystem().FileExists(file))
        return false;
    std::optional<TextStream> stream = fileSystem().OpenTextFile(file, IoMode::ForReading, false);
    std::optional<std::wstring> content = stream ? stream->ReadAll() : std::nullopt;
    if (!content)
        return false;
    pathSet->dataRoot = std::move(*content);
    return fileSystem().FolderExists(pathSet->dataRoot);
}

/// The data lies in the root, or is reached there through the junctions that the marker tells of.
void useDataInRoot() {
    PathSet& paths = *pathSet;
    paths.dataRoot = paths.installRoot;
    paths.dataScope = L"all";
    const std::wstring marker = markerFile();
    if (!fileSystem().FileExists(marker))
        return;
    if (fileSystem().FolderExists(dataRootIn(CSIDL_APPDATA) + L"\\data")) {
        paths.dataScope = L"current";
        paths.usesJunction = true;
    } else if (fileSystem().FolderExists(dataRootIn(CSIDL_COMMON_APPDATA) + L"\\data")) {
        paths.usesJunction = true;
    } else {
        fileSystem().DeleteFile(marker, false);
    }
}

/// Looks for the data in application data; no when the launcher can't be led there from the root.
bool findDataInApplicationData() {
    PathSet& paths = *pathSet;
    const std::wstring currentUsers = dataRootIn(CSIDL_APPDATA);
    paths.dataRoot = currentUsers;
    paths.dataScope = L"current";
    if (!fileSystem().FolderExists(paths.dataRoot)) {
        paths.dataRoot = dataRootIn(CSIDL_COMMON_APPDATA);
        paths.dataScope = L"all";
        if (!fileSystem().FolderExists(paths.dataRoot))
            refuse(L"Kovra files missing: cannot find data files into " + paths.installRoot + L" or " +
                   paths.dataRoot + L" or " + currentUsers);
    }
    return prepareDataFolders();
}

void leaveDataRoot() {
    // Without the file the service can't start, but this run can go on.
    if (std::optional<TextStream> stream =
            fileSystem().OpenTextFile(dataPathFile(), IoMode::ForWriting, true))
        stream->Write(pathSet->dataRoot);
}

} // namespace

bool initPaths() {
    resolveInstallation();
    PathSet& paths = *pathSet;
    if (*serviceMode) {
        if (!readDataRoot())
            return false;
    } else {
        if (fileSystem().FileExists(paths.installRoot + L"\\www\\index.php"))
            useDataInRoot();
        else if (!findDataInApplicationData())
            return false;
    }
    paths.wwwFolder = paths.dataRoot + L"\\www";
    paths.dataFolder = paths.dataRoot + L"\\data";
    paths.tempFolder = paths.dataRoot + L"\\data\\temp";
    paths.sharedFolder = paths.dataRoot + L"\\shared";
    paths.defaultFolder = paths.exeFolder + L"\\default";
    // A copy of the executable under another name leaves the service's answer alone.
    if (!*serviceMode && executableName() == L"kovraLauncher")
        leaveDataRoot();
    return true;
}

} // namespace kovra
