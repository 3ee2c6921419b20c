#include "frontend/installationPaths.h"

#include "support/pathSet.h"
#include "support/product.h"
#include "support/serviceMode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kovra {
namespace {

TEST(InstallationPaths, TheServicesDataAndItsProgramsMayLieApart) {
    InstalledMachine machine;
    machine.files.write(L"C:\\Kovra\\bin\\appDataPath", "D:\\Data");
    machine.files.makeFolder(L"D:\\Data");
    machine.inside([] {
        *serviceMode = true;
        ASSERT_TRUE(initPaths());
        EXPECT_EQ(pathSet->exeFolder, L"C:\\Kovra\\bin");
        EXPECT_EQ(pathSet->installRoot, L"C:\\Kovra");
        EXPECT_EQ(pathSet->apacheFolder, L"C:\\Kovra\\Apache");
        EXPECT_EQ(pathSet->phpFolder, L"C:\\Kovra\\PHP");
        EXPECT_EQ(pathSet->defaultFolder, L"C:\\Kovra\\bin\\default");
        EXPECT_EQ(pathSet->dataRoot, L"D:\\Data");
        EXPECT_EQ(pathSet->dataFolder, L"D:\\Data\\data");
        EXPECT_EQ(pathSet->tempFolder, L"D:\\Data\\data\\temp");
        EXPECT_EQ(pathSet->wwwFolder, L"D:\\Data\\www");
        EXPECT_EQ(pathSet->sharedFolder, L"D:\\Data\\shared");
        EXPECT_EQ(pathSet->dataScope, L"");
    });
}

TEST(InstallationPaths, TheRecordTellsWhoseTheDataIsAndWhetherJunctionsLeadThere) {
    struct {
        bool marker;
        std::vector<const wchar_t*> data; // besides that in the root
        const wchar_t* scope;
        bool usesJunction;
    } const rows[] = {
        {false, {L"C:\\Users\\user\\AppData\\Roaming"}, L"all", false},
        {true, {L"C:\\Users\\user\\AppData\\Roaming", L"C:\\ProgramData"}, L"current", true},
        {true, {L"C:\\ProgramData"}, L"all", true},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        InstalledMachine machine;
        if (row.marker)
            machine.files.write(L"C:\\Kovra\\data\\junction", "");
        for (const std::wstring folder : row.data)
            machine.files.makeFolder(folder + L"\\Kovra\\data");
        machine.inside([&] {
            ASSERT_TRUE(initPaths());
            EXPECT_EQ(pathSet->dataScope, row.scope);
            EXPECT_EQ(pathSet->usesJunction, row.usesJunction);
            // In application data they are looked for where the root has none, and start over.
            machine.files.remove(L"C:\\Kovra\\www\\index.php");
            ASSERT_TRUE(initPaths());
            EXPECT_EQ(pathSet->dataScope, row.data.size() == 1 && row.marker ? L"all" : L"current");
            EXPECT_FALSE(pathSet->usesJunction);
        });
    }
}

} // namespace
} // namespace kovra
