#include "tests/platform/contract.h"

namespace kovra::contract {
namespace {

/// The file name of the process in the list; empty when it isn't there.
std::string nameOf(DWORD id) {
    const SnapshotHandle snapshot{CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)};
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    BOOL more = Process32First(snapshot.get(), &entry);
    while (more && entry.th32ProcessID != id)
        more = Process32Next(snapshot.get(), &entry);
    return more ? entry.szExeFile : "";
}

CONTRACT_TEST(Processes, TheListHasEachWithItsFileUntilItIsEnded) {
    char path[MAX_PATH];
    const std::string own{path, GetModuleFileNameA(nullptr, path, sizeof path)};
    EXPECT_EQ(nameOf(GetCurrentProcessId()), own.substr(own.rfind('\\') + 1));
    const DWORD other = startOther();
    EXPECT_EQ(nameOf(other), otherProgram);
    DWORD session = 99;
    DWORD otherSession = 98;
    ProcessIdToSessionId(GetCurrentProcessId(), &session);
    ProcessIdToSessionId(other, &otherSession);
    EXPECT_EQ(session, otherSession);
    const KernelHandle opened{OpenProcess(PROCESS_TERMINATE, FALSE, other)};
    EXPECT_TRUE(TerminateProcess(opened.get(), 0));
    EXPECT_TRUE(soon([&] { return nameOf(other).empty(); }));
    EXPECT_BUT_NOT_UNDER_WINE(!TerminateProcess(opened.get(), 0), "it ends one that has ended");
    constexpr DWORD nobody = 0x7FFFFFF0;
    EXPECT_FALSE(KernelHandle{OpenProcess(PROCESS_TERMINATE, FALSE, nobody)});
    EXPECT_FALSE(ProcessIdToSessionId(nobody, &session));
}

CONTRACT_TEST(Processes, AnAdministratorMayDebug) {
    KernelHandle token;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.out()));
    TOKEN_PRIVILEGES privileges{1, {{{}, SE_PRIVILEGE_ENABLED}}};
    EXPECT_TRUE(LookupPrivilegeValueA("", "SeDebugPrivilege", &privileges.Privileges[0].Luid));
    EXPECT_TRUE(AdjustTokenPrivileges(token.get(), FALSE, &privileges, sizeof privileges, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

/// What a program writes into a pipe until it has ended, read in pieces; "-" when it couldn't be started.
std::string outputOf(std::string commandLine, BOOL isInheritable, BOOL inherits) {
    SECURITY_ATTRIBUTES attributes{sizeof attributes, nullptr, isInheritable};
    KernelHandle readEnd;
    KernelHandle writeEnd;
    EXPECT_TRUE(CreatePipe(readEnd.out(), writeEnd.out(), &attributes, 0));
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    startup.hStdOutput = startup.hStdError = writeEnd.get();
    PROCESS_INFORMATION information{};
    const BOOL done = CreateProcessA(nullptr, commandLine.data(), &attributes, &attributes, inherits,
                                     NORMAL_PRIORITY_CLASS, nullptr, nullptr, &startup, &information);
    const KernelHandle process{information.hProcess};
    const KernelHandle thread{information.hThread};
    writeEnd.close(); // or the end of the data would never come
    std::string output = done ? "" : "-";
    char piece[4];
    DWORD size = 0;
    while (ReadFile(readEnd.get(), piece, sizeof piece, &size, nullptr))
        output.append(piece, size);
    return output;
}

CONTRACT_TEST(Processes, AProgramWritesIntoThePipeThatItInherits) {
    EXPECT_EQ(outputOf(sayHello, TRUE, TRUE), "hello\r\n");
    EXPECT_EQ(outputOf(sayHello, FALSE, TRUE), "");
    EXPECT_BUT_NOT_UNDER_WINE(outputOf(sayHello, TRUE, FALSE).empty(),
                              "it hands standard handles on all the same");
    EXPECT_EQ(outputOf("kovraNoSuchProgram", TRUE, TRUE), "-");
}

ServiceManagerHandle manager(DWORD access = SC_MANAGER_CREATE_SERVICE) {
    return ServiceManagerHandle{OpenSCManagerA(nullptr, nullptr, access)};
}

ServiceHandle create(DWORD access = SC_MANAGER_CREATE_SERVICE) {
    return ServiceHandle{CreateServiceA(manager(access).get(), "KovraContract", "Kovra", SERVICE_ALL_ACCESS,
                                        SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                                        "C:\\Kovra.exe", nullptr, nullptr, nullptr, nullptr, nullptr)};
}

ServiceHandle open(DWORD access = SERVICE_ALL_ACCESS) {
    return ServiceHandle{OpenServiceA(manager(SC_MANAGER_ENUMERATE_SERVICE).get(), "kovracontract", access)};
}

CONTRACT_TEST(Services, OneOfANameIsMadeAndGoesWithItsLastHandle) {
    EXPECT_FALSE(create(SC_MANAGER_ENUMERATE_SERVICE)) << "the right to make one is missing";
    EXPECT_FALSE(open());
    ServiceHandle service = create();
    EXPECT_TRUE(service);
    EXPECT_FALSE(create());
    EXPECT_FALSE(DeleteService(open(SERVICE_QUERY_STATUS).get())) << "the right to is missing";
    EXPECT_TRUE(DeleteService(open().get()));
    EXPECT_TRUE(open(SERVICE_QUERY_STATUS)) << "still there";
    EXPECT_FALSE(DeleteService(service.get())) << "but once";
    EXPECT_FALSE(create());
    service.close();
    EXPECT_FALSE(open());
    EXPECT_TRUE(DeleteService(create().get()));
}

void WINAPI serve(DWORD, LPSTR*) {
    ADD_FAILURE();
}

CONTRACT_TEST(Services, AProgramThatIsNoneGetsNoServiceThread) {
    char text[] = "Kovra";
    const SERVICE_TABLE_ENTRYA table[] = {{text, serve}, {nullptr, nullptr}};
    EXPECT_FALSE(StartServiceCtrlDispatcherA(table));
}

CONTRACT_TEST(Services, AnEventIsLogged) {
    const EventSourceHandle log{RegisterEventSourceA(nullptr, "Kovra")};
    LPCSTR strings[] = {"text"};
    EXPECT_TRUE(ReportEventA(log.get(), EVENTLOG_INFORMATION_TYPE, 0, 0, nullptr, 1, 0, strings, nullptr));
}

} // namespace
} // namespace kovra::contract
