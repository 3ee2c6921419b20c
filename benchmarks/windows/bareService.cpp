#include "benchmarks/windows/fileSystemObject.h"

// The least of a service: makes the file-system object, reports that it runs, waits for its stop, and reports
// that.

namespace {

SERVICE_STATUS_HANDLE statusHandle;
HANDLE stopRequested;

void report(DWORD state) {
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwControlsAccepted = SERVICE_ACCEPT_STOP;
    status.dwCurrentState = state;
    SetServiceStatus(statusHandle, &status);
}

void WINAPI handleControl(DWORD control) {
    if (control == SERVICE_CONTROL_STOP)
        SetEvent(stopRequested);
}

void WINAPI serve(DWORD, LPSTR*) {
    statusHandle = RegisterServiceCtrlHandlerA("", handleControl);
    report(SERVICE_RUNNING);
    WaitForSingleObject(stopRequested, INFINITE);
    report(SERVICE_STOPPED);
}

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    makeFileSystemObject();
    char name[] = "";
    const SERVICE_TABLE_ENTRYA table[] = {{name, serve}, {nullptr, nullptr}};
    stopRequested = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    StartServiceCtrlDispatcherA(table);
    ExitProcess(0);
}
