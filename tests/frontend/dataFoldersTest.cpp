#include "frontend/dataFolders.h"

#include "frontend/installationPaths.h"
#include "support/pathSet.h"
#include "support/product.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kovra {
namespace {

using testing::ElementsAre;

/// A product in C:\Kovra with its data in the application data of a user, whose folder can be given.
class DataMachine : public InstalledMachine {
public:
    const std::wstring dataRoot;

    explicit DataMachine(const std::wstring& applicationData = L"C:\\Users\\user\\AppData")
        : dataRoot(applicationData + L"\\Kovra") {
        for (const wchar_t* path : {L"www", L"data", L"bin\\appDataPath"})
            files.remove(std::wstring{L"C:\\Kovra\\"} + path);
        shell.specialFolders.paths[CSIDL_APPDATA] = applicationData;
        for (const wchar_t* file : {L"\\www\\index.php", L"\\data\\general.ini", L"\\shared\\picture.png"})
            files.write(dataRoot + file, "");
    }

    /// The record as it is after the paths were resolved; empty when that failed.
    std::optional<PathSet> resolve() {
        std::optional<PathSet> result;
        inside([&] {
            if (initPaths())
                result = *pathSet;
        });
        return result;
    }

    [[nodiscard]] std::vector<std::wstring> inRoot() const { return files.list(L"C:\\Kovra"); }

