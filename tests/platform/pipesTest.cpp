#include "tests/platform/contract.h"

#include "platform/handles.h"
#include "platform/systemFunction.h"

#include <string>

namespace kovra::contract {
namespace {

const std::string pipeName = "KovraContract";
constexpr DWORD quota = 100;

/// The server's end of a no-wait message pipe that is open to everybody.
class Server {
public:
    Server() : descriptor_(GlobalAlloc(GMEM_ZEROINIT, sizeof(SECURITY_DESCRIPTOR))) {
        EXPECT_TRUE(InitializeSecurityDescriptor(descriptor_, SECURITY_DESCRIPTOR_REVISION));
        EXPECT_TRUE(SetSecurityDescriptorDacl(descriptor_, TRUE, nullptr, FALSE));
        SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor_, TRUE};
        pipe_ = FileHandle{CreateNamedPipeA(("\\\\.\\pipe\\" + pipeName).c_str(), PIPE_ACCESS_DUPLEX,
                                            PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_NOWAIT, 10,
                                            quota, quota, 100, &attributes)};
        EXPECT_TRUE(pipe_);
        listen();
    }

    ~Server() { EXPECT_EQ(GlobalFree(descriptor_), nullptr); }

    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void listen() const { ConnectNamedPipe(pipe_.get(), nullptr); }

    void drop() const { DisconnectNamedPipe(pipe_.get()); }

    /// What has been read, and the error's number behind it in brackets where the call has failed.
    [[nodiscard]] std::string read(DWORD size = quota) const {
        char buffer[quota];
        DWORD count = 0;
        const BOOL done = ReadFile(pipe_.get(), buffer, size, &count, nullptr);
        const std::string error = done ? "" : "(" + std::to_string(GetLastError()) + ")";
        return std::string{buffer, count} + error;
    }

    [[nodiscard]] BOOL write(const std::string& message) const {
        DWORD written = 0;
        return WriteFile(pipe_.get(), message.data(), static_cast<DWORD>(message.size()), &written, nullptr);
    }

    [[nodiscard]] FILE_PIPE_LOCAL_INFORMATION query() const {
        IO_STATUS_BLOCK status{};
        FILE_PIPE_LOCAL_INFORMATION information{};
        EXPECT_EQ(NtQueryInformationFile(pipe_.get(), &status, &information, sizeof information,
                                         FilePipeLocalInformation),
                  0);
        return information;
    }

