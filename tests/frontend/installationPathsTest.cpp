#include "frontend/installationPaths.h"

#include "support/pathSet.h"
#include "support/product.h"
#include "support/serviceMode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace kovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const wchar_t* dataPathFile = L"C:\\Kovra\\bin\\appDataPath";
constexpr const wchar_t* userData = L"C:\\Users\\user\\AppData\\Roaming\\Kovra";
constexpr const wchar_t* everybodysData = L"C:\\ProgramData\\Kovra";

struct Resolved {
    std::optional<bool> result; ///< empty: the process ended instead
    PathSet paths;
};

Resolved resolve(simulated::Machine& machine, bool asService = false) {
    Resolved resolved;
    machine.inside([&] {
        *serviceMode = asService;
        resolved.result = initPaths();
        resolved.paths = *pathSet;
    });
    return resolved;
}

TEST(InstallationPaths, AUsersRunNamesEveryFolderAndLeavesTheDataRoot) {
    InstalledMachine machine;
    machine.files.write(dataPathFile, "C:\\Users\\somebody else\\Kovra\r\n");
    const simulated::FileSnapshot before = machine.files.snapshot();
    const auto [result, paths] = resolve(machine);
    ASSERT_EQ(result, true);
    EXPECT_EQ(paths.exeFolder, L"C:\\Kovra\\bin");
    EXPECT_EQ(paths.installRoot, L"C:\\Kovra");
    EXPECT_EQ(paths.dataFolder, L"C:\\Kovra\\data");
    EXPECT_EQ(paths.tempFolder, L"C:\\Kovra\\data\\temp");
    EXPECT_EQ(paths.wwwFolder, L"C:\\Kovra\\www");
    EXPECT_EQ(paths.sharedFolder, L"C:\\Kovra\\shared");
    EXPECT_EQ(paths.apacheFolder, L"C:\\Kovra\\Apache");
    EXPECT_EQ(paths.phpFolder, L"C:\\Kovra\\PHP");
    EXPECT_EQ(paths.defaultFolder, L"C:\\Kovra\\bin\\default");
    EXPECT_EQ(machine.files.read(dataPathFile), "C:\\Kovra");
    EXPECT_EQ(machine.files.snapshot().size(), before.size()) << "a folder has come into being";
}

TEST(InstallationPaths, TheDataIsLookedForInTheRootThenWithTheUserThenWithAll) {
    struct {
        bool index, marker, users, everybodys;
        const wchar_t* dataRoot;
        const wchar_t* scope;
        bool usesJunction, markerStays;
    } const rows[] = {{true, false, true, true, L"C:\\Kovra", L"all", false, false},
                      {true, true, true, true, L"C:\\Kovra", L"current", true, true},
                      {true, true, false, true, L"C:\\Kovra", L"all", true, true},
                      {true, true, false, false, L"C:\\Kovra", L"all", false, false},
                      {false, false, true, true, userData, L"current", false, false},
                      {false, true, true, false, userData, L"current", false, true},
                      {false, false, false, true, everybodysData, L"all", false, false}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        InstalledMachine machine;
        if (!row.index)
            machine.files.remove(L"C:\\Kovra\\www\\index.php");
        if (row.marker)
            machine.files.write(L"C:\\Kovra\\data\\junction", "");
        if (row.users)
            machine.files.makeFolder(std::wstring{userData} + L"\\data");
        if (row.everybodys)
            machine.files.makeFolder(std::wstring{everybodysData} + L"\\data");
        const auto [result, paths] = resolve(machine);
        ASSERT_EQ(result, true);
        EXPECT_EQ(paths.dataRoot, row.dataRoot);
        EXPECT_EQ(paths.dataScope, row.scope);
        EXPECT_EQ(paths.usesJunction, row.usesJunction);
        EXPECT_EQ(machine.files.fileExists(L"C:\\Kovra\\data\\junction"), row.markerStays);
        EXPECT_EQ(machine.files.read(dataPathFile), machine.codePage.toAnsi(row.dataRoot));
    }
}

TEST(InstallationPaths, ASecondRunInOneProcessStartsOver) {
    InstalledMachine machine;
    machine.files.write(L"C:\\Kovra\\data\\junction", "");
    machine.files.makeFolder(std::wstring{userData} + L"\\data");
    machine.inside([&] {
        ASSERT_TRUE(initPaths());
        ASSERT_TRUE(pathSet->usesJunction);
        machine.files.remove(L"C:\\Kovra\\data\\junction");
        ASSERT_TRUE(initPaths());
        EXPECT_FALSE(pathSet->usesJunction);
        EXPECT_EQ(pathSet->dataScope, L"all");
    });
}

TEST(InstallationPaths, ALauncherInADrivesRootOrRightBelowItIsRefused) {
    for (const wchar_t* folder : {L"C:", L"C:\\bin", L"D:\\Kovra"}) {
        InstalledMachine machine;
        machine.launcherPath = std::wstring{folder} + L"\\kovraLauncher.exe";
        machine.files.write(machine.launcherPath, "");
        for (const bool asService : {false, true}) {
            EXPECT_EQ(resolve(machine, asService).result, std::nullopt);
            EXPECT_FALSE(machine.files.fileExists(std::wstring{folder} + L"\\appDataPath"));
        }
        const std::string refusal = "Kovra cannot be installed directly in root directory";
        EXPECT_THAT(machine.shell.messageBoxes, ElementsAre(refusal));
        EXPECT_THAT(machine.traceLines, ElementsAre(refusal));
    }
}