    [[nodiscard]] std::optional<std::string> appDataPath() const {
        return files.read(L"C:\\Kovra\\bin\\appDataPath");
    }
};

TEST(DataFolders, APlainPathGetsShortcuts) {
    DataMachine machine;
    machine.files.write(L"C:\\Kovra\\data.lnk", "of somebody else");
    const std::optional<PathSet> paths = machine.resolve();
    ASSERT_TRUE(paths);
    EXPECT_EQ(paths->dataRoot, machine.dataRoot);
    EXPECT_FALSE(paths->usesJunction);
    EXPECT_EQ(paths->dataScope, L"current");
    EXPECT_THAT(machine.inRoot(), ElementsAre(L"bin", L"data.lnk", L"shared.lnk", L"www.lnk"));
    EXPECT_EQ(machine.files.read(L"C:\\Kovra\\data.lnk"), "of somebody else");
    simulated::Shortcut targetOnly;
    targetOnly.targetPath = machine.dataRoot + L"\\www";
    EXPECT_EQ(machine.shell.shortcutAt(L"C:\\Kovra\\www.lnk"), targetOnly);

    machine.files.remove(L"C:\\Kovra\\www.lnk");
    const auto shared = machine.files.read(L"C:\\Kovra\\shared.lnk");
    ASSERT_TRUE(machine.resolve());
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Kovra\\www.lnk"));
    EXPECT_EQ(machine.files.read(L"C:\\Kovra\\shared.lnk"), shared);
}

TEST(DataFolders, ASpecialCharacterGetsJunctionsAndLeadsThroughTheRoot) {
    DataMachine machine(L"C:\\Users\\Jos\u00E9\\AppData");
    std::optional<PathSet> paths = machine.resolve();
    ASSERT_TRUE(paths);
    EXPECT_EQ(paths->dataRoot, L"C:\\Kovra");
    EXPECT_EQ(paths->dataFolder, L"C:\\Kovra\\data");
    EXPECT_TRUE(paths->usesJunction);
    EXPECT_EQ(paths->dataScope, L"current");
    EXPECT_EQ(machine.appDataPath(), "C:\\Kovra");
    EXPECT_EQ(machine.files.read(machine.dataRoot + L"\\data\\junction"), "");
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Kovra\\shared\\picture.png"));
    EXPECT_THAT(machine.inRoot(), ElementsAre(L"bin", L"data", L"shared", L"www"));

    // The next run finds the data in the root.
    const auto files = machine.files.snapshot();
    paths = machine.resolve();
    ASSERT_TRUE(paths);
    EXPECT_TRUE(paths->usesJunction);
    EXPECT_EQ(paths->dataScope, L"current");
    EXPECT_EQ(machine.files.snapshot(), files);
}

TEST(DataFolders, WhatCountsIsTheFolderInTheRoot) {
    DataMachine machine(L"C:\\Users\\Jos\u00E9\\AppData");
    machine.fail("createJunction", 1);
    EXPECT_TRUE(machine.run(L"createShortcuts"));
    EXPECT_THAT(machine.shell.messageBoxes,
                ElementsAre("kovraLauncher: Installation problem (initPaths error)"));
    EXPECT_FALSE(machine.appDataPath());
    machine.inside([&] {
        EXPECT_FALSE(initPaths());
        EXPECT_TRUE(pathSet->usesJunction);
        EXPECT_EQ(pathSet->dataRoot, machine.dataRoot);
    });
    // With one missing the others don't stay either: the root's www alone would be taken for the data.
    machine.fail("createJunction", 1, 1, 1);
    EXPECT_FALSE(machine.resolve());
    EXPECT_THAT(machine.inRoot(), ElementsAre(L"bin"));
    machine.files.makeFolder(L"C:\\Kovra\\shared"); // an empty folder is as good as none
    ASSERT_TRUE(machine.resolve());
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Kovra\\www\\index.php"));
    EXPECT_EQ(machine.appDataPath(), "C:\\Kovra");
}

TEST(DataFolders, WhatWasTurnedIntoAJunctionIsItselfAgain) {
    DataMachine machine(L"C:\\Users\\Jos\u00E9\\AppData");
    machine.files.makeFolder(L"C:\\Kovra\\www");
    machine.files.makeFolder(L"C:\\Kovra\\data");
    machine.files.setLink(L"C:\\Kovra\\data", L"C:\\gone\\data");
    const auto files = machine.files.snapshot();
    for (int run = 0; run < 2; ++run) { // the next one doesn't take the root for the data
        machine.fail("createJunction", 1, 1, 2);
        EXPECT_FALSE(machine.resolve());
        EXPECT_EQ(machine.files.snapshot(), files);
    }
    machine.heal("createJunction");
    ASSERT_TRUE(machine.resolve());
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Kovra\\data\\general.ini"));
}

TEST(DataFolders, NothingMayBeWritten) {
    for (const bool special : {false, true}) {
        DataMachine machine(special ? L"C:\\Users\\Jos\u00E9\\AppData" : L"C:\\Users\\user\\AppData");
        machine.files.denyWrites(L"C:\\Kovra");
        EXPECT_EQ(machine.resolve().has_value(), !special);
        EXPECT_THAT(machine.inRoot(), ElementsAre(L"bin"));
    }
}

TEST(DataFolders, TheCodePageDecidesWhatIsSpecial) {
    struct {
        const wchar_t* name;
        UINT codePage;
        bool junctions;
    } const rows[] = {
        {L"\u2603", 1252, false}, // not in the code page: a question mark
        {L"\u20AC", 1252, true},  // one byte, 0x80, of a character far above 127
        {L"\x7F", 1252, false},        {L"\u0418\u0432\u0430\u043D", 1251, true},
        {L"Jos\u00E9", 1251, false},   // it has no such letter
        {L"\u65E5\u672C", 932, false}, // two bytes a character
        {L"\u65E5\uFF76", 932, true},  // half-width: one byte
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring{row.name}) + " in " + std::to_string(row.codePage));
        InstalledMachine machine;
        machine.codePage.set(row.codePage);
        machine.inside([&] {
            pathSet->installRoot = L"C:\\Kovra"; // where all three folders may stand already
            pathSet->dataRoot = std::wstring{L"C:\\"} + row.name;
            static_cast<void>(prepareDataFolders());
            EXPECT_EQ(pathSet->usesJunction, row.junctions);
        });
        EXPECT_EQ(machine.calls("createJunction"), row.junctions ? 3U : 0U);
        EXPECT_EQ(machine.files.fileExists(L"C:\\Kovra\\www.lnk"), !row.junctions);
    }
}

} // namespace
} // namespace kovra
