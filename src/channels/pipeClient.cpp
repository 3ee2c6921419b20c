#include "channels/pipeClient.h"

#include "platform/handles.h"
#include "platform/systemFunction.h"

namespace kovra {

namespace {

/// The client's token, good for questions; empty when it can't be had.
KernelHandle clientToken(HANDLE pipe) {
    KernelHandle token;
    if (!ImpersonateNamedPipeClient(pipe))
        return token;
    // Opened as the service: a client that lets itself be identified and no more could not open it.
    OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.out());
    // Nothing may go on in a stranger's name, and the way out through ExitProcess would still run code in it.
    if (!RevertToSelf())
        TerminateProcess(GetCurrentProcess(), 0);
    return token;
}

/// Windows Vista and later tell it of a client whose token may not be opened, too; before them it's a no.
bool isLocalToSystem(HANDLE pipe) {
    using GetComputerName = BOOL(WINAPI*)(HANDLE, LPSTR, ULONG);
    const auto getComputerName = findSystemFunction<GetComputerName>("GetNamedPipeClientComputerNameA");
    char name[MAX_PATH];
    return getComputerName != nullptr && !getComputerName(pipe, name, sizeof name) &&
           GetLastError() == ERROR_PIPE_LOCAL;
}

} // namespace

bool isClientLocal(HANDLE pipe) {
    // S-1-5-2: in every token that comes of a logon over the network, and in no other.
    SID network{SID_REVISION, 1, SECURITY_NT_AUTHORITY, {SECURITY_NETWORK_RID}};
    const KernelHandle token = clientToken(pipe);
    BOOL overNetwork = FALSE;
    // Without a token the question would be about the service's own.
    if (token && CheckTokenMembership(token.get(), &network, &overNetwork))
        return !overNetwork;
    return isLocalToSystem(pipe);
}

} // namespace kovra
