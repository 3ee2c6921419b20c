#include "tests/platform/contract.h"

#include "platform/systemFunction.h"

#include <utility>

namespace kovra::contract {
namespace {

const std::string pipeName = "KovraContract";
constexpr DWORD quota = 100;
constexpr ULONG connectedState = 3;
constexpr ULONG closingState = 4;

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
    ConnectNamedPipe(server.get(), nullptr);
    return server;
}

/// What has been read, and why the call has failed, where it has.
using Outcome = std::pair<std::string, DWORD>;

Outcome read(const FileHandle& server, DWORD size = quota) {
    char buffer[quota];
    DWORD count = 0;
    const DWORD error = ReadFile(server.get(), buffer, size, &count, nullptr) ? 0 : GetLastError();
    return {{buffer, count}, error};
}

bool write(const FileHandle& server, const std::string& message) {
    DWORD written = 0;
    return WriteFile(server.get(), message.data(), static_cast<DWORD>(message.size()), &written, nullptr) !=
           FALSE;
}

bool canConnect() {
    return PipeClient{pipeName}.connected();
}

CONTRACT_TEST(Pipe, AReadTellsTheStateWithoutWaitingAndTheInstanceIsOneClients) {
    EXPECT_FALSE(canConnect());
    const FileHandle server = makeServer();
    EXPECT_EQ(read(server), Outcome("", ERROR_PIPE_LISTENING));
    EXPECT_FALSE(write(server, "nobody"));
    PipeClient client{"kovracontract"};
    EXPECT_EQ(read(server), Outcome("", ERROR_NO_DATA));
    EXPECT_FALSE(canConnect());
    for (const char* message : {"one", "hello", "", "last"})
        EXPECT_TRUE(client.write(message));
    client.close();
    EXPECT_EQ(read(server), Outcome("one", 0)) << "it outlives its sender";
    EXPECT_EQ(read(server, 3), Outcome("hel", ERROR_MORE_DATA));
    EXPECT_EQ(read(server), Outcome("lo", 0));
    EXPECT_EQ(read(server), Outcome("", 0));
    EXPECT_EQ(read(server, 4), Outcome("last", 0)) << "just room";
    EXPECT_EQ(read(server), Outcome("", ERROR_BROKEN_PIPE));
    ConnectNamedPipe(server.get(), nullptr);
    EXPECT_EQ(read(server), Outcome("", ERROR_BROKEN_PIPE)) << "until it is dropped";
    EXPECT_FALSE(canConnect());
    DisconnectNamedPipe(server.get());
    EXPECT_EQ(read(server), Outcome("", ERROR_PIPE_NOT_CONNECTED));
    EXPECT_FALSE(canConnect());
    ConnectNamedPipe(server.get(), nullptr);
    EXPECT_EQ(read(server), Outcome("", ERROR_PIPE_LISTENING));
    EXPECT_TRUE(canConnect());
}

CONTRACT_TEST(Pipe, RepliesStandUntilTheClientReadsThemOrIsDropped) {
    const FileHandle server = makeServer();
    PipeClient client{pipeName};
    const auto expect = [&](ULONG state, ULONG unread) {
        IO_STATUS_BLOCK status{};
        FILE_PIPE_LOCAL_INFORMATION information{};
        EXPECT_EQ(NtQueryInformationFile(server.get(), &status, &information, sizeof information,
                                         FilePipeLocalInformation),
                  0);
        EXPECT_EQ(information.NamedPipeState, state);
        EXPECT_EQ(information.OutboundQuota, quota);
        EXPECT_BUT_NOT_UNDER_WINE(information.WriteQuotaAvailable == quota - unread, "it tells nothing free");
    };
    expect(connectedState, 0);
    EXPECT_TRUE(write(server, "one"));
    EXPECT_TRUE(write(server, "hello"));
    expect(connectedState, 8);
    EXPECT_EQ(client.read(), "one");
    EXPECT_EQ(client.read(), "hello");
    expect(connectedState, 0);
    EXPECT_TRUE(write(server, "lost"));
    EXPECT_TRUE(client.write("lost"));
    DisconnectNamedPipe(server.get());
    EXPECT_FALSE(client.connected());
    EXPECT_FALSE(client.write("too late"));
    EXPECT_EQ(client.read(), std::nullopt);
    ConnectNamedPipe(server.get(), nullptr);
    PipeClient next{pipeName};
    EXPECT_EQ(read(server), Outcome("", ERROR_NO_DATA));
    next.close();
    expect(closingState, 0);
}

/// The token of the client whose message comes; empty when it isn't to be had.
KernelHandle tokenOfClient(const FileHandle& server, PipeClient&& client) {
    KernelHandle token;
    client.write("hello");
    EXPECT_BUT_NOT_UNDER_WINE(!ImpersonateNamedPipeClient(server.get()),
                              "a client that has said nothing is enough");
    RevertToSelf();
    EXPECT_EQ(read(server), Outcome("hello", 0));
    EXPECT_TRUE(ImpersonateNamedPipeClient(server.get()));
    OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.out());
    EXPECT_TRUE(RevertToSelf());
    EXPECT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, KernelHandle{}.out()));
    return token;
}

CONTRACT_TEST(Pipe, AClientIsKnownBehindItsFirstMessage) {
    const FileHandle server = makeServer();
    const KernelHandle token = tokenOfClient(server, PipeClient{pipeName});
    SID network{SID_REVISION, 1, SECURITY_NT_AUTHORITY, {SECURITY_NETWORK_RID}};
    BOOL isMember = TRUE;
    EXPECT_TRUE(CheckTokenMembership(token.get(), &network, &isMember));
    EXPECT_FALSE(isMember);
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
    EXPECT_BUT_NOT_UNDER_WINE(!tokenOfClient(server, PipeClient{pipeName, true}),
                              "it knows no levels of impersonation");
}

FileHandle openMailslot(const std::string& name, DWORD share = FILE_SHARE_READ) {
    return FileHandle{CreateFileA(("\\\\.\\mailslot\\" + name).c_str(), GENERIC_WRITE, share, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)};
}

CONTRACT_TEST(Mailslot, OpensWhereItIsAndTakesEachMessageAsItIs) {
    EXPECT_FALSE(openMailslot("KovraContract"));
    makeMailslot("KovraContract");
    EXPECT_FALSE(openMailslot("KovraContract1"));
    EXPECT_FALSE(openMailslot("KovraContract", 0)) << "it is shared with its reader";
    const FileHandle opened = openMailslot("kovracontract");
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(opened.get(), "one", 4, &written, nullptr));
    EXPECT_TRUE(WriteFile(opened.get(), "two", 3, &written, nullptr));
    EXPECT_EQ(readMailslot("KovraContract"), (std::string{"one\0", 4}));
    EXPECT_EQ(readMailslot("KovraContract"), "two");
}

} // namespace
} // namespace kovra::contract
