#include "channels/pipes.h"

#include "channels/incomingCommands.h"
#include "channels/pipeClient.h"
#include "platform/handles.h"
#include "platform/perProcess.h"
#include "support/text.h"
#include "support/trace.h"

#include <algorithm>
#include <optional>

namespace kovra {

namespace {

constexpr BOOL yes = -1;
constexpr DWORD maxMessageSize = 100;
constexpr std::size_t messageBufferSize = 101;
static_assert(messageBufferSize == maxMessageSize + 1, "a read never reaches the last byte");

constexpr DWORD messagePatienceMs = 5000; // from the connection to a whole message
constexpr DWORD replyPatienceMs = 2000;   // from the reply to its reading

/// A reply that its client has not been seen to read.
struct StandingReply {
    DWORD size;
    DWORD since; ///< tick count
};

struct ControlPipe {
    FileHandle handle;
    HGLOBAL securityDescriptor = nullptr;
    std::optional<StandingReply> standingReply;
    /// Tick count at which the connected client was first seen without a message; empty without such a
    /// client.
    std::optional<DWORD> silentSince;
    /// The system tells how much of a pipe's quota is used: some of it has been seen free.
    bool quotaIsTold = false;
};

PerProcess<ControlPipe> controlPipe;

void dropClient() {
    DisconnectNamedPipe(controlPipe->handle.get());
    controlPipe->silentSince.reset();
    controlPipe->standingReply.reset();
}

/// Frees the instance from a client that has gone away, or that lets it wait too long for a message.
void dropIdleClient(DWORD readError) {
    if (readError == ERROR_BROKEN_PIPE) {
        dropClient();
    } else if (readError == ERROR_NO_DATA || readError == ERROR_MORE_DATA) {
        const DWORD now = GetTickCount();
        if (!controlPipe->silentSince)
            controlPipe->silentSince = now;
        else if (now - *controlPipe->silentSince >= messagePatienceMs)
            dropClient();
    }
}

struct PipeUse {
    bool connected; ///< the client holds its end
    DWORD used;     ///< bytes of the outgoing quota: a reply that waits, or the read that the client waits in
};

/// Empty when the system can't tell. Asking neither waits nor leaves anything behind, on every Windows.
std::optional<PipeUse> queryPipe() {
    constexpr ULONG connectedState = 3;
    IO_STATUS_BLOCK status{};
    FILE_PIPE_LOCAL_INFORMATION information{};
    if (NtQueryInformationFile(controlPipe->handle.get(), &status, &information, sizeof information,
                               FilePipeLocalInformation) != 0)
        return std::nullopt;
    if (information.WriteQuotaAvailable != 0)
        controlPipe->quotaIsTold = true;
    return PipeUse{information.NamedPipeState == connectedState,
                   information.OutboundQuota - information.WriteQuotaAvailable};
}

bool isUnread(DWORD replySize) {
    const std::optional<PipeUse> use = queryPipe();
    if (!use)
        return true;
    if (!use->connected)
        return false;
    // Where the quota isn't told a client counts as reading until it closes. Where it is, more than the reply
    // is the client's next read.
    return !controlPipe->quotaIsTold || (use->used != 0 && use->used <= replySize);
}

} // namespace

void createPipe(const char* name) {
    HGLOBAL descriptor = GlobalAlloc(GMEM_ZEROINIT, sizeof(SECURITY_DESCRIPTOR));
    controlPipe->securityDescriptor = descriptor;
    if (descriptor != nullptr) { // else the pipe has Windows' own list, which keeps the users out
        InitializeSecurityDescriptor(descriptor, SECURITY_DESCRIPTOR_REVISION);
        // A present but empty list grants every account full access: the application runs with any user's
        // rights.
        SetSecurityDescriptorDacl(descriptor, yes, nullptr, FALSE);
    }
    SECURITY_ATTRIBUTES attributes{};
    attributes.nLength = sizeof attributes;
    attributes.lpSecurityDescriptor = descriptor;
    attributes.bInheritHandle = yes;
    controlPipe->handle = FileHandle{CreateNamedPipeA(name, PIPE_ACCESS_DUPLEX,
                                                      PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_NOWAIT,
                                                      10, maxMessageSize, maxMessageSize, 100, &attributes)};
    // Without a client nothing is used: the moment to learn whether the system tells.
    if (controlPipe->handle)
        static_cast<void>(queryPipe());
}

bool isReplyStanding() {
    const std::optional<StandingReply> reply = controlPipe->standingReply;
    if (!reply)
        return false;
    if (isUnread(reply->size) && GetTickCount() - reply->since < replyPatienceMs)
        return true;
    dropClient();
    return false;
}

void servicePipe() {
    if (!controlPipe->handle || isReplyStanding())
        return;
    HANDLE pipe = controlPipe->handle.get();
    char buffer[messageBufferSize]{};
    DWORD size = 0;
    ConnectNamedPipe(pipe, nullptr);
    if (!ReadFile(pipe, buffer, maxMessageSize, &size, nullptr)) {
        dropIdleClient(GetLastError());
        return;
    }
    // The access list admits everybody, and Windows lets clients come over the network, too.
    if (!isClientLocal(pipe)) {
        dropClient();
        writeLog(L"Pipe message refused, its sender is not known to be on this machine");
        return;
    }
    std::wstring message;
    for (DWORD index = 0; index < size; ++index)
        message += fromAnsi({&buffer[index], 1});
    const std::string reply = toAnsi(handleCommand(message));
    const auto replySize = static_cast<DWORD>(std::min(reply.size(), messageBufferSize));
    std::copy_n(reply.data(), replySize, buffer);
    DWORD written = 0;
    WriteFile(pipe, buffer, replySize, &written, nullptr);
    // FlushFileBuffers would wait for the client without any limit. One that waits in its read has got the
    // reply by the writing and goes at once; another one has the next passes to read it in.
    controlPipe->standingReply = {replySize, GetTickCount()};
    static_cast<void>(isReplyStanding());
}

void closePipe() {
    controlPipe->handle.close();
    GlobalFree(controlPipe->securityDescriptor);
}

} // namespace kovra
