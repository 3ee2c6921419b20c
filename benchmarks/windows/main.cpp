#include "tests/windows/installation.h"
#include "tests/windows/standIns.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include <psapi.h>
#include <tlhelp32.h>

// Measures the built launcher beside bare programs: `windowsBenchmarks.exe FOLDER BARE PREFIX`, with the
// folders of the built files and of the bare programs, and the path that Wine's own folder has outside of
// Wine. Writes the medians to the standard output, as Google Benchmark writes its own. Meant for a machine
// that is thrown away afterwards.

namespace checks {
namespace {

std::string bareFolder;
std::string winePrefix;

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(1);
}

void require(bool isSo, const std::string& what) {
    if (!isSo)
        fail(what);
}

/// The figures of each row, by its name.
class Figures {
public:
    void add(const std::string& name, double figure) { figures_[name].push_back(figure); }

    /// With what `unit` gives for the row's name.
    void write() const {
        std::printf("{\"benchmarks\": [");
        const char* separator = "";
        for (auto [name, figures] : figures_) {
            std::sort(figures.begin(), figures.end());
            std::printf("%s\n{\"run_name\": \"%s\", \"aggregate_name\": \"median\", \"cpu_time\": %f, "
                        "\"time_unit\": \"%s\"}",
                        separator, name.c_str(), figures[figures.size() / 2],
                        name.starts_with("memory") ? "KB" : "ms");
            separator = ",";
        }
        std::printf("\n]}\n");
    }

private:
    std::map<std::string, std::vector<double>> figures_;
};

Figures figures;

double nowMs() {
    LARGE_INTEGER count{}, frequency{};
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return 1000.0 * static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

/// How long it takes until the condition holds, which is looked at every millisecond.
double msUntil(const std::string& what, const std::function<bool()>& condition) {
    const double start = nowMs();
    while (!condition()) {
        require(nowMs() - start < 20'000, "never: " + what);
        Sleep(1);
    }
    return nowMs() - start;
}

// One-shot runs

double runMs(const std::string& commandLine) {
    const double start = nowMs();
    const Process process{commandLine};
    require(process.waitForEnd(20'000), commandLine);
    return nowMs() - start;
}

void measureRuns() {
    constexpr int rounds = 40;
    const std::string launcher = '"' + launcherFile + "\" ";
    const std::string bare = '"' + bareFolder + "\\bareRun.exe\"";
    const Process application{exeFolder + "\\Kovra.exe"};
    require(waitFor(5000, [] { return !applicationStarts().empty(); }), "the application is up");
    for (int round = 0; round < rounds; ++round) {
        figures.add("run/shortest", runMs(launcher + "createShortcuts"));
        figures.add("run/shortest/floor", runMs(bare));
        figures.add("run/message", runMs(launcher + "open"));
        figures.add("run/message/floor", runMs(bare));
    }
    require(waitFor(2000, [] { return applicationMails().size() == rounds; }),
            "the application gets each line");
}

// Services

/// A service's start and stop, and its process's end.
class ServiceUnderMeasure {
public:
    ServiceUnderMeasure(std::string name, std::string fileName)
        : name_(std::move(name)),
          fileName_(std::move(fileName)) {
        const kovra::ServiceManagerHandle manager{OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)};
        service_ = kovra::ServiceHandle{OpenServiceA(manager.get(), name_.c_str(), SERVICE_ALL_ACCESS)};
        if (!service_) // the bare one
            service_ = kovra::ServiceHandle{
                CreateServiceA(manager.get(), name_.c_str(), name_.c_str(), SERVICE_ALL_ACCESS,
                               SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                               ('"' + bareFolder + "\\" + fileName_ + '"').c_str(), nullptr, nullptr, nullptr,
                               nullptr, nullptr)};
        require(static_cast<bool>(service_), "service " + name_);
    }

    [[nodiscard]] double startMs() const {
        const double start = nowMs();
        require(StartServiceA(service_.get(), 0, nullptr), "start of " + name_);
        msUntil(name_ + " runs", [this] { return isIn(SERVICE_RUNNING); });
        return nowMs() - start;
    }

    /// Comes back when the process has gone.
    [[nodiscard]] double stopMs() const {
        const double start = nowMs();
        SERVICE_STATUS status{};
        require(ControlService(service_.get(), SERVICE_CONTROL_STOP, &status), "stop of " + name_);
        msUntil(name_ + " stops", [this] { return isIn(SERVICE_STOPPED); });
        const double took = nowMs() - start;
        msUntil(name_ + " ends", [this] { return !isRunning(fileName_); });
        return took;
    }

private:
    [[nodiscard]] bool isIn(DWORD state) const {
        SERVICE_STATUS status{};
        return QueryServiceStatus(service_.get(), &status) && status.dwCurrentState == state;
    }

    std::string name_;
    std::string fileName_;
    kovra::ServiceHandle service_;
};

void measureStartsAndStops(const ServiceUnderMeasure& launcher) {
    constexpr int rounds = 15;
    const ServiceUnderMeasure bare{"Bare", "bareService.exe"};
    for (int round = 0; round < rounds; ++round) {
        for (const auto& [service, ending] : {std::pair{&launcher, ""}, {&bare, "/floor"}}) {
            figures.add(std::string{"service/start"} + ending, service->startMs());
            Sleep(300); // it has come to its wait
            figures.add(std::string{"service/stop"} + ending, service->stopMs());
        }
    }
}

// Idle seconds

/// Processor time of all threads of the processes of this Wine whose command line holds the text, as Linux
/// knows it.
double processorMs(const std::string& text) {
    namespace fs = std::filesystem;
    std::error_code error;
    double nanoseconds = 0;
    for (const fs::directory_entry& process : fs::directory_iterator{"Z:\\proc", error}) {
        const std::string folder = process.path().string();
        if (!std::isdigit(static_cast<unsigned char>(process.path().filename().string()[0])) ||
            lower(readFile(folder + "\\cmdline")).find(text) == std::string::npos ||
            readFile(folder + "\\environ").find("WINEPREFIX=" + winePrefix + '\0') == std::string::npos)
            continue;
        for (const fs::directory_entry& thread : fs::directory_iterator{folder + "\\task", error}) {
            double onProcessor = 0;
            std::istringstream{readFile(thread.path().string() + "\\schedstat")} >> onProcessor;
            nanoseconds += onProcessor;
        }
    }
    require(nanoseconds > 0, "processor time of " + text);
    return nanoseconds / 1e6;
}

/// What the program, and Wine's server besides, take for an idle second.
void measureIdle(const std::string& program, const std::string& ending) {
    constexpr DWORD seconds = 9; // three times the longest cadence
    Sleep(4000);                 // the application is up
    const double own = processorMs(program), server = processorMs("wineserver");
    Sleep(seconds * 1000);
    const double ownMs = (processorMs(program) - own) / seconds;
    figures.add("idle/own" + ending, ownMs);
    figures.add("idle/all" + ending, ownMs + (processorMs("wineserver") - server) / seconds);
}

Process startLoop() {
    return Process{'"' + bareFolder + "\\bareLoop.exe\" C:\\kovraChecks\\Restarted.exe"};
}

void measureIdleSeconds(const ServiceUnderMeasure& launcher) {
    constexpr int rounds = 3;
    for (int round = 0; round < rounds; ++round) {
        static_cast<void>(launcher.startMs());
        measureIdle("kovralauncher.exe", "");
        static_cast<void>(launcher.stopMs());
        const Process loop = startLoop();
        measureIdle("bareloop.exe", "/floor");
    }
}

// Restarts and memory

void measureMemory(const std::string& fileName, const std::string& ending) {
    const kovra::SnapshotHandle snapshot{CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)};
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32First(snapshot.get(), &entry); more;
         more = Process32Next(snapshot.get(), &entry)) {
        if (lower(entry.szExeFile) != lower(fileName))
            continue;
        const kovra::KernelHandle process{
            OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, entry.th32ProcessID)};
        PROCESS_MEMORY_COUNTERS counters{};
        require(GetProcessMemoryInfo(process.get(), &counters, sizeof counters), "memory of " + fileName);
        figures.add("memory/working set" + ending, static_cast<double>(counters.WorkingSetSize) / 1024);
        figures.add("memory/private" + ending, static_cast<double>(counters.PagefileUsage) / 1024);
        return;
    }
    fail(fileName + " doesn't run");
}

/// Kills the program at evenly spread moments of the second behind whose beginning it was last started. The
/// first round finds that beginning.
void measureRestarts(const std::string& fileName, const std::string& row, DWORD leftAloneMs) {
    constexpr DWORD rounds = 9;
    msUntil(fileName + " is up", [&] { return isRunning(fileName); });
    for (DWORD round = 0; round <= rounds; ++round) {
        Sleep(leftAloneMs + round * 1000 / rounds);
        killAll(fileName);
        const double tookMs = msUntil(fileName + " is back", [&] { return isRunning(fileName); });
        if (round > 0)
            figures.add(row, tookMs);
    }
}

void measureRestarts(const ServiceUnderMeasure& launcher) {
    static_cast<void>(launcher.startMs());
    const Process loop = startLoop();
    // The launcher leaves an application that it has just started 2 seconds.
    measureRestarts("Kovra.exe", "service/restart", 3000);
    measureRestarts("Restarted.exe", "service/restart/floor", 0);
    measureMemory("kovraLauncher.exe", "");
    measureMemory("bareLoop.exe", "/floor");
    static_cast<void>(launcher.stopMs());
}

void measure() {
    require(layInstallation(), "the built files");
    RemoveDirectoryA("C:\\P1"); // the trace is off
    { startStandIn("Restarted.exe"); }
    const Process logonProcess = startStandIn("winlogon.exe");
    const Process shell = startStandIn("explorer.exe");
    measureRuns();
    runLauncher("installServices none");
    const ServiceUnderMeasure launcher{"Kovra", "kovraLauncher.exe"};
    measureStartsAndStops(launcher);
    measureIdleSeconds(launcher);
    measureRestarts(launcher);
    figures.write();
}

} // namespace
} // namespace checks

int main(int argumentCount, char** arguments) {
    const std::string own = arguments[0];
    if (checks::playStandIn(checks::lower(own.substr(own.rfind('\\') + 1))))
        return 0;
    if (argumentCount != 4)
        checks::fail("usage: windowsBenchmarks.exe FOLDER BARE PREFIX");
    checks::builtFolder = arguments[1];
    checks::bareFolder = arguments[2];
    checks::winePrefix = arguments[3];
    checks::measure();
    for (const char* fileName : {"Kovra.exe", "Restarted.exe"})
        checks::killAll(fileName);
    return 0;
}
