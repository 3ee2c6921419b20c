#include "tests/platform/contract.h"

namespace kovra::contract {
namespace {

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
    LPCSTR strings[] = {"text"};
    EXPECT_TRUE(ReportEventA(log.get(), EVENTLOG_INFORMATION_TYPE, 0, 0, nullptr, 1, 0, strings, nullptr));
}

} // namespace
} // namespace kovra::contract
