#include "tests/platform/contract.h"

#include "platform/systemFunction.h"

namespace kovra::contract {
namespace {

const std::string pipeName = "KovraContract";
constexpr DWORD quota = 100;

void listen(const FileHandle& server) {
    ConnectNamedPipe(server.get(), nullptr);
}

void drop(const FileHandle& server) {
    DisconnectNamedPipe(server.get());
}

/// The server's end of a no-wait message pipe, open to everybody, that listens.
FileHandle makeServer() {
    const HGLOBAL descriptor = GlobalAlloc(GMEM_ZEROINIT, sizeof(SECURITY_DESCRIPTOR));
    EXPECT_TRUE(InitializeSecurityDescriptor(descriptor, SECURITY_DESCRIPTOR_REVISION));
    EXPECT_TRUE(SetSecurityDescriptorDacl(descriptor, TRUE, nullptr, FALSE));
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, TRUE};
    FileHandle server{CreateNamedPipeA(("\\\\.\\pipe\\" + pipeName).c_str(), PIPE_ACCESS_DUPLEX,
                                       PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_NOWAIT, 10, quota,
                                       quota, 100, &attributes)};
    EXPECT_TRUE(server);
    EXPECT_EQ(GlobalFree(descriptor), nullptr);
    listen(server);
    return server;
}

/// What has been read, and behind it why the call has failed, where it has.
std::string read(const FileHandle& server, DWORD size = quota) {
    char buffer[quota];
    DWORD count = 0;
    if (ReadFile(server.get(), buffer, size, &count, nullptr))
        return {buffer, count};
    const DWORD error = GetLastError();
    return std::string{buffer, count} + (error == ERROR_PIPE_LISTENING       ? "(listening)"
                                         : error == ERROR_NO_DATA            ? "(silent)"
                                         : error == ERROR_BROKEN_PIPE        ? "(broken)"
                                         : error == ERROR_PIPE_NOT_CONNECTED ? "(not connected)"
                                         : error == ERROR_MORE_DATA          ? "(more)"
                                                                             : std::to_string(error));
}

bool write(const FileHandle& server, const std::string& message) {
    DWORD written = 0;
    return WriteFile(server.get(), message.data(), static_cast<DWORD>(message.size()), &written, nullptr) !=
           FALSE;
}

bool canConnect(const std::string& name = pipeName) {
    return PipeClient{name}.connected();
}

CONTRACT_TEST(Pipe, AReadTellsTheStateWithoutWaitingAndTheInstanceIsOneClients) {
    const FileHandle server = makeServer();
    EXPECT_EQ(read(server), "(listening)");
    PipeClient client{"kovracontract"};
    EXPECT_EQ(read(server), "(silent)");
    EXPECT_FALSE(canConnect());
    client.close();
    EXPECT_EQ(read(server), "(broken)");
    listen(server);
    EXPECT_EQ(read(server), "(broken)") << "until it is dropped";
    EXPECT_FALSE(canConnect());
    drop(server);
    EXPECT_EQ(read(server), "(not connected)");
    EXPECT_FALSE(canConnect());
    listen(server);
    EXPECT_EQ(read(server), "(listening)");
    EXPECT_FALSE(canConnect("KovraOther"));
    EXPECT_TRUE(canConnect());
}

CONTRACT_TEST(Pipe, MessagesStayApartAndOutliveTheirSender) {
    const FileHandle server = makeServer();
    PipeClient client{pipeName};
    for (const char* message : {"one", "hello", "", "last"})
        EXPECT_TRUE(client.write(message));
    client.close();
    EXPECT_EQ(read(server), "one");
    EXPECT_EQ(read(server, 3), "hel(more)");
    EXPECT_EQ(read(server), "lo");
    EXPECT_EQ(read(server), "");
    EXPECT_EQ(read(server, 4), "last") << "just room";
    EXPECT_EQ(read(server), "(broken)");
}

CONTRACT_TEST(Pipe, RepliesReachTheClientUntilItIsDropped) {
    const FileHandle server = makeServer();
    EXPECT_FALSE(write(server, "nobody"));
    PipeClient client{pipeName};
    for (const char* message : {"one", "two", "lost"})
        EXPECT_TRUE(write(server, message));
    EXPECT_EQ(client.read(), "one");
    EXPECT_EQ(client.read(), "two");
    EXPECT_TRUE(client.write("lost"));
    drop(server);
    EXPECT_FALSE(client.connected());
    EXPECT_FALSE(client.write("too late"));
    EXPECT_EQ(client.read(), std::nullopt);
    listen(server);
    const PipeClient next{pipeName};
    EXPECT_EQ(read(server), "(silent)");
}

CONTRACT_TEST(Pipe, AQueryTellsTheStateAndWhatIsUnread) {
    const FileHandle server = makeServer();
    PipeClient client{pipeName};

    const struct {
        ULONG state;
        ULONG used;
        void (*andThen)(const FileHandle&, PipeClient&);
    } steps[] = {
        {3, 0, [](const FileHandle& pipe, PipeClient&) { EXPECT_TRUE(write(pipe, "hello")); }},
        {3, 5, [](const FileHandle&, PipeClient& end) { EXPECT_EQ(end.read(), "hello"); }},
        {3, 0, [](const FileHandle&, PipeClient& end) { end.close(); }},
        {4, 0, [](const FileHandle& pipe, PipeClient&) { drop(pipe); }},
    };

    for (const auto& each : steps) {
        IO_STATUS_BLOCK status{};
        FILE_PIPE_LOCAL_INFORMATION information{};
        EXPECT_EQ(NtQueryInformationFile(server.get(), &status, &information, sizeof information,
                                         FilePipeLocalInformation),
                  0);
        EXPECT_EQ(information.NamedPipeState, each.state);
        EXPECT_EQ(information.OutboundQuota, quota);
        EXPECT_BUT_NOT_UNDER_WINE(information.WriteQuotaAvailable == quota - each.used,
                                  "it tells nothing free");
        each.andThen(server, client);
    }
}

/// The token of the client whose message comes; empty when it isn't to be had.
KernelHandle tokenOfClient(const FileHandle& server, PipeClient& client) {
    KernelHandle token;
    EXPECT_TRUE(client.write("hello"));
    EXPECT_BUT_NOT_UNDER_WINE(!ImpersonateNamedPipeClient(server.get()),
                              "a client that has said nothing is enough");
    EXPECT_TRUE(RevertToSelf());
    EXPECT_EQ(read(server), "hello");
    EXPECT_TRUE(ImpersonateNamedPipeClient(server.get()));
    OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.out());
    EXPECT_TRUE(RevertToSelf());
    return token;
}

