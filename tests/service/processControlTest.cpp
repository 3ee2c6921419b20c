#include "service/processControl.h"

#include "service/serviceProcess.h"

namespace kovra {
namespace {

TEST(FindProcess, KnowsANameInAnyCaseBehindAnyFolderAndInItsShortForm) {
    struct {
        const wchar_t* wanted;
        const char* running;
        bool found;
    } const rows[] = {{L"explorer.exe", "C:\\Windows\\EXPLORER.EXE", true},
                      {L"explorer.exe", "explorer.exe.bak", false},
                      {L"explorer.exe", "EXPLOR~1.EXE", false},
                      {L"ninechars.exe", "NINECH~1.EXE", true},
                      {L"explorer.exe", "\x83\\explorer.exe", false}}; // one character, no folder

    for (const auto& row : rows) {
        SCOPED_TRACE(row.running);
        ServiceMachine machine;
        machine.codePage.set(932);
        const auto id = static_cast<std::int32_t>(machine.processes.start(row.running, 1));
        insideService(machine, [&] { EXPECT_EQ(findProcess(row.wanted), row.found ? id : -1); });
    }
}

TEST(KillProcess, ByNameHitsWhateverBeginsWithItAndIsNotSpared) {
    ServiceMachine machine;
    machine.processes.start("kovra.exe.tmp", 1);
    const auto spared = static_cast<std::int16_t>(machine.processes.start("kovra.exe", 1));
    insideService(machine, [&] { killProcessByName(L"Kovra.exe", spared); });
    EXPECT_EQ(machine.processes.count("kovra.exe.tmp"), 0U);
    EXPECT_EQ(machine.processes.count("kovra.exe"), 1U);
}

TEST(ProcessList, TellsWhatMattersForLogonAndItsNumbersStartOverBehindTheLast) {
    const std::string rule(46, '-');
    ServiceMachine machine;
    machine.processes.start("svchost.exe", 1);
    const DWORD shell = machine.processes.start("C:\\Windows\\explorer.exe", 1);
    const DWORD logonScreen = machine.processes.start("logonui.exe", 1);
    insideService(machine, [&] {
        logProcessList();
        machine.processes.end(shell);
        machine.processes.end(logonScreen);
        machine.fail("CreateFileA", ERROR_ACCESS_DENIED); // no trace of all those between
        for (int dump = 2; dump <= 32767; ++dump)
            logProcessList();
        machine.heal("CreateFileA");
        logProcessList();
    });
    EXPECT_THAT(machine.traceLines,
                testing::ElementsAre(rule + "v 1", std::to_string(shell) + " - EXPLORER.EXE",
                                     std::to_string(logonScreen) + " - LOGONUI.EXE", rule + "^ 1",
                                     rule + "v 1", rule + "^ 1"));
}

} // namespace
} // namespace kovra
