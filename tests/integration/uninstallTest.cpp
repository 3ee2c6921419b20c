#include "integration/uninstall.h"

#include "integration/shellMachine.h"
#include "support/serviceMode.h"

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
                                    L"data\\zone.txt", // behind the folder of the registry tool
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

TEST(Uninstall, WithTheDataTakesItsFoldersTooThoughTheyAreHeldAtFirst) {
    for (const bool useOfOthers : {false, true}) {
        FullMachine machine;
        machine.registry.setText(L"KOVRA.menu", L"", L"only the template knows it");
        machine.shell.childDelayMs = 900;
        if (useOfOthers) {
            machine.processes.start("regedit.exe", 2); // another user's, who leaves it open
            machine.files.setInUse(L"C:\\Kovra\\MySQL\\data\\table.frm");
            machine.scheduler.after(
                8000, [&] { machine.files.setInUse(L"C:\\Kovra\\MySQL\\data\\table.frm", false); });
        }
        const std::uint64_t start = machine.scheduler.now();
        machine.uninstall(true);
        EXPECT_THAT(machine.inRoot(), ElementsAre(L"bin", L"shared", L"www"));
        EXPECT_FALSE(machine.defaultValue(L"KOVRA.menu")) << "the registry tool could read its file";
        EXPECT_LT(machine.scheduler.now() - start, useOfOthers ? 8500U : 1500U);
    }
}

TEST(Uninstall, GivesUpWhatIsHeldForLonger) {
    FullMachine machine;
    machine.files.setInUse(L"C:\\Kovra\\data\\db\\users.dat");
    const std::uint64_t start = machine.scheduler.now();
    machine.uninstall(true);
    EXPECT_THAT(machine.inRoot(), ElementsAre(L"bin", L"data", L"shared", L"www"));
    EXPECT_LT(machine.scheduler.now() - start, 11'000U);
}

TEST(Uninstall, TakesTheDataBehindItsOwnJunctionAndNothingBehindOthers) {
    for (const bool followsJunctions : {false, true}) {
        FullMachine machine;
        machine.files.deletionFollowsJunctions = followsJunctions;
        const std::wstring special = L"C:\\Users\\Jos\u00E9\\AppData";
        machine.shell.specialFolders.paths[CSIDL_APPDATA] = special;
        machine.files.makeFolder(special + L"\\Kovra");
        for (const wchar_t* folder : {L"\\www", L"\\data", L"\\shared"})
            ASSERT_TRUE(
                machine.files.move(std::wstring{L"C:\\Kovra"} + folder, special + L"\\Kovra" + folder));
        machine.files.write(L"C:\\Users\\other\\letter.txt", "");
        machine.files.makeFolder(special + L"\\Kovra\\data\\db\\trap");
        machine.files.setLink(special + L"\\Kovra\\data\\db\\trap", L"C:\\Users\\other");
        machine.files.remove(L"C:\\Kovra\\MySQL");
        machine.files.makeFolder(L"C:\\Kovra\\MySQL");
        machine.files.setLink(L"C:\\Kovra\\MySQL", L"C:\\Users\\other");
        machine.uninstall(true);
        EXPECT_THAT(machine.files.list(special + L"\\Kovra"), ElementsAre(L"shared", L"www"));
        EXPECT_THAT(machine.inRoot(), ElementsAre(L"bin", L"shared", L"www"));
        EXPECT_TRUE(machine.files.fileExists(L"C:\\Users\\other\\letter.txt"));
    }
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

TEST(InstallFfmpeg, ReachesNothingOfOthers) {
    ShellMachine machine;
    machine.files.deletionFollowsJunctions = true;
    machine.files.write(L"C:\\Users\\other\\letter.txt", "");
    machine.files.makeFolder(L"C:\\Kovra\\bin\\ffmpeg\\trap");
    machine.files.setLink(L"C:\\Kovra\\bin\\ffmpeg\\trap", L"C:\\Users\\other");
    const std::uint64_t moves = machine.calls("FileSystemObject.MoveFolder");
    machine.insideLauncher([&] {
        *serviceMode = true;
        installFfmpegFrom(L"\\\\other\\share\\ffmpeg");
    });
    EXPECT_FALSE(machine.files.folderExists(L"C:\\Kovra\\bin\\ffmpeg"));
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Users\\other\\letter.txt"));
    EXPECT_EQ(machine.calls("FileSystemObject.MoveFolder"), moves);
}

} // namespace
} // namespace kovra
