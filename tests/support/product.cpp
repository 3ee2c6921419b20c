#include "support/product.h"

#include "frontend/commandLineMain.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace kovra {

namespace {

/// Whatever a test plays, nothing may be misused or left open.
const bool disorderFails = [] {
    simulated::Machine::atEnd = [](const std::string& leftOpen) { ADD_FAILURE() << leftOpen; };
    return true;
}();

} // namespace

InstalledMachine::InstalledMachine() : Machine(kovra::main) {
    files.makeFolder(L"C:\\P1");
    for (const wchar_t* file : {L"bin\\kovraLauncher.exe", L"bin\\Kovra.exe", L"www\\index.php"})
        files.write(std::wstring{L"C:\\Kovra\\"} + file, "");
    files.makeFolder(L"C:\\Kovra\\data\\temp");
    files.write(L"C:\\Kovra\\bin\\appDataPath", "C:\\Kovra");
}

simulated::Service& InstalledMachine::addService() {
    return services.add("Kovra", "\"C:\\Kovra\\bin\\kovraLauncher.exe\" -service");
}

void InstalledMachine::startService() {
    addService();
    services.start("Kovra");
    play(0);
}

void InstalledMachine::letApplicationReport(std::uint64_t afterMs) {
    processes.onStart["kovra.exe"] = [this, afterMs](simulated::Process&) {
        scheduler.after(afterMs, [this] { pipes.say("appLaunched"); });
    };
}

bool InstalledMachine::traced(const std::string& message) const {
    return timesTraced(message) > 0;
}

std::size_t InstalledMachine::timesTraced(const std::string& message) const {
    return static_cast<std::size_t>(std::count(traceLines.begin(), traceLines.end(), message));
}

} // namespace kovra
