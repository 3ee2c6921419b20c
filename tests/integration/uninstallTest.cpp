#include "integration/uninstall.h"

#include "integration/shellMachine.h"

#include <gmock/gmock.h>

namespace kovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// An installation whose data lies in a folder of its own, with files and folders in every place.
class FullMachine : public ShellMachine {
public:
    FullMachine() {
        for (const wchar_t* file : {L"readme.txt", L"license.txt", L"data\\db\\users.dat",
                                    L"MySQL\\data\\table.frm", L"shared\\picture.png"})
            files.write(std::wstring{L"C:\\Kovra\\"} + file, "");
        files.setReadOnly(L"C:\\Kovra\\license.txt");
        files.setReadOnly(L"C:\\Kovra\\data\\db\\users.dat");
    }

    void uninstall(bool removeData) {
        bool cameBack = false;
        insideLauncher([&] {
            [&] { uninstallApplication(removeData); }();
            cameBack = true;
        });
        EXPECT_FALSE(cameBack);
    }

    [[nodiscard]] std::vector<std::wstring> inRoot() const { return files.list(L"C:\\Kovra"); }
};

TEST(Uninstall, WithoutTheDataClearsTheRootsFilesAndStopsTheProduct) {
    FullMachine machine;
    machine.files.write(L"C:\\Kovra\\open.log", "");
    machine.files.setInUse(L"C:\\Kovra\\open.log");
    for (const char* name :
         {"Kovra.exe", "kovraHttpd.exe", "mysqld.exe", "kovraFfmpeg.exe", "Thumbler.exe", "mail.exe"})
        machine.processes.start(name, 1);
    machine.uninstall(false);
    EXPECT_THAT(machine.inRoot(), ElementsAre(L"bin", L"data", L"MySQL", L"open.log", L"shared", L"www"));
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Kovra\\data\\db\\users.dat"));
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Kovra\\MySQL\\data\\table.frm"));
    EXPECT_TRUE(machine.files.fileExists(machine.launcherPath));
    ASSERT_EQ(machine.processes.list().size(), 1U);
    EXPECT_EQ(machine.processes.list().front()->name, "mail.exe");
}

TEST(Uninstall, WithTheDataTakesItsFoldersToo) {
    FullMachine machine;
    machine.uninstall(true);
    EXPECT_THAT(machine.inRoot(), ElementsAre(L"bin", L"shared", L"www"));
}

TEST(Uninstall, ClearsADataRootOfItsOwn) {
    FullMachine machine;
    const std::wstring dataRoot = machine.shell.specialFolders.paths.at(CSIDL_APPDATA) + L"\\Kovra";
    machine.files.remove(L"C:\\Kovra\\www");
    for (const wchar_t* file :
         {L"\\notes.txt", L"\\data\\general.ini", L"\\MySQL\\table.frm", L"\\www\\index.php"})
        machine.files.write(dataRoot + file, "");
    machine.uninstall(true);
    EXPECT_THAT(machine.files.list(dataRoot), ElementsAre(L"www"));
    EXPECT_THAT(machine.inRoot(),
                ElementsAre(L"bin", L"data", L"MySQL", L"shared")); // its shortcuts went with it
}

TEST(Uninstall, GoesOnBehindEveryFailure) {
    FullMachine machine;
    machine.addService();
    machine.services.denied = true;
    machine.removeLanguageFile();
    machine.fail("CreateToolhelp32Snapshot", ERROR_ACCESS_DENIED);
    machine.fail("FileSystemObject.DeleteFolder", 1);
    machine.uninstall(true);
    EXPECT_THAT(machine.inRoot(), ElementsAre(L"bin", L"data", L"MySQL", L"shared", L"www"));
    EXPECT_TRUE(machine.traced("Service Kovra uninstalled"));
    EXPECT_THAT(machine.shell.messageBoxes, IsEmpty());
    machine.fail("FileSystemObject.GetFolder", 1);
    machine.uninstall(false);
}

TEST(InstallFfmpeg, MovesTheNewFolderIntoPlace) {
    ShellMachine machine;
    for (const wchar_t* version : {L"1", L"2"}) {
        machine.files.write(std::wstring{L"C:\\new build\\ffmpeg\\"} + version, "");
        machine.run(L"-installFfmpegFrom C:\\new build\\ffmpeg");
        EXPECT_THAT(machine.files.list(L"C:\\Kovra\\bin\\ffmpeg"), ElementsAre(version));
        EXPECT_FALSE(machine.files.folderExists(L"C:\\new build\\ffmpeg"));
    }
}

TEST(InstallFfmpeg, LeavesWhatCantBeReplaced) {
    ShellMachine machine;
    machine.files.write(L"C:\\Kovra\\bin\\ffmpeg\\old.exe", "");
    machine.files.setReadOnly(L"C:\\Kovra\\bin\\ffmpeg\\old.exe");
    machine.files.write(L"C:\\new\\ffmpeg\\new.exe", "");
    machine.insideLauncher([&] { installFfmpegFrom(L"C:\\new\\ffmpeg"); });
    EXPECT_THAT(machine.files.list(L"C:\\Kovra\\bin\\ffmpeg"), ElementsAre(L"old.exe"));
    EXPECT_TRUE(machine.files.fileExists(L"C:\\new\\ffmpeg\\new.exe"));

    machine.files.setReadOnly(L"C:\\Kovra\\bin\\ffmpeg\\old.exe", false);
    machine.insideLauncher([&] { installFfmpegFrom(L"C:\\new\\missing"); });
    EXPECT_FALSE(machine.files.folderExists(L"C:\\Kovra\\bin\\ffmpeg"));
}

} // namespace
} // namespace kovra
