#include "benchmarks/bench.h"

#include "integration/contextMenu.h"
#include "support/fileSystem.h"

#include <utility>

namespace kovra::bench {
namespace {

const std::wstring exeFolder = L"C:\\Kovra\\bin\\";
constexpr std::size_t templateSize = 1'000'000;

/// Runs the work on a machine with a registry template; the registry tool isn't started.
void fill(benchmark::State& state, const std::function<void()>& work) {
    InstalledMachine machine;
    const std::string entry = "[HKEY_CLASSES_ROOT\\KOVRA.menu\\entry]\r\n"
                              "@=\"%SHAREMAINCAPTION% %SHARECAPTION% %SENDCAPTION% %PUBLISHCAPTION%\"\r\n"
                              "\"Icon\"=\"%EXEPATH%\\\\kovra.exe\"\r\n\"Page\"=\"%WWWPATH%\"\r\n\r\n";
    std::string bytes;
    while (bytes.size() < templateSize)
        bytes += entry;
    machine.files.write(exeFolder + L"default\\contextMenu.reg", bytes);
    machine.fail("ShellExecuteA", ERROR_ACCESS_DENIED);
    machine.insideService([&] {
        for (auto _ : state)
            work();
    });
    const std::string filled = machine.files.read(L"C:\\Kovra\\data\\temp\\contextMenu.reg").value_or("");
    if (filled.find("C:\\\\Kovra\\\\www") == std::string::npos || filled.find('%') != std::string::npos)
        state.SkipWithError("the template hasn't been filled");
}

/// One walk over the bytes, in which every placeholder's beginning is looked at.
std::string filledPlainly(const std::string& bytes) {
    constexpr std::pair<std::string_view, std::string_view> places[] = {
        {"%EXEPATH%", "C:\\\\Kovra\\\\bin"},  {"%WWWPATH%", "C:\\\\Kovra\\\\www"},
        {"%SHAREMAINCAPTION%", "Share with"}, {"%SHARECAPTION%", "#doShare#"},
        {"%SENDCAPTION%", "#doSend#"},        {"%PUBLISHCAPTION%", "#doPublish#"},
    };
    std::string filled;
    filled.reserve(bytes.size());
    std::string_view rest = bytes;
    for (std::size_t found = rest.find('%'); found != std::string_view::npos; found = rest.find('%')) {
        filled.append(rest.substr(0, found));
        rest.remove_prefix(found);
        for (const auto& [placeholder, text] : places) {
            if (!rest.starts_with(placeholder))
                continue;
            filled.append(text);
            rest.remove_prefix(placeholder.size());
            break;
        }
    }
    return filled.append(rest);
}

void fillPlainly() {
    const std::wstring output = L"C:\\Kovra\\data\\temp\\contextMenu.reg";
    DeleteFileA("C:\\Kovra\\data\\temp\\contextMenu.reg");
    const FileHandle to = openFile(output, GENERIC_WRITE, CREATE_ALWAYS);
    const FileHandle from = openFile(exeFolder + L"default\\contextMenu.reg", GENERIC_READ, OPEN_EXISTING);
    std::string bytes(GetFileSize(from.get(), nullptr), '\0');
    DWORD count = 0;
    ReadFile(from.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    const std::string filled = filledPlainly(bytes);
    WriteFile(to.get(), filled.data(), static_cast<DWORD>(filled.size()), &count, nullptr);
}

const bool templates = compare(
    "template",
    [](benchmark::State& state) { fill(state, [] { static_cast<void>(registerWin7ContextMenu(true)); }); },
    [](benchmark::State& state) { fill(state, fillPlainly); });

} // namespace
} // namespace kovra::bench
