#include "frontend/installationPaths.h"
#include "integration/contextMenu.h"
#include "platform/simulated/machine.h"

#include <benchmark/benchmark.h>

namespace kovra {
namespace {

/// Reads, fills and writes a registry template of the given size, paths resolved and captions known.
void fillTemplate(benchmark::State& state) {
    simulated::Machine machine;
    const std::string entry =
        "[HKEY_CLASSES_ROOT\\KOVRA.menu\\entry]\r\n"
        "@=\"%SHAREMAINCAPTION% %SHARECAPTION% %SENDCAPTION% %PUBLISHCAPTION% \xE9\"\r\n"
        "\"Icon\"=\"%EXEPATH%\\\\kovra.exe\"\r\n\"Page\"=\"%WWWPATH%\"\r\n\r\n";
    std::string bytes;
    while (bytes.size() < static_cast<std::size_t>(state.range(0)))
        bytes += entry;
    machine.files.write(L"C:\\Kovra\\bin\\default\\contextMenu.reg", bytes);
    machine.files.write(L"C:\\Kovra\\www\\index.php", "");
    machine.files.makeFolder(L"C:\\Kovra\\data\\temp");
    machine.inside([&] {
        static_cast<void>(initPaths());
        for (auto _ : state)
            benchmark::DoNotOptimize(registerWin7ContextMenu(false));
    });
    if (!machine.files.fileExists(L"C:\\Kovra\\data\\temp\\contextMenu.reg"))
        state.SkipWithError("no output");
}

BENCHMARK(fillTemplate)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace kovra
