#include "platform/simulated/machine.h"

#include <cstring>
#include <string_view>

using namespace kovra::simulated;

BOOL ImpersonateNamedPipeClient(HANDLE handle) {
    const Call<"ImpersonateNamedPipeClient"> call;
    const OpenPipe* open = call.fails() ? nullptr : machine().handles.find<OpenPipe>(handle);
    if (open == nullptr)
        return FALSE;
    if (!open->pipe->hasRead) {
        setLastError(ERROR_CANNOT_IMPERSONATE);
        return FALSE;
    }
    currentThread()->impersonated = open->pipe->clientIdentity;
    return TRUE;
}

BOOL RevertToSelf() {
    const Call<"RevertToSelf"> call;
    if (call.fails())
        return FALSE;
    currentThread()->impersonated.reset();
    return TRUE;
}

HANDLE GetCurrentThread() {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-2));
}

BOOL OpenThreadToken(HANDLE thread, DWORD access, BOOL openAsSelf, HANDLE* token) {
    const Call<"OpenThreadToken"> call;
    if (call.fails())
        return FALSE;
    if (thread != GetCurrentThread())
        machine().misuses.emplace_back("a token asked of another thread");
    const auto& impersonated = currentThread()->impersonated;
    if (!impersonated)
        setLastError(ERROR_NO_TOKEN);
    else if (impersonated->level == ImpersonationLevel::anonymous)
        setLastError(ERROR_CANT_OPEN_ANONYMOUS);
    else if (!openAsSelf && impersonated->level == ImpersonationLevel::identification)
        setLastError(ERROR_BAD_IMPERSONATION_LEVEL);
    else
        *token = machine().handles.add(Token{access, *impersonated});
    return *token != nullptr;
}

BOOL CheckTokenMembership(HANDLE handle, PSID sid, BOOL* isMember) {
    const Call<"CheckTokenMembership"> call;
    if (call.fails())
        return FALSE;
    constexpr SID network{SID_REVISION, 1, SECURITY_NT_AUTHORITY, {SECURITY_NETWORK_RID}};
    if (std::memcmp(sid, &network, sizeof network) != 0)
        machine().misuses.emplace_back("membership asked of an unknown group");
    if (handle == nullptr) { // the thread's own token
        const auto& impersonated = currentThread()->impersonated;
        *isMember = impersonated && impersonated->overNetwork;
        return TRUE;
    }
    const Token* token = machine().handles.find<Token>(handle);
    if (token == nullptr)
        return FALSE;
    if ((token->access & TOKEN_QUERY) == 0 || !token->client) {
        setLastError(token->client ? ERROR_ACCESS_DENIED : ERROR_NO_IMPERSONATION_TOKEN);
        return FALSE;
    }
    *isMember = token->client->overNetwork;
    return TRUE;
}

namespace {

// Functions that not every Windows has.

BOOL WINAPI getNamedPipeClientComputerName(HANDLE handle, LPSTR name, ULONG size) {
    const Call<"GetNamedPipeClientComputerNameA"> call;
    const OpenPipe* open = call.fails() ? nullptr : machine().handles.find<OpenPipe>(handle);
    if (open == nullptr)
        return FALSE;
    if (!open->pipe->clientIdentity.overNetwork) {
        setLastError(ERROR_PIPE_LOCAL);
        return FALSE;
    }
    constexpr std::string_view itsName{"ELSEWHERE\0", 10};
    if (size < itsName.size()) {
        setLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    std::memcpy(name, itsName.data(), itsName.size());
    return TRUE;
}

struct YoungFunction {
    std::string_view name;
    DWORD since; ///< major version of Windows
    void* address;
};

const YoungFunction youngFunctions[] = {
    {"GetNamedPipeClientComputerNameA", 6, reinterpret_cast<void*>(getNamedPipeClientComputerName)}};

} // namespace

HMODULE GetModuleHandleA(LPCSTR name) {
    const Call<"GetModuleHandleA"> call;
    if (call.fails() || !sameName(name, "kernel32.dll"))
        return nullptr;
    return &machine();
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
    const Call<"GetProcAddress"> call;
    if (call.fails() || module == nullptr)
        return nullptr;
    for (const YoungFunction& function : youngFunctions) {
        if (function.name == name && function.since <= machine().version.major)
            return reinterpret_cast<FARPROC>(function.address);
    }
    return nullptr;
}
