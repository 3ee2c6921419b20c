#include "integration/uninstall.h"

#include "integration/contextMenu.h"
#include "integration/serviceInstallation.h"
#include "integration/shortcuts.h"
#include "service/processControl.h"
#include "support/fileSystem.h"
#include "support/pathSet.h"

namespace kovra {

namespace {

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
    if (removeData) {
        fileSystem().DeleteFolder(pathSet->dataFolder, true);
        fileSystem().DeleteFolder(pathSet->dataRoot + L"\\MySQL", true);
    }
    deleteFilesIn(pathSet->dataRoot);
    deleteFilesIn(pathSet->installRoot);
    ExitProcess(0);
}

void installFfmpegFrom(const std::wstring& source) {
    const std::wstring target = pathSet->exeFolder + L"\\ffmpeg";
    FileSystemObject& files = fileSystem();
    if (files.FolderExists(target))
        files.DeleteFolder(target, false);
    files.MoveFolder(source, target);
}

} // namespace kovra
