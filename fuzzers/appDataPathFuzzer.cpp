// The input is the file `appDataPath`, which the service takes for the place of its data.

#include "frontend/installationPaths.h"
#include "fuzzers/fuzzing.h"
#include "support/pathSet.h"
#include "support/serviceMode.h"
#include "support/settings.h"

#include <algorithm>

namespace kovra::fuzzing {
namespace {

/// The whole file is the path, and nothing but it.
void readPaths(const simulation::World& world, const std::wstring& path) {
    *serviceMode = true;
    const simulation::Beginning before = world.lookAtAll();
    const bool isThere = !path.empty() && world.machine.files.folderExists(path);
    mustHold(initPaths() == isThere, "the data is found where it is");
    mustHold(areSame(before, world.lookAtAll()), "the service looks and changes nothing");
    mustEqual(pathSet->dataRoot, path, "the data's root");
    if (!isThere)
        return;
    mustEqual(pathSet->dataFolder, path + L"\\data", "the data folder");
    mustEqual(pathSet->tempFolder, path + L"\\data\\temp", "the folder for temporary files");
    mustEqual(pathSet->wwwFolder, path + L"\\www", "the pages' folder");
    mustEqual(pathSet->sharedFolder, path + L"\\shared", "the shared folder");
    mustEqual(pathSet->exeFolder + pathSet->installRoot + pathSet->dataScope, L"C:\\Kovra\\binC:\\Kovra",
              "what doesn't hang on the data");
    const bool settingsAreThere = world.machine.files.read(path + L"\\data\\general.ini").has_value();
    mustEqual(getLanguage(), settingsAreThere ? L"en" : L"", "a setting of the data");
}

/// The service comes up where the data is found, and else ends with a word in the trace.
void startService(simulated::Machine& machine, bool isThere) {
    machine.services.add("Kovra", "\"C:\\Kovra\\bin\\kovraLauncher.exe\" -service");
    mustHold(machine.services.start("Kovra"), "the service starts");
    machine.play(300);
    mustHold((machine.services.find("Kovra")->processId != 0) == isThere,
             "the service runs where its data is");
    const auto times = [&](const char* line) {
        return std::count(machine.traceLines.begin(), machine.traceLines.end(), line);
    };
    mustHold(times("Starting service...") == (isThere ? 1 : 0) &&
                 times("kovraLauncher: Installation problem (initPaths error)") == (isThere ? 0 : 1),
             "the trace tells of it");
}

} // namespace
} // namespace kovra::fuzzing

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kovra::fuzzing;
    const std::string_view content = bytesOf(data, size);
    kovra::simulation::World world;
    kovra::simulated::Machine& machine = world.machine;
    machine.codePage.set(codePageFor(content));
    for (const wchar_t* root :
         {L"C:\\Kovra", L"D:\\Daten", L"\\\\server\\share\\Kovra", L"C:\\Windows\\System32\\d"})
        machine.files.write(std::wstring{root} + L"\\data\\general.ini", "language=en");
    machine.files.write(L"C:\\Kovra\\bin\\appDataPath", content);
    const std::wstring path = machine.codePage.toWide(content);
    machine.inside([&] { readPaths(world, path); });
    startService(machine, machine.files.folderExists(path));
    return 0;
}