    [[nodiscard]] HANDLE get() const { return pipe_.get(); }

private:
    HGLOBAL descriptor_;
    FileHandle pipe_;
};

const std::string listening = "(" + std::to_string(ERROR_PIPE_LISTENING) + ")";
const std::string silent = "(" + std::to_string(ERROR_NO_DATA) + ")";
const std::string broken = "(" + std::to_string(ERROR_BROKEN_PIPE) + ")";
const std::string notConnected = "(" + std::to_string(ERROR_PIPE_NOT_CONNECTED) + ")";
const std::string more = "(" + std::to_string(ERROR_MORE_DATA) + ")";

CONTRACT_TEST(Pipe, AReadTellsTheStateWithoutWaiting) {
    const Server server;
    EXPECT_EQ(server.read(), listening);
    PipeClient client{"kovracontract"};
    EXPECT_EQ(server.read(), silent);
    client.close();
    EXPECT_EQ(server.read(), broken);
    server.listen();
    EXPECT_EQ(server.read(), broken) << "until it is dropped";
    server.drop();
    EXPECT_EQ(server.read(), notConnected);
    server.listen();
    EXPECT_EQ(server.read(), listening);
}

CONTRACT_TEST(Pipe, TheInstanceIsOneClients) {
    const Server server;
    PipeClient client{pipeName};
    EXPECT_TRUE(client.connected());
    EXPECT_FALSE(PipeClient{pipeName}.connected());
    client.close();
    EXPECT_FALSE(PipeClient{pipeName}.connected()) << "one that has gone still holds it";
    server.drop();
    EXPECT_FALSE(PipeClient{pipeName}.connected());
    server.listen();
    EXPECT_TRUE(PipeClient{pipeName}.connected());
    EXPECT_FALSE(PipeClient{"KovraOther"}.connected());
}

CONTRACT_TEST(Pipe, MessagesStayApartAndOutliveTheirSender) {
    const Server server;
    PipeClient client{pipeName};
    for (const char* message : {"one", "hello", "", "last"})
        EXPECT_TRUE(client.write(message));
    client.close();
    EXPECT_EQ(server.read(), "one");
    EXPECT_EQ(server.read(3), "hel" + more);
    EXPECT_EQ(server.read(), "lo");
    EXPECT_EQ(server.read(), "");
    EXPECT_EQ(server.read(4), "last") << "just room";
    EXPECT_EQ(server.read(), broken);
}

CONTRACT_TEST(Pipe, RepliesReachTheClient) {
    const Server server;
    EXPECT_FALSE(server.write("nobody"));
    PipeClient client{pipeName};
    EXPECT_TRUE(server.write("one"));
    EXPECT_TRUE(server.write("two"));
    EXPECT_EQ(client.read(), "one");
    EXPECT_EQ(client.read(), "two");
    EXPECT_EQ(client.read(), std::nullopt);
}

CONTRACT_TEST(Pipe, DroppingAClientLosesWhatIsUnread) {
    const Server server;
    PipeClient client{pipeName};
    EXPECT_TRUE(client.write("lost"));
    EXPECT_TRUE(server.write("lost"));
    server.drop();
    EXPECT_FALSE(client.connected());
    EXPECT_FALSE(client.write("too late"));
    EXPECT_EQ(client.read(), std::nullopt);
    server.listen();
    const PipeClient next{pipeName};
    EXPECT_EQ(server.read(), silent);
}

CONTRACT_TEST(Pipe, AQueryTellsTheStateAndWhatIsUnread) {
    constexpr ULONG connected = 3;
    const char* const reason = "it tells no quota";
    const Server server;
    EXPECT_NE(server.query().NamedPipeState, connected);
    EXPECT_EQ(server.query().OutboundQuota, quota);
    EXPECT_BUT_NOT_UNDER_WINE(server.query().WriteQuotaAvailable == quota, reason);
    PipeClient client{pipeName};
    EXPECT_EQ(server.query().NamedPipeState, connected);
    EXPECT_TRUE(server.write("hello"));
    EXPECT_BUT_NOT_UNDER_WINE(server.query().WriteQuotaAvailable == quota - 5, reason);
    EXPECT_EQ(client.read(), "hello");
    EXPECT_BUT_NOT_UNDER_WINE(server.query().WriteQuotaAvailable == quota, reason);
    client.close();
    EXPECT_NE(server.query().NamedPipeState, connected);
}

/// The token of the client that the pipe has; empty when it isn't to be had.
KernelHandle tokenOfClient(const Server& server) {
    KernelHandle token;
    EXPECT_TRUE(ImpersonateNamedPipeClient(server.get()));
    OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.out());
    EXPECT_TRUE(RevertToSelf());
    return token;
}

CONTRACT_TEST(Pipe, AClientIsKnownBehindItsFirstMessage) {
    const Server server;
    const HANDLE thread = GetCurrentThread();
    PipeClient client{pipeName};
    EXPECT_TRUE(client.write("hello"));
    EXPECT_BUT_NOT_UNDER_WINE(!ImpersonateNamedPipeClient(server.get()), "the connection is enough");
    EXPECT_TRUE(RevertToSelf());
    EXPECT_EQ(server.read(), "hello");
    const KernelHandle token = tokenOfClient(server);
    ASSERT_TRUE(token);
    SID network{SID_REVISION, 1, SECURITY_NT_AUTHORITY, {SECURITY_NETWORK_RID}};
    BOOL isMember = TRUE;
    EXPECT_TRUE(CheckTokenMembership(token.get(), &network, &isMember));
    EXPECT_FALSE(isMember);
    KernelHandle none;
    EXPECT_FALSE(OpenThreadToken(thread, TOKEN_QUERY, TRUE, none.out())) << "the thread is itself again";
    const auto computer =
        findSystemFunction<BOOL(WINAPI*)(HANDLE, LPSTR, ULONG)>("GetNamedPipeClientComputerNameA");
    char name[MAX_PATH];
    EXPECT_BUT_NOT_UNDER_WINE(computer != nullptr && !computer(server.get(), name, sizeof name) &&
                                  GetLastError() == ERROR_PIPE_LOCAL,
                              "it has no such function");
    EXPECT_EQ(findSystemFunction<FARPROC>("NoSuchFunction"), nullptr);
}

CONTRACT_TEST(Pipe, AnAnonymousClientHasNoTokenToOpen) {
    const Server server;
    PipeClient client{pipeName, true};
    EXPECT_TRUE(client.write("hello"));
    EXPECT_EQ(server.read(), "hello");
    EXPECT_BUT_NOT_UNDER_WINE(!tokenOfClient(server), "it knows no levels of impersonation");
}

} // namespace
} // namespace kovra::contract
