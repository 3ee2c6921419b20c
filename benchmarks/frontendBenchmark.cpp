#include "benchmarks/bench.h"

#include "platform/handles.h"
#include "support/fileSystem.h"

namespace kovra::bench {
namespace {

/// A whole process, from its start to its end, on a machine whose application has its mailslot open.
void runEach(benchmark::State& state, const std::function<void(simulated::Machine&)>& process) {
    InstalledMachine machine;
    machine.mailslots.make("kovraMailslot");
    std::size_t runs = 0;
    for (auto _ : state) {
        timed(state, [&] { process(machine); });
        ++runs;
    }
    if (machine.mailslots.delivered.size() != runs)
        state.SkipWithError("no message");
}

/// What the job comes down to: where the product and its data are, left for the service, whether an update
/// waits, whether the application runs, and the message.
void handOnPlainly() {
    char path[MAX_PATH];
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    const FileSystemObject& files = fileSystem();
    benchmark::DoNotOptimize(files.FolderExists(L"C:\\P1"));
    benchmark::DoNotOptimize(files.FileExists(L"C:\\Kovra\\www\\index.php"));
    benchmark::DoNotOptimize(files.FileExists(L"C:\\Kovra\\data\\junction"));
    files.OpenTextFile(L"C:\\Kovra\\bin\\appDataPath", IoMode::ForWriting, true)->Write(L"C:\\Kovra");
    benchmark::DoNotOptimize(files.FileExists(L"C:\\Kovra\\bin\\kovraShellExt.tmp.dll"));
    HKEY key = nullptr;
    RegOpenKeyExA(HKEY_CLASSES_ROOT, "Directory\\Shell\\KOVRA.share", 0, KEY_READ, &key);
    if (findPlainly("kovra.exe") == -1)
        return;
    const FileHandle slot{CreateFileA("\\\\.\\mailslot\\kovraMailslot", GENERIC_WRITE, FILE_SHARE_READ,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)};
    DWORD written = 0;
    WriteFile(slot.get(), "open", 5, &written, nullptr);
}

const bool runs = compare(
    "run",
    [](benchmark::State& state) {
        runEach(state, [](simulated::Machine& machine) { benchmark::DoNotOptimize(machine.run(L"open")); });
    },
    [](benchmark::State& state) {
        runEach(state, [](simulated::Machine& machine) { machine.inside(handOnPlainly); });
    },
    Measure::timedParts);

} // namespace
} // namespace kovra::bench
