#include "integration/uninstall.h"

#include "frontend/dataFolders.h"
#include "integration/contextMenu.h"
#include "integration/serviceInstallation.h"
#include "integration/shortcuts.h"
#include "platform/junctions.h"
#include "service/processControl.h"
#include "support/fileSystem.h"
#include "support/pathSet.h"
#include "support/serviceMode.h"
#include "support/systemFacts.h"

#include <vector>

namespace kovra {

namespace {

constexpr DWORD registryToolMs =
    5000; // as long as nobody else keeps his own open, it is gone in less than one second
constexpr DWORD deletionMs = 10'000;
constexpr std::int16_t deletionPauseMs = 200;

bool isWithin(DWORD start, DWORD limitMs) {
    return GetTickCount() - start < limitMs;
}

/// Deletes the folder with all below it; yes when it is gone. What a junction leads to is left alone: whoever
/// has a place in the data may have laid one, into a folder that isn't his, and not every file-system object
/// stops at it.
bool deleteFolder(const std::wstring& path, bool force) {
    if (!junctionRecord(path).empty())
        removeJunction(path);
    else if (removeJunctionsBelow(path))
        fileSystem().DeleteFolder(path, force);
    return !fileSystem().FolderExists(path);
}

bool deleteData(const std::wstring& path) {
    return deleteFolder(path, true);
}

/// The folders with the data, in the order in which they go.
std::vector<std::wstring> dataFolders() {
    std::vector<std::wstring> folders;
    if (std::wstring behindJunction = dataBehindJunction(); !behindJunction.empty())
        folders.push_back(std::move(behindJunction));
    folders.push_back(pathSet->dataFolder);
    folders.push_back(pathSet->dataRoot + L"\\MySQL");
    return folders;
}

/// Whether the path names another machine, or a device.
bool isOnNetwork(const std::wstring& path) {
    const auto isSlash = [](wchar_t character) { return character == L'\\' || character == L'/'; };
    return path.size() > 1 && isSlash(path[0]) && isSlash(path[1]);
}

/// Deletes the files directly in the folder, read-only ones too; its subfolders stay.
void deleteFilesIn(const std::wstring& path) {
    const std::optional<Folder> folder = fileSystem().GetFolder(path);
    if (!folder)
        return;
    for (File& file : folder->Files())
        file.Delete(true);
}

} // namespace

void uninstallApplication(bool removeData) {
    for (const wchar_t* name :
         {L"kovra.exe", L"kovraHttpd.exe", L"mysqld.exe", L"kovraFfmpeg.exe", L"Thumbler.exe"})
        killProcessByName(name, 0);
    uninstallServices();
    createShortcuts(L"none", false);
    // An unreadable language file must not keep the files from going.
    static_cast<void>(unregisterContextMenu());
    const DWORD start = GetTickCount();
    std::vector<std::wstring> data;
    if (removeData) {
        // It works in the data folder, and takes from there what to remove.
        while (findProcess(L"regedit.exe") != -1 && isWithin(start, registryToolMs))
            pauseMs(deletionPauseMs);
        data = dataFolders();
        std::erase_if(data, deleteData);
    }
    deleteFilesIn(pathSet->dataRoot);
    deleteFilesIn(pathSet->installRoot);
    // Programs that were just ended may hold something still.
    while (!data.empty() && isWithin(start, deletionMs)) {
        pauseMs(deletionPauseMs);
        std::erase_if(data, deleteData);
    }
    ExitProcess(0);
}

void installFfmpegFrom(const std::wstring& source) {
    const std::wstring target = pathSet->exeFolder + L"\\ffmpeg";
    FileSystemObject& files = fileSystem();
    if (files.FolderExists(target))
        static_cast<void>(deleteFolder(target, false));
    // Another machine's folder can't be moved here, and the service must not wait for a machine of its
    // client's.
    if (!*serviceMode || !isOnNetwork(source))
        files.MoveFolder(source, target);
}

} // namespace kovra
