#include "benchmarks/bench.h"

#include "support/fileSystem.h"
#include "support/settings.h"

#include <cstdlib>

namespace kovra::bench {
namespace {

constexpr std::size_t fileSize = 5'000'000;

/// A machine with a language file of which the last line is looked up.
class LanguageMachine : public InstalledMachine {
public:
    LanguageMachine() {
        std::string text = "<?php\r\n";
        for (int key = 0; text.size() < fileSize; ++key)
            text += "//caption" + std::to_string(key) + "=What stands on the screen for it\r\n";
        files.write(L"C:\\Kovra\\www\\includes\\lng\\en.php", text + "//doShare=Partag\xC3\xA9\r\n");
    }
};

void lookUp() {
    if (getTranslation(L"doShare", true) != L"Partag\xE9")
        std::abort();
}

std::wstring readPlainly() {
    return *fileSystem()
                .GetFile(L"C:\\Kovra\\www\\includes\\lng\\en.php")
                ->OpenAsTextStream(IoMode::ForReading)
                ->ReadAll();
}

/// Searches the text for the line's beginning, and converts what stands behind that.
void searchPlainly(const std::wstring& text) {
    const std::size_t start = text.find(L"\r\n//doShare=") + 12;
    const std::wstring value = decodeCodePage(text.substr(start, text.find(L'\r', start) - start), CP_UTF8);
    if (value != L"Partag\xE9")
        std::abort();
}

/// Each time in a process of its own, which knows nothing yet. What the work keeps goes behind the measure.
void first(benchmark::State& state, const std::function<void(std::wstring& kept)>& work) {
    LanguageMachine machine;
    for (auto _ : state)
        machine.insideService([&] {
            static_cast<void>(fileSystem());
            std::wstring kept;
            timed(state, [&] { work(kept); });
        });
}

const bool firsts = compare(
    "language/first", [](benchmark::State& state) { first(state, [](std::wstring&) { lookUp(); }); },
    [](benchmark::State& state) {
        first(state, [](std::wstring& kept) {
            static_cast<void>(getLanguage());
            searchPlainly(kept = readPlainly());
        });
    },
    Measure::timedParts);

const bool laters = compare(
    "language/later",
    [](benchmark::State& state) {
        LanguageMachine machine;
        machine.insideService([&] {
            lookUp();
            for (auto _ : state)
                lookUp();
        });
    },
    [](benchmark::State& state) {
        LanguageMachine machine;
        machine.insideService([&] {
            const std::wstring text = readPlainly();
            for (auto _ : state)
                searchPlainly(text);
        });
    });

} // namespace
} // namespace kovra::bench