TEST(InstallationPaths, ANetworkFolderAndANameBeyondAsciiAreTaken) {
    for (const std::wstring& root : {std::wstring{L"\\\\nas\\tools\\Kovra"}, std::wstring{L"\\\\nas\\tools"},
                                     std::wstring{L"D:\\Kovr\u00E9"}}) {
        InstalledMachine machine;
        machine.launcherPath = root + L"\\bin\\kovraLauncher.exe";
        machine.files.write(machine.launcherPath, "");
        machine.files.write(root + L"\\www\\index.php", "");
        const auto [result, paths] = resolve(machine);
        EXPECT_EQ(result, true);
        EXPECT_EQ(paths.dataRoot, root);
        EXPECT_EQ(machine.files.read(root + L"\\bin\\appDataPath"), machine.codePage.toAnsi(root));
    }
}

TEST(InstallationPaths, TheDataFolderBearsTheRootsNameAlsoWithoutApplicationData) {
    InstalledMachine machine;
    machine.launcherPath = L"D:\\Tools\\Server\\bin\\kovraLauncher.exe";
    machine.files.write(machine.launcherPath, "");
    EXPECT_EQ(resolve(machine).result, std::nullopt);
    EXPECT_THAT(machine.shell.messageBoxes,
                ElementsAre("Kovra files missing: cannot find data files into D:\\Tools\\Server or "
                            "C:\\ProgramData\\Server or C:\\Users\\user\\AppData\\Roaming\\Server"));
    EXPECT_FALSE(machine.files.fileExists(L"D:\\Tools\\Server\\bin\\appDataPath"));

    machine.shell.specialFolders.paths.erase(CSIDL_APPDATA);
    machine.files.makeFolder(L"C:\\Server"); // on the current drive
    const auto [result, paths] = resolve(machine);
    EXPECT_EQ(result, true);
    EXPECT_EQ(paths.dataRoot, L"\\Server");
    EXPECT_EQ(paths.dataScope, L"current");
}

TEST(InstallationPaths, TheServiceTakesTheLastUsersAnswerAsItStands) {
    struct {
        const char* content; // null: no file
        bool result;
    } const rows[] = {
        {"D:\\Data", true}, {nullptr, false}, {"", false}, {"D:\\Data\r\n", false}, {"D:\\Gone", false}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.content == nullptr ? "no file" : row.content);
        InstalledMachine machine;
        machine.files.makeFolder(L"D:\\Data");
        if (row.content != nullptr)
            machine.files.write(dataPathFile, row.content);
        else
            machine.files.remove(dataPathFile);
        const auto [result, paths] = resolve(machine, true);
        EXPECT_EQ(result, row.result);
        if (row.result) {
            EXPECT_EQ(paths.dataRoot, L"D:\\Data") << "it has probed";
            EXPECT_EQ(paths.wwwFolder, L"D:\\Data\\www");
            EXPECT_EQ(paths.defaultFolder, L"C:\\Kovra\\bin\\default");
            EXPECT_EQ(paths.dataScope, L"");
        }
        EXPECT_THAT(machine.shell.messageBoxes, IsEmpty());
        EXPECT_THAT(machine.traceLines, IsEmpty()) << "the caller reports";
        EXPECT_EQ(machine.files.read(dataPathFile).has_value(), row.content != nullptr);
    }
    for (const char* function : {"FileSystemObject.OpenTextFile", "TextStream.ReadAll"}) {
        InstalledMachine machine;
        machine.fail(function, ERROR_ACCESS_DENIED);
        EXPECT_EQ(resolve(machine, true).result, false) << function;
    }
}

TEST(InstallationPaths, OnlyTheLauncherUnderItsOwnNameLeavesTheDataRoot) {
    for (const wchar_t* name : {L"KovraLauncher.exe", L"kovraLauncher2.exe", L"setup.exe"}) {
        InstalledMachine machine;
        machine.files.remove(L"C:\\Kovra\\bin\\kovraLauncher.exe");
        machine.files.remove(dataPathFile);
        machine.launcherPath = std::wstring{L"C:\\Kovra\\bin\\"} + name;
        machine.files.write(machine.launcherPath, "");
        EXPECT_EQ(resolve(machine).result, true);
        EXPECT_FALSE(machine.files.fileExists(dataPathFile));
    }
}

TEST(InstallationPaths, AnAnswerThatCannotBeWrittenLeavesTheOldOne) {
    InstalledMachine machine;
    machine.files.write(dataPathFile, "D:\\Data");
    machine.files.setReadOnly(dataPathFile);
    machine.files.write(L"C:\\Kovra\\data\\junction", "");
    machine.files.setReadOnly(L"C:\\Kovra\\data\\junction"); // stale, and not to be forced
    const auto [result, paths] = resolve(machine);
    EXPECT_EQ(result, true);
    EXPECT_EQ(paths.defaultFolder, L"C:\\Kovra\\bin\\default");
    EXPECT_EQ(machine.files.read(dataPathFile), "D:\\Data");
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Kovra\\data\\junction"));
    EXPECT_THAT(machine.shell.messageBoxes, IsEmpty());
}

} // namespace
} // namespace kovra
