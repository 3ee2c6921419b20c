#include "support/trace.h"

#include "support/product.h"
#include "support/serviceMode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const wchar_t* traceFile = L"C:\\P1\\log.txt";

TEST(Trace, AppendsOneLineWithDateAndTimeToTheFile) {
    InstalledMachine machine;
    machine.files.write(traceFile, "of an earlier run\r\n");
    machine.inside([&] { writeLog(L"Starting service..."); });
    machine.play(3'600'000);
    machine.inside([] {
        writeLog(L"");
        writeLog(L"two\r\nlines, caf\u00E9");
    });
    EXPECT_EQ(machine.files.read(traceFile), "of an earlier run\r\n"
                                             "11/17/2026 12:05:28 PM SCE: Starting service...\r\n"
                                             "11/17/2026 1:05:28 PM SCE: \r\n"
                                             "11/17/2026 1:05:28 PM SCE: two\r\nlines, caf\xE9\r\n");
}

TEST(Trace, EachProcessLooksForTheFolderAtItsFirstLineAlone) {
    InstalledMachine machine;
    machine.files.remove(L"C:\\P1");
    machine.inside([&] {
        writeLog(L"lost");
        machine.files.makeFolder(L"C:\\P1");
        writeLog(L"lost too");
        EXPECT_EQ(machine.calls("FileSystemObject.FolderExists"), 1U);
    });
    EXPECT_FALSE(machine.files.fileExists(traceFile));
    machine.inside([&] {
        writeLog(L"written");
        machine.files.remove(L"C:\\P1");
        writeLog(L"lost");
        machine.files.makeFolder(L"C:\\P1");
        writeLog(L"written again");
        machine.files.setInUse(traceFile);
        writeLog(L"lost");
        machine.files.setInUse(traceFile, false);
        for (const char* function : {"WriteFile", "NtCreateFile", "isLinked", "pathOnVolume"}) {
            machine.fail(function, ERROR_ACCESS_DENIED, 1);
            writeLog(L"lost");
        }
        writeLog(L"and again");
    });
    EXPECT_THAT(machine.traceLines, ElementsAre("written", "written again", "and again"));
}

TEST(Trace, NeverGoesElsewhereByALink) {
    using Files = simulated::FileSystem;
    constexpr const wchar_t* victim = L"C:\\Windows\\log.txt";
    void (*const plants[])(Files&) = {
        [](Files& files) { files.addName(victim, traceFile); },
        [](Files& files) {
            files.write(traceFile, "");
            files.setLink(traceFile, victim);
        },
        [](Files& files) { files.setLink(L"C:\\P1", L"C:\\Windows"); },
        [](Files& files) { files.setLink(L"C:\\P1", L"C:\\Windows\\System32"); }, // where no such file is
    };
    for (const auto plant : plants) {
        SCOPED_TRACE(&plant - plants);
        InstalledMachine machine;
        machine.files.write(victim, "of the system");
        plant(machine.files);
        const auto before = machine.files.snapshot();
        machine.inside([&] { writeLog(L"lost"); });
        EXPECT_EQ(machine.files.snapshot(), before);
    }
}

TEST(Trace, AMachineWithoutTheFileSystemObjectGoesWithout) {
    InstalledMachine machine;
    machine.fail("CreateObject Scripting.FileSystemObject", 1);
    bool cameBack = false;
    machine.inside([&] {
        writeLog(L"lost");
        cameBack = true;
    });
    EXPECT_TRUE(cameBack);
    EXPECT_THAT(machine.traceLines, IsEmpty());
}

TEST(ReportError, GoesToThePersonOrToTheServicesTrace) {
    InstalledMachine machine;
    machine.shell.messageBoxClosesAfter = 5000;
    machine.inside([&] {
        const std::uint64_t start = machine.scheduler.now();
        reportError(L"caf\u00E9");
        EXPECT_EQ(machine.scheduler.now() - start, 5000U);
    });
    EXPECT_THAT(machine.shell.messageBoxes, ElementsAre("caf\xE9"));
    EXPECT_THAT(machine.traceLines, IsEmpty());
    machine.inside([] {
        *serviceMode = true;
        reportError(L"no desktop");
    });
    EXPECT_EQ(machine.shell.messageBoxes.size(), 1U);
    EXPECT_THAT(machine.traceLines, ElementsAre("no desktop"));
}

} // namespace
} // namespace kovra
