#include "platform/simulated/machine.h"

#include <cstring>
#include <string_view>

using namespace kovra::simulated;

BOOL ImpersonateNamedPipeClient(HANDLE handle) {
    const Call<"ImpersonateNamedPipeClient"> call;
    const OpenPipe* open = call.fails() ? nullptr : machine().handles.find<OpenPipe>(handle);
    if (open == nullptr || !(*open)->hasRead)
        return FALSE;
    currentThread()->impersonated = (*open)->clientIdentity;
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
    call.expect(thread == GetCurrentThread(), "another thread");
    const auto& impersonated = currentThread()->impersonated;
    if (!impersonated || impersonated->level == ImpersonationLevel::anonymous ||
        (!openAsSelf && impersonated->level == ImpersonationLevel::identification))
        return FALSE;
    *token = machine().handles.add(Token{access, *impersonated});
    return TRUE;
}

BOOL CheckTokenMembership(HANDLE handle, PSID sid, BOOL* isMember) {
    const Call<"CheckTokenMembership"> call;
    if (call.fails())
        return FALSE;
    constexpr SID network{SID_REVISION, 1, SECURITY_NT_AUTHORITY, {SECURITY_NETWORK_RID}};
    call.expect(std::memcmp(sid, &network, sizeof network) == 0, "another group");
    if (handle == nullptr) { // the thread's own token
        const auto& impersonated = currentThread()->impersonated;
        *isMember = impersonated && impersonated->overNetwork;
        return TRUE;
    }
    const Token* token = machine().handles.find<Token>(handle);
    if (token == nullptr || (token->access & TOKEN_QUERY) == 0 || !token->client)
        return FALSE;
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
    if (!(*open)->clientIdentity.overNetwork) {
        setLastError(ERROR_PIPE_LOCAL);
        return FALSE;
    }
    constexpr std::string_view itsName{"ELSEWHERE\0", 10};
    if (size < itsName.size())
        return FALSE;
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
