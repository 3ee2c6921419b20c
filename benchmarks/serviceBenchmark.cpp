#include "benchmarks/bench.h"

#include "channels/pipes.h"
#include "platform/handles.h"
#include "platform/sess.h"
#include "service/appRunState.h"
#include "service/serviceFunctions.h"
#include "support/fileSystem.h"

#include <initializer_list>
#include <utility>

namespace kovra::bench {
namespace {

constexpr const char* pipeName = "\\\\.\\pipe\\kovraLauncherPipe";

/// What the main loop does in one pass.
void pass(std::int32_t number) {
    watchSessions(number);
    servicePipe();
}

/// Listens and reads, as no pass can leave out; gives whether there was a message.
bool lookAtPipe(HANDLE pipe, char* buffer, DWORD size) {
    DWORD read = 0;
    ConnectNamedPipe(pipe, nullptr);
    return ReadFile(pipe, buffer, size, &read, nullptr) || GetLastError() != ERROR_PIPE_LISTENING;
}

FileHandle createPlainPipe() {
    SECURITY_DESCRIPTOR descriptor{};
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, &descriptor, FALSE};
    return FileHandle{CreateNamedPipeA(pipeName, PIPE_ACCESS_DUPLEX,
                                       PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_NOWAIT, 10, 100, 100,
                                       100, &attributes)};
}

/// Passes of one number beside the walks and the look at the pipe that they come down to.
void comparePasses(const std::string& name, std::int32_t number, std::size_t processCount,
                   const std::function<void()>& prepare, const std::function<void()>& walks) {
    compare(
        name,
        [=](benchmark::State& state) {
            InstalledMachine machine{processCount};
            machine.insideService([&] {
                prepare();
                createPipe(pipeName);
                for (auto _ : state)
                    pass(number);
                if (machine.processes.count("kovra.exe") != 1 || appRunState->launchedSessionId != 1)
                    state.SkipWithError("the application has been restarted");
                closePipe();
            });
        },
        [=](benchmark::State& state) {
            InstalledMachine machine{processCount};
            machine.insideService([&] {
                const FileHandle pipe = createPlainPipe();
                char buffer[100];
                for (auto _ : state) {
                    walks();
                    benchmark::DoNotOptimize(lookAtPipe(pipe.get(), buffer, sizeof buffer));
                }
            });
        });
}

void nothing() {}

void walkFor(std::initializer_list<const char*> names) {
    for (const char* name : names)
        benchmark::DoNotOptimize(findPlainly(name));
}

const bool passes = [] {
    comparePasses("pass/idle", 1, 50, nothing, nothing);
    for (const std::size_t count : {50U, 500U, 5000U}) {
        const std::string processes = std::to_string(count);
        comparePasses("pass/start/" + processes, 5, count, nothing, [] { walkFor({"kovra.exe"}); });
        comparePasses("pass/rights/" + processes, 15, count, nothing, [] {
            walkFor({"kovra.exe", "kovra.exe", "winlogon.exe", "explorer.exe", "logonui.exe"});
        });
        // The watched session has no shell of its own.
        comparePasses(
            "pass/explorer/" + processes, 5, count,
            [] {
                appRunState->restartWhenExplorerStarts = true;
                appRunState->watchedSessionId = 2;
            },
            [] {
                walkFor({"kovra.exe"});
                benchmark::DoNotOptimize(isExplorerInSession(2));
            });
    }
    return true;
}();

/// One client's command and its answer: a pass that listens, and one that serves.
template <typename Pass>
void serve(simulated::Machine& machine, benchmark::State& state, Pass pass) {
    simulated::PipeClient client{machine};
    std::string reply;
    client.onReply = [&](const std::string& text) { reply = text; };
    for (auto _ : state) {
        pass();
        client.connect();
        client.write("appLaunched useSessionId=1");
        pass();
        client.close();
        if (std::exchange(reply, {}) != "OK") {
            state.SkipWithError("no answer");
            break;
        }
    }
}

void serveByLauncher(benchmark::State& state) {
    InstalledMachine machine;
    machine.insideService([&] {
        createPipe(pipeName);
        serve(machine, state, servicePipe);
        closePipe();
    });
}

/// With the look at who the client is, and at whether he has read, which no server that doesn't wait can
/// leave out.
void serveOne(HANDLE pipe) {
    char buffer[100];
    if (!lookAtPipe(pipe, buffer, sizeof buffer))
        return;
    ImpersonateNamedPipeClient(pipe);
    KernelHandle token;
    OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.out());
    RevertToSelf();
    SID network{SID_REVISION, 1, SECURITY_NT_AUTHORITY, {SECURITY_NETWORK_RID}};
    BOOL overNetwork = TRUE;
    CheckTokenMembership(token.get(), &network, &overNetwork);
    if (overNetwork)
        return;
    benchmark::DoNotOptimize(getActiveConsoleSessionId());
    DWORD written = 0;
    WriteFile(pipe, "OK", 2, &written, nullptr);
    IO_STATUS_BLOCK status{};
    FILE_PIPE_LOCAL_INFORMATION information{};
    NtQueryInformationFile(pipe, &status, &information, sizeof information, FilePipeLocalInformation);
    DisconnectNamedPipe(pipe);
}

void servePlainly(benchmark::State& state) {
    InstalledMachine machine;
    machine.insideService([&] {
        const FileHandle pipe = createPlainPipe();
        serve(machine, state, [&] { serveOne(pipe.get()); });
    });
}

const bool command = compare("pipe/command", serveByLauncher, servePlainly);

/// Every measured pass starts the application, which is ended again out of the measure.
void start(benchmark::State& state, const std::function<void()>& pass) {
    InstalledMachine machine;
    machine.insideService([&] {
        for (auto _ : state) {
            state.PauseTiming();
            machine.processes.endAll("kovra.exe");
            appRunState->minLaunchTime = 0;
            state.ResumeTiming();
            pass();
        }
        if (machine.processes.count("kovra.exe") != 1)
            state.SkipWithError("the application has not been started");
    });
}

void startPlainly() {
    walkFor({"kovra.exe", "winlogon.exe", "no such process", "logonui.exe"});
    std::optional<File> settings = fileSystem().GetFile(L"C:\\Kovra\\data\\general.ini");
    benchmark::DoNotOptimize(settings->OpenAsTextStream(IoMode::ForReading)->ReadAll());
    benchmark::DoNotOptimize(isExplorerInSession(getActiveConsoleSessionId()));
    benchmark::DoNotOptimize(launchApplicationInSession("C:\\Kovra\\bin\\Kovra.exe", "-service",
                                                        getActiveConsoleSessionId(), true));
}

const bool starts = compare(
    "start", [](benchmark::State& state) { start(state, [] { pass(5); }); },
    [](benchmark::State& state) { start(state, startPlainly); });

} // namespace
} // namespace kovra::bench
