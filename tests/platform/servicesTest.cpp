#include "tests/platform/contract.h"

namespace kovra::contract {
namespace {

const char* const name = "KovraContract";

ServiceManagerHandle manager(DWORD access = SC_MANAGER_CREATE_SERVICE) {
    ServiceManagerHandle opened{OpenSCManagerA(nullptr, nullptr, access)};
    EXPECT_TRUE(opened);
    return opened;
}

ServiceHandle create(const ServiceManagerHandle& manager) {
    return ServiceHandle{CreateServiceA(
        manager.get(), name, name, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
        SERVICE_ERROR_NORMAL, "\"C:\\Kovra.exe\" -service", nullptr, nullptr, nullptr, nullptr, nullptr)};
}

ServiceHandle open(const ServiceManagerHandle& manager, DWORD access = SERVICE_ALL_ACCESS) {
    return ServiceHandle{OpenServiceA(manager.get(), "kovracontract", access)};
}

CONTRACT_TEST(Services, OneOfANameIsMadeAndGoesWithItsLastHandle) {
    EXPECT_FALSE(create(manager(SC_MANAGER_ENUMERATE_SERVICE))) << "the right to make one is missing";
    EXPECT_FALSE(open(manager()));
    ServiceHandle service = create(manager());
    EXPECT_TRUE(service);
    EXPECT_FALSE(create(manager()));
    EXPECT_TRUE(open(manager(SC_MANAGER_ENUMERATE_SERVICE), SERVICE_QUERY_STATUS));
    EXPECT_FALSE(DeleteService(open(manager(), SERVICE_QUERY_STATUS).get())) << "the right to is missing";
    EXPECT_TRUE(open(manager()));
    EXPECT_TRUE(DeleteService(open(manager()).get()));
    EXPECT_TRUE(open(manager(), SERVICE_QUERY_STATUS)) << "still there";
    EXPECT_FALSE(DeleteService(service.get())) << "but once";
    EXPECT_FALSE(create(manager()));
    service.close();
    EXPECT_FALSE(open(manager()));
    EXPECT_TRUE(DeleteService(create(manager()).get()));
}

bool isServed = false;

void WINAPI serve(DWORD, LPSTR*) {
    isServed = true;
}

CONTRACT_TEST(Services, AProgramThatIsNoneGetsNoServiceThread) {
    char text[] = "Kovra";
    const SERVICE_TABLE_ENTRYA table[] = {{text, serve}, {nullptr, nullptr}};
    EXPECT_FALSE(StartServiceCtrlDispatcherA(table));
    EXPECT_FALSE(isServed);
}

CONTRACT_TEST(Services, AnEventIsLogged) {
    const EventSourceHandle log{RegisterEventSourceA(nullptr, "Kovra")};
    EXPECT_TRUE(log);
    LPCSTR strings[] = {"text"};
    EXPECT_TRUE(ReportEventA(log.get(), EVENTLOG_INFORMATION_TYPE, 0, 0, nullptr, 1, 0, strings, nullptr));
}

} // namespace
} // namespace kovra::contract
