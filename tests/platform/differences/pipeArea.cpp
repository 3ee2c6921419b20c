#include "platform/handles.h"
#include "tests/platform/contract.h"
#include "tests/platform/differences/areas.h"

#include <array>
#include <optional>

namespace kovra::differences {
namespace {

constexpr const char* messages[] = {"a", "hello", "", "a longer message"};

// The server's end of a message pipe, and two clients

FileHandle server;
std::array<std::optional<contract::PipeClient>, 2> clients;

std::string endPipe() {
    for (auto& client : clients)
        client.reset();
    server.close();
    return {};
}

std::string read(HANDLE pipe, DWORD size) {
    char bytes[128];
    DWORD got = 0;
    const bool isRead = ReadFile(pipe, bytes, size, &got, nullptr) != FALSE;
    const DWORD error = GetLastError();
    std::string outcome = shown({bytes, isRead ? got : 0});
    if (!isRead)
        outcome = error == ERROR_BROKEN_PIPE ? "broken"
                  : error == ERROR_NO_DATA   ? "nothing"
                  : error == ERROR_MORE_DATA ? "part"
                                             : "no";
    return "read(" + std::to_string(size) + ")=" + outcome;
}

std::string serverStep(Draw& draw) {
    if (!server) {
        SECURITY_DESCRIPTOR everybody{};
        InitializeSecurityDescriptor(&everybody, SECURITY_DESCRIPTOR_REVISION);
        SetSecurityDescriptorDacl(&everybody, TRUE, nullptr, FALSE);
        SECURITY_ATTRIBUTES attributes{sizeof attributes, &everybody, FALSE};
        server = FileHandle{CreateNamedPipeA("\\\\.\\pipe\\kovraContract", PIPE_ACCESS_DUPLEX,
                                             PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_NOWAIT, 10, 100,
                                             100, 100, &attributes)};
        return told("pipe", "", static_cast<bool>(server));
    }
    constexpr ULONG connectedState = 3;
    IO_STATUS_BLOCK status{};
    FILE_PIPE_LOCAL_INFORMATION information{};
    NtQueryInformationFile(server.get(), &status, &information, sizeof information, FilePipeLocalInformation);
    switch (draw.below(9)) {
    case 0:
        endPipe(); // the clients' next calls are no matter of the launcher's, which is gone
        return "close";
    case 1:
        if (information.NamedPipeState < connectedState)
            return {};
        DisconnectNamedPipe(server.get());
        return "disconnect";
    case 2:
        return told("connected", "", information.NamedPipeState == connectedState);
    case 3: {
        const std::string message = "reply " + std::to_string(draw.below(3));
        DWORD written = 0;
        WriteFile(server.get(), message.data(), static_cast<DWORD>(message.size()), &written, nullptr);
        return "write(" + message + ")"; // its outcome is what the client reads
    }
    case 4:
    case 5:
    case 6:
        return read(server.get(), draw.below(3) == 0 ? 3 : 100);
    default:
        ConnectNamedPipe(server.get(), nullptr);
        return "listen"; // its outcome is what the next call gives
    }
}

std::string clientStep(Draw& draw) {
    const std::uint32_t number = draw.below(2);
    std::optional<contract::PipeClient>& client = clients[number];
    const std::string who = std::to_string(number);
    if (!client) {
        client.emplace("kovraContract");
        const bool isConnected = client->connected();
        if (!isConnected)
            client.reset();
        return told("connect", who, isConnected);
    }
    switch (draw.below(6)) {
    case 0:
        client.reset();
        return "leave(" + who + ")";
    case 1:
        return told("stays", who, client->connected());
    case 2:
    case 3: {
        const std::optional<std::string> message = client->read();
        return "get(" + who + ")=" + (message ? shown(*message) : "no");
    }
    default:
        const std::string message = draw.of(messages);
        return told("send", who + "," + message, client->write(message));
    }
}

std::string pipeStep(Draw& draw) {
    return draw.below(5) < 3 ? serverStep(draw) : clientStep(draw);
}

} // namespace

const Area pipe{"pipe", pipeStep, endPipe};

} // namespace kovra::differences
