#include "platform/simulated/pipes.h"

#include "platform/simulated/machine.h"

#include <algorithm>
#include <cstring>

namespace kovra::simulated {

bool PipeClient::connect(std::string_view name) {
    for (const std::shared_ptr<Pipe>& pipe : machine_.pipes.pipes)
        if (sameAnsiName(pipe->name, name) && pipe->state == Pipe::State::listening && pipe->openToEveryone)
            pipe_ = pipe;
    if (pipe_ == nullptr)
        return false;
    pipe_->state = Pipe::State::connected;
    pipe_->client = this;
    pipe_->clientIdentity = identity;
    return true;
}

bool PipeClient::write(std::string_view message) {
    if (pipe_ == nullptr)
        return false;
    pipe_->toServer.emplace_back(message);
    return true;
}

std::optional<std::string> PipeClient::read() {
    if (pipe_ == nullptr || pipe_->toClient.empty())
        return std::nullopt;
    const std::string reply = std::move(pipe_->toClient.front());
    pipe_->toClient.pop_front();
    return reply;
}

void PipeClient::close() {
    if (pipe_ == nullptr)
        return;
    pipe_->state = Pipe::State::clientGone;
    pipe_->client = nullptr;
    pipe_->toClient.clear();
    pipe_.reset();
}

void PipeClient::drop() {
    pipe_.reset();
    if (const auto dropped = onDropped)
        dropped();
}

void Pipes::tellWaiting() {
    for (const auto& retry : std::exchange(waiting_, {}))
        retry();
}

BOOL readMessage(Pipe& pipe, char* buffer, DWORD size, DWORD& read) {
    if (pipe.toServer.empty()) {
        constexpr DWORD errors[] = {ERROR_PIPE_NOT_CONNECTED, ERROR_PIPE_LISTENING, ERROR_NO_DATA,
                                    ERROR_BROKEN_PIPE};
        setLastError(errors[static_cast<std::size_t>(pipe.state)]);
        return FALSE;
    }
    machine().scheduler.work(pipeMessageMs);
    pipe.hasRead = true;
    std::string& message = pipe.toServer.front();
    read = static_cast<DWORD>(std::min<std::size_t>(size, message.size()));
    std::memcpy(buffer, message.data(), read);
    if (read < message.size()) {
        message.erase(0, read);
        setLastError(ERROR_MORE_DATA);
        return FALSE;
    }
    pipe.toServer.pop_front();
    return TRUE;
}

BOOL writeReply(Pipe& pipe, std::string_view bytes, DWORD& written) {
    if (pipe.state != Pipe::State::connected)
        return FALSE;
    written = static_cast<DWORD>(bytes.size());
    machine().tell(Side::launcher, "answers " + std::string{bytes});
    if (const auto reader = pipe.client->onReply)
        reader(std::string{bytes});
    else
        pipe.toClient.emplace_back(bytes);
    return TRUE;
}

namespace {

void disconnect(Pipe& pipe) {
    PipeClient* const client = std::exchange(pipe.client, nullptr);
    pipe.state = Pipe::State::disconnected;
    pipe.toServer.clear();
    pipe.toClient.clear();
    pipe.hasRead = false;
    if (client != nullptr)
        client->drop();
}

} // namespace

void closeServerEnd(Pipe& pipe) {
    disconnect(pipe);
    std::erase_if(machine().pipes.pipes, [&](const auto& each) { return each.get() == &pipe; });
}

namespace {

/// The pipe behind a server's handle; null when it is none.
Pipe* pipeOf(HANDLE handle) {
    const OpenPipe* open = machine().handles.find<OpenPipe>(handle);
    return open == nullptr ? nullptr : open->get();
}

} // namespace

} // namespace kovra::simulated

using namespace kovra::simulated;

HANDLE CreateNamedPipeA(LPCSTR name, DWORD openMode, DWORD pipeMode, DWORD maxInstances, DWORD outBufferSize,
                        DWORD, DWORD, SECURITY_ATTRIBUTES* attributes) {
    const Call<"CreateNamedPipeA"> call;
    if (call.fails())
        return INVALID_HANDLE_VALUE;
    const std::string_view path{name};
    call.expect(path.starts_with(Pipes::prefix) && openMode == PIPE_ACCESS_DUPLEX &&
                    pipeMode == (PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_NOWAIT) &&
                    maxInstances > 0 && maxInstances <= 255,
                "a pipe of another kind");
    const auto pipe = std::make_shared<Pipe>();
    pipe->name = path.substr(Pipes::prefix.size());
    pipe->openToEveryone = attributes != nullptr && letsEverybodyIn(*attributes);
    pipe->outQuota = outBufferSize;
    machine().pipes.pipes.push_back(pipe);
    machine().pipes.tellWaiting();
    return machine().handles.add(pipe);
}

BOOL ConnectNamedPipe(HANDLE handle, OVERLAPPED*) {
    const Call<"ConnectNamedPipe"> call;
    Pipe* pipe = call.fails() ? nullptr : pipeOf(handle);
    if (pipe == nullptr)
        return FALSE;
    if (pipe->state != Pipe::State::disconnected)
        return FALSE;
    pipe->state = Pipe::State::listening;
    machine().pipes.tellWaiting();
    return TRUE;
}

BOOL DisconnectNamedPipe(HANDLE handle) {
    const Call<"DisconnectNamedPipe"> call;
    Pipe* pipe = call.fails() ? nullptr : pipeOf(handle);
    if (pipe == nullptr)
        return FALSE;
    disconnect(*pipe);
    return TRUE;
}

NTSTATUS NtQueryInformationFile(HANDLE handle, IO_STATUS_BLOCK*, PVOID information, ULONG length,
                                FILE_INFORMATION_CLASS informationClass) {
    constexpr NTSTATUS invalidHandle = static_cast<NTSTATUS>(0xC0000008);
    const Call<"NtQueryInformationFile"> call;
    call.expect(informationClass == FilePipeLocalInformation, "information class");
    const Pipe* pipe = call.fails() ? nullptr : pipeOf(handle);
    if (pipe == nullptr || length != sizeof(FILE_PIPE_LOCAL_INFORMATION))
        return invalidHandle;
    auto& result = *static_cast<FILE_PIPE_LOCAL_INFORMATION*>(information);
    result = {};
    result.NamedPipeState = static_cast<ULONG>(pipe->state) + 1;
    result.OutboundQuota = pipe->outQuota;
    if (!machine().pipes.quotaIsTold)
        return 0;
    result.WriteQuotaAvailable = pipe->outQuota;
    if (pipe->state != Pipe::State::connected)
        return 0;
    // What waits for the client is charged to the quota, and so is what a client that waits in its read asks
    // for, up to the whole quota.
    ULONG used = 0;
    for (const std::string& reply : pipe->toClient)
        used += static_cast<ULONG>(reply.size());
    if (pipe->client->onReply)
        used = pipe->outQuota;
    result.WriteQuotaAvailable = pipe->outQuota - std::min(used, pipe->outQuota);
    return 0;
}
