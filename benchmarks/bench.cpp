#include "benchmarks/bench.h"

#include "frontend/commandLineMain.h"
#include "frontend/installationPaths.h"
#include "platform/handles.h"
#include "service/appRunState.h"
#include "support/serviceMode.h"

#include <strings.h>

#include <cstdlib>
#include <ctime>
#include <iterator>

namespace kovra::bench {

bool compare(const std::string& name, const Run& run, const Run& floor, Measure measure) {
    for (const auto& [fullName, body] : {std::pair{name, run}, {name + "/floor", floor}}) {
        auto* const registered = benchmark::RegisterBenchmark(fullName.c_str(), body);
        registered->Unit(benchmark::kMicrosecond);
        if (measure == Measure::timedParts)
            registered->UseManualTime();
    }
    return true;
}

namespace {

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

} // namespace

void timed(benchmark::State& state, const std::function<void()>& work) {
    const double start = processorSeconds();
    work();
    state.SetIterationTime(processorSeconds() - start);
}

InstalledMachine::InstalledMachine(std::size_t processCount) : Machine(kovra::main) {
    keepHappenings = false;
    for (const wchar_t* file : {L"bin\\kovraLauncher.exe", L"bin\\Kovra.exe", L"www\\index.php"})
        files.write(std::wstring{L"C:\\Kovra\\"} + file, "");
    files.makeFolder(L"C:\\Kovra\\data\\temp");
    files.write(L"C:\\Kovra\\data\\general.ini", "language=en\r\nlaunchWithAdminRights=0\r\n");
    files.write(L"C:\\Kovra\\www\\includes\\lng\\en.php", "//shellShareWith=Share with\r\n");
    files.write(L"C:\\Kovra\\bin\\appDataPath", "C:\\Kovra");

    sessions.open(1);
    sessions.logOn(1);
    constexpr const char* others[] = {"svchost.exe", "RuntimeBroker.exe", "chrome.exe",
                                      "conhost.exe", "lsass.exe",         "kovraHttpd.exe",
                                      "notepad.exe", "SearchIndexer.exe", "spoolsv.exe",
                                      "explore.exe", "services.exe",      "kovraLauncher2.exe"};
    while (processes.list().size() + 2 < processCount)
        processes.start(others[processes.list().size() % std::size(others)], 1);
    sessions.startShell(1);
    processes.start("Kovra.exe", 1);
    play(10'000); // nothing waits for the clock
}

void InstalledMachine::insideService(const std::function<void()>& body) {
    inside(
        [&] {
            *serviceMode = true;
            appRunState->appExpected = true;
            appRunState->forcedSessionId = -1;
            appRunState->launchedSessionId = 1;
            appRunState->watchedSessionId = 1;
            if (!initPaths())
                std::abort();
            body();
        },
        simulated::Account::localSystem);
}

int findPlainly(const char* name) {
    const SnapshotHandle snapshot{CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)};
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32First(snapshot.get(), &entry); more;
         more = Process32Next(snapshot.get(), &entry))
        if (strcasecmp(entry.szExeFile, name) == 0)
            return static_cast<int>(entry.th32ProcessID);
    return -1;
}

} // namespace kovra::bench
