#include "service/processControl.h"

#include "service/serviceProcess.h"
#include "support/text.h"

#include <algorithm>

namespace kovra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(FindProcess, ComparesWholeNamesWithoutCaseAndFolder) {
    struct {
        const wchar_t* wanted;
        std::vector<std::string> list;
        int found; // index, -1 for none
    } const rows[] = {{L"kovra.exe", {"a.exe", "KOVRA.exe", "Kovra.exe"}, 1},
                      {L"KoVrA.eXe", {"kovra.exe"}, 0},
                      {L"explorer.exe", {"C:\\Windows\\EXPLORER.EXE"}, 0},
                      {L"explorer.exe", {"explorer.exe.bak", "myexplorer.exe", "explorer"}, -1},
                      {L"kovraHttpd.exe", {"KOVRAH~2.EXE", "KOVRAH~1.EXE"}, 1},
                      {L"kovraHttpd.exe", {"C:\\Kovra\\bin\\kovrah~1.exe"}, 0},
                      {L"ninechars.exe", {"NINECH~1.EXE"}, 0},
                      {L"explorer.exe", {"EXPLOR~1.EXE"}, -1},
                      {L"kovraHttpd", {"KOVRAH~1"}, -1},
                      {L"kovraHttpd", {"kovrahttpd"}, 0},
                      {L"very.long.name.exe", {"VERY.L~1.EXE"}, 0},
                      {L"kovra.exe", {}, -1}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        ServiceMachine machine;
        std::vector<DWORD> ids;
        for (const std::string& name : row.list)
            ids.push_back(machine.processes.start(name, 1));
        insideService(machine, [&] {
            EXPECT_EQ(findProcess(row.wanted),
                      row.found < 0 ? -1
                                    : static_cast<std::int32_t>(ids[static_cast<std::size_t>(row.found)]));
        });
    }
    ServiceMachine machine;
    machine.processes.start("kovra.exe", 1);
    machine.fail("CreateToolhelp32Snapshot", ERROR_ACCESS_DENIED);
    insideService(machine, [] { EXPECT_EQ(findProcess(L"kovra.exe"), -1); });
}

TEST(KillProcess, ByNameHitsWhateverBeginsWithIt) {
    ServiceMachine machine;
    for (const char* name : {"KOVRA.EXE", "kovra.exe.tmp", "C:\\Kovra\\bin\\kovra.exe", "kovrah~1.exe"})
        machine.processes.start(name, 1);
    const DWORD spared = machine.processes.start("kovra.exe", 1);
    machine.processes.start("Kovra.exe", 2);
    machine.processes.find("kovra.exe")->unkillable = true; // the first: the walk goes on behind it
    machine.fail("AdjustTokenPrivileges", ERROR_ACCESS_DENIED);
    machine.fail("OpenProcessToken", ERROR_ACCESS_DENIED, 1);
    insideService(machine, [&] {
        killProcessByName(L"Kovra.exe", static_cast<std::int16_t>(spared));
        EXPECT_EQ(machine.calls("CreateToolhelp32Snapshot"), 1U);
    });
    std::vector<std::string> left;
    for (const simulated::Process* process : machine.processes.list())
        left.push_back(process->name);
    EXPECT_THAT(left, ElementsAre("KOVRA.EXE", "C:\\Kovra\\bin\\kovra.exe", "kovrah~1.exe", "kovra.exe"));
}

TEST(KillProcess, ByIdTellsWhetherItWorked) {
    ServiceMachine machine;
    const DWORD id = machine.processes.start("a.exe", 1);
    const DWORD guarded = machine.processes.start("b.exe", 1);
    machine.processes.find(guarded)->unkillable = true;
    insideService(machine, [&] {
        EXPECT_FALSE(killProcessById(0));
        EXPECT_EQ(machine.calls("OpenProcessToken"), 0U);
        EXPECT_TRUE(killProcessById(id));
        EXPECT_FALSE(killProcessById(id));
        EXPECT_FALSE(killProcessById(guarded));
        EXPECT_EQ(machine.calls("AdjustTokenPrivileges"), 3U);
    });
}

TEST(ProcessList, DumpsWhatMattersForLogonUnderOneNumber) {
    const std::string rule(46, '-');
    ServiceMachine machine;
    for (const char* name : {"WinLogon.exe", "svchost.exe", "C:\\Windows\\explorer.exe", "logonui.exe",
                             "EXPLORER.EXE", "explorer"})
        machine.processes.start(name, 1);
    const auto list = machine.processes.list();
    const auto line = [&](std::size_t index, const char* name) {
        return std::to_string(list[index]->id) + " - " + name;
    };
    insideService(machine, [&] {
        logProcessList();
        machine.fail("Process32First", ERROR_ACCESS_DENIED);
        logProcessList();
    });
    EXPECT_THAT(machine.traceLines,
                ElementsAre(rule + "v 1", line(0, "WINLOGON.EXE"), line(2, "EXPLORER.EXE"),
                            line(3, "LOGONUI.EXE"), line(4, "EXPLORER.EXE"), rule + "^ 1", rule + "v 2",
                            rule + "^ 2"));
}

TEST(ProcessList, TheNumbersStartOverBehindTheLast) {
    const std::string rule(46, '-');
    ServiceMachine machine;
    insideService(machine, [&] {
        logProcessList();
        machine.fail("CreateFileA", ERROR_ACCESS_DENIED); // no trace of all those between
        for (int dump = 2; dump < 32767; ++dump)
            logProcessList();
        machine.heal("CreateFileA");
        logProcessList();
        logProcessList();
    });
    EXPECT_THAT(machine.traceLines, ElementsAre(rule + "v 1", rule + "^ 1", rule + "v 32767",
                                                rule + "^ 32767", rule + "v 1", rule + "^ 1"));
}

TEST(KillApplication, WarnsItThenEndsItWithItsChildPrograms) {
    ServiceMachine machine;
    machine.mailslots.make("kovraMailslot");
    for (const char* name : {"Thumbler.exe", "kovraFfmpeg.exe", "mysqld.exe", "kovraHttpd.exe",
                             "kovraHttpd.exe", "Kovra.exe", "kovraLauncher.exe"})
        machine.processes.start(name, 1);
    machine.happenings.clear();
    insideService(machine, [&] {
        const std::uint64_t start = machine.scheduler.now();
        killApplication();
        EXPECT_LT(machine.scheduler.now() - start, 220U);
    });
    std::vector<std::string> deeds;
    for (const simulated::Happening& happening : machine.happenings) {
        if (happening.side != simulated::Side::machine)
            deeds.push_back(std::to_string(happening.at / 100 * 100) + " " + happening.text);
    }
    EXPECT_THAT(deeds,
                ElementsAre("0 Kill kovra", "0 sends \"removeTrayIcon\" to kovraMailslot",
                            "0 mailslot message sent: removeTrayIcon to slot -1", "200 terminates Kovra.exe",
                            "200 terminates kovraHttpd.exe", "200 terminates kovraHttpd.exe",
                            "200 terminates kovraFfmpeg.exe", "200 terminates Thumbler.exe"));
    EXPECT_EQ(machine.processes.count("mysqld.exe"), 1U);
    EXPECT_EQ(machine.processes.count("kovraLauncher.exe"), 1U);
}

} // namespace
} // namespace kovra
