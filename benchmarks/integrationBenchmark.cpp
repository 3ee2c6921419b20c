#include "benchmarks/bench.h"

#include "integration/shellExtension.h"
#include "integration/uninstall.h"
#include "support/fileSystem.h"

#include <array>
#include <cstring>

namespace kovra::bench {
namespace {

const std::wstring exeFolder = L"C:\\Kovra\\bin\\";

// The shell extension

constexpr std::size_t librarySize = 50'000'000;

/// Runs the work on a machine with two libraries that are equal, of which none can be deleted.
void compareLibraries(benchmark::State& state, const std::function<void()>& work) {
    InstalledMachine machine;
    std::string bytes(librarySize, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 7 >> 3);
    machine.files.write(exeFolder + L"kovraShellExt.dll", bytes);
    machine.files.write(exeFolder + L"kovraShellExt.tmp.dll", bytes);
    machine.fail("FileSystemObject.DeleteFile", ERROR_ACCESS_DENIED);
    machine.insideService([&] {
        for (auto _ : state)
            work();
    });
    if (machine.calls("FileSystemObject.MoveFile") != 0)
        state.SkipWithError("the libraries differ");
}

bool areEqual(const std::wstring& first, const std::wstring& second) {
    constexpr DWORD blockSize = 2048;
    static std::array<char, blockSize> firstBlock, secondBlock;
    const FileHandle firstFile = openFile(first, GENERIC_READ, OPEN_EXISTING);
    const FileHandle secondFile = openFile(second, GENERIC_READ, OPEN_EXISTING);
    for (;;) {
        DWORD firstCount = 0, secondCount = 0;
        ReadFile(firstFile.get(), firstBlock.data(), blockSize, &firstCount, nullptr);
        ReadFile(secondFile.get(), secondBlock.data(), blockSize, &secondCount, nullptr);
        if (firstCount != secondCount || std::memcmp(firstBlock.data(), secondBlock.data(), firstCount) != 0)
            return false;
        if (firstCount == 0)
            return true;
    }
}

void comparePlainly() {
    const std::wstring live = exeFolder + L"kovraShellExt.dll", staged = exeFolder + L"kovraShellExt.tmp.dll";
    benchmark::DoNotOptimize(fileSystem().GetFile(live)->Size() == fileSystem().GetFile(staged)->Size());
    benchmark::DoNotOptimize(areEqual(live, staged));
}

const bool libraries = compare(
    "libraries", [](benchmark::State& state) { compareLibraries(state, updateAndRegisterShellExtension); },
    [](benchmark::State& state) { compareLibraries(state, comparePlainly); });

// The transcoder's folder

constexpr int fileCount = 10'000;

/// Runs the work, each time on a folder of files, some of them in folders below it.
void remove(benchmark::State& state, const std::function<void()>& work) {
    InstalledMachine machine;
    machine.insideService([&] {
        for (auto _ : state) {
            for (int file = 0; file < fileCount; ++file)
                machine.files.write(exeFolder + L"ffmpeg\\" + std::to_wstring(file / 100) + L"\\file" +
                                        std::to_wstring(file),
                                    "");
            timed(state, work);
        }
    });
    if (machine.files.folderExists(exeFolder + L"ffmpeg"))
        state.SkipWithError("the folder is still there");
}

const bool deletions = compare(
    "deletion", [](benchmark::State& state) { remove(state, [] { installFfmpegFrom(L"C:\\none"); }); },
    [](benchmark::State& state) {
        remove(state, [] { static_cast<void>(fileSystem().DeleteFolder(exeFolder + L"ffmpeg", false)); });
    },
    Measure::timedParts);

} // namespace
} // namespace kovra::bench