CONTRACT_TEST(Pipe, AClientIsKnownBehindItsFirstMessage) {
    const FileHandle server = makeServer();
    PipeClient client{pipeName};
    const KernelHandle token = tokenOfClient(server, client);
    ASSERT_TRUE(token);
    SID network{SID_REVISION, 1, SECURITY_NT_AUTHORITY, {SECURITY_NETWORK_RID}};
    BOOL isMember = TRUE;
    EXPECT_TRUE(CheckTokenMembership(token.get(), &network, &isMember));
    EXPECT_FALSE(isMember);
    KernelHandle none;
    EXPECT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, none.out()))
        << "the thread is itself again";
    const auto computer =
        findSystemFunction<BOOL(WINAPI*)(HANDLE, LPSTR, ULONG)>("GetNamedPipeClientComputerNameA");
    char name[MAX_PATH];
    EXPECT_BUT_NOT_UNDER_WINE(computer != nullptr && !computer(server.get(), name, sizeof name) &&
                                  GetLastError() == ERROR_PIPE_LOCAL,
                              "it has no such function");
    EXPECT_EQ(findSystemFunction<FARPROC>("NoSuchFunction"), nullptr);
}

CONTRACT_TEST(Pipe, AnAnonymousClientHasNoTokenToOpen) {
    const FileHandle server = makeServer();
    PipeClient client{pipeName, true};
    EXPECT_BUT_NOT_UNDER_WINE(!tokenOfClient(server, client), "it knows no levels of impersonation");
}

} // namespace
} // namespace kovra::contract
