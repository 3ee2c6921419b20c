#include "service/NTService.h"

#include "channels/pipes.h"
#include "platform/handles.h"
#include "platform/perProcess.h"
#include "service/appRunState.h"
#include "service/processControl.h"
#include "service/serviceFunctions.h"
#include "support/systemFacts.h"
#include "support/trace.h"

#include <atomic>

namespace kovra {

namespace {

constexpr DWORD loopWaitMs = 200; // the pace of the whole service
constexpr DWORD replyLookMs = 10; // between two looks whether the answer to `exit` has been read

/// What the main thread, the dispatcher thread and the service thread share. There is no lock: all but the
/// service's state is written before the event or the call that lets another thread read it.
struct ServiceState {
    SERVICE_STATUS status{};
    /// The service's state, `serviceThreadUp`, and as many times `oneReport` as reports are under way.
    std::atomic<DWORD> currentState{0};
    SERVICE_STATUS_HANDLE statusHandle = nullptr;
    KernelHandle serviceDoneEvent;
    KernelHandle stopRequestedEvent;
    KernelHandle serviceStartedEvent;
    char serviceName[sizeof "Kovra Service"] = "Kovra Service";
};

PerProcess<ServiceState> service;

PerProcess<std::int32_t> tickCounter;

constexpr DWORD stateBits = 0x7F;
constexpr DWORD serviceThreadUp = 0x80; // it may still use a handle of the record
constexpr DWORD oneReport = 0x100;

/// Reports the state to the service manager; 0 reports the current one again. Nothing is reported behind
/// SERVICE_STOPPED: from the moment it is stored no report begins, and it waits for those that have begun.
void setServiceState(DWORD state) {
    std::atomic<DWORD>& word = service->currentState;
    SERVICE_STATUS report = service->status;
    DWORD seen = word;
    do {
        if ((seen & stateBits) == SERVICE_STOPPED)
            return;
        report.dwCurrentState = state != 0 ? state : seen & stateBits;
    } while (!word.compare_exchange_weak(seen, (seen & ~stateBits) + oneReport + report.dwCurrentState));
    while (state == SERVICE_STOPPED && (word & ~serviceThreadUp) != oneReport + SERVICE_STOPPED)
        Sleep(1); // as long as the other thread takes for one call of the service manager
    SetServiceStatus(service->statusHandle, &report);
    word -= oneReport;
}

void WINAPI serviceControlHandler(DWORD control) {
    if (control == SERVICE_CONTROL_STOP || control == SERVICE_CONTROL_SHUTDOWN) {
        setServiceState(SERVICE_STOP_PENDING);
        SetEvent(service->stopRequestedEvent.get());
    } else {
        setServiceState(0);
    }
}

void WINAPI serviceMain(DWORD, LPSTR*) {
    service->currentState |= serviceThreadUp;
    service->status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    service->status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;
    service->statusHandle = RegisterServiceCtrlHandlerA(service->serviceName, serviceControlHandler);
    setServiceState(SERVICE_START_PENDING);
    // Behind the started event the record belongs to the main thread, which also closes the handles.
    HANDLE done = service->serviceDoneEvent.get();
    SetEvent(service->serviceStartedEvent.get());
    WaitForSingleObject(done, INFINITE);
    service->currentState &= ~serviceThreadUp;
}

DWORD WINAPI serviceThreadMain(LPVOID) {
    const SERVICE_TABLE_ENTRYA table[] = {{service->serviceName, serviceMain}, {nullptr, nullptr}};
    StartServiceCtrlDispatcherA(table);
    return 0;
}

KernelHandle startDispatcherThread() {
    return KernelHandle{CreateThread(nullptr, 0, serviceThreadMain, nullptr, 0, nullptr)};
}

KernelHandle makeEvent() {
    return KernelHandle{CreateEventA(nullptr, TRUE, FALSE, nullptr)};
}

void writeEventLog(const char* text) {
    const EventSourceHandle log{RegisterEventSourceA(nullptr, "Kovra")};
    LPCSTR strings[] = {text};
    ReportEventA(log.get(), EVENTLOG_INFORMATION_TYPE, 0, 0, nullptr, 1, 0, strings, nullptr);
}

/// The service manager starts the service as soon as the former instance has reported that it is stopped,
/// which is a little ahead of that one's end. So a first yes isn't believed.
bool doesAnotherInstanceStay() {
    constexpr DWORD patienceMs = 3000; // the service manager itself has 30 seconds
    constexpr DWORD betweenLooksMs = 100;
    const DWORD start = GetTickCount();
    while (isAnotherInstanceRunning()) {
        if (GetTickCount() - start >= patienceMs)
            return true;
        Sleep(betweenLooksMs);
    }
    return false;
}

/// One pass of the main loop; no to leave the loop.
bool serviceTick() {
    constexpr std::int32_t lastTick = 10000;
    watchSessions(*tickCounter);
    servicePipe();
    *tickCounter = *tickCounter == lastTick ? 0 : *tickCounter + 1;
    if (appRunState->exitRequested) {
        writeLog(L"Application requested service exit True");
        return false;
    }
    return true;
}

void runMainLoop() {
    // The file-system object makes this thread a COM apartment, whose messages others may wait for.
    while (serviceTick() &&
           WaitForSingleObject(service->stopRequestedEvent.get(), loopWaitMs) == WAIT_TIMEOUT)
        runPendingMessages();
    // Behind `exit` its answer has its time to be read. A stop doesn't wait for a client, then or before.
    while (isReplyStanding() &&
           WaitForSingleObject(service->stopRequestedEvent.get(), replyLookMs) == WAIT_TIMEOUT) {
    }
}

} // namespace

void runService() {
    if (!isNtBased() || doesAnotherInstanceStay())
        return;
    service->serviceDoneEvent = makeEvent();
    service->stopRequestedEvent = makeEvent();
    service->serviceStartedEvent = makeEvent();
    // The dispatcher call blocks until the service has stopped, so it has a thread of its own.
    KernelHandle dispatcher = startDispatcherThread();
    const HANDLE startOrEnd[] = {dispatcher.get(), service->serviceStartedEvent.get()};
    const DWORD fired = WaitForMultipleObjects(2, startOrEnd, FALSE, INFINITE);
    appRunState->restartWhenExplorerStarts = false;
    appRunState->forcedSessionId = -1;
    if (fired == WAIT_OBJECT_0 + 1) {
        writeLog(L"Starting service...");
        setServiceState(SERVICE_RUNNING);
        writeEventLog("Kovra Service started");
        delayNextLaunch(2000);
        createPipe("\\\\.\\pipe\\kovraLauncherPipe");
        appRunState->exitRequested = false;
        runMainLoop();
        writeLog(L"End of main service loop");
        closePipe();
        setServiceState(SERVICE_STOPPED);
        writeEventLog("Kovra Service stopped");
        SetEvent(service->serviceDoneEvent.get());
        WaitForSingleObject(dispatcher.get(), INFINITE);
        // The dispatcher doesn't wait for the service thread, which may not have come to its wait yet.
        while ((service->currentState & serviceThreadUp) != 0)
            Sleep(1);
    } else {
        writeLog(L"Service couldn't be created !!!");
    }
    dispatcher.close();
    service->serviceDoneEvent.close();
    service->serviceStartedEvent.close();
    service->stopRequestedEvent.close();
    writeLog(L"Ending service");
    ExitProcess(0);
}

} // namespace kovra
