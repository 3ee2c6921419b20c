#include "platform/simulated/machine.h"

#include <cstring>

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
    if (!call.fails())
        currentThread()->impersonated.reset();
    return !call.fails();
}

HANDLE GetCurrentThread() {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-2));
}

BOOL OpenThreadToken(HANDLE thread, DWORD access, BOOL openAsSelf, HANDLE* token) {
    const Call<"OpenThreadToken"> call;
    call.expect(thread == GetCurrentThread(), "another thread");
    const auto& impersonated = currentThread()->impersonated;
    if (call.fails() || !impersonated || impersonated->level == ImpersonationLevel::anonymous ||
        (!openAsSelf && impersonated->level == ImpersonationLevel::identification))
        return FALSE;
    *token = machine().handles.add(Token{access, *impersonated});
    return TRUE;
}

BOOL CheckTokenMembership(HANDLE handle, PSID sid, BOOL* isMember) {
    constexpr SID network{SID_REVISION, 1, SECURITY_NT_AUTHORITY, {SECURITY_NETWORK_RID}};
    const Call<"CheckTokenMembership"> call;
    call.expect(handle != nullptr && std::memcmp(sid, &network, sizeof network) == 0, "token, group");
    const Token* token = call.fails() ? nullptr : machine().handles.find<Token>(handle);
    if (token == nullptr || (token->access & TOKEN_QUERY) == 0 || !token->client)
        return FALSE;
    *isMember = token->client->overNetwork;
    return TRUE;
}

namespace {

/// A function that Windows has since Vista.
BOOL WINAPI getNamedPipeClientComputerName(HANDLE handle, LPSTR name, ULONG size) {
    const Call<"GetNamedPipeClientComputerNameA"> call;
    constexpr std::string_view itsName{"ELSEWHERE\0", 10};
    const OpenPipe* open = call.fails() ? nullptr : machine().handles.find<OpenPipe>(handle);
    if (open == nullptr)
        return FALSE;
    if (!(*open)->clientIdentity.overNetwork)
        setLastError(ERROR_PIPE_LOCAL);
    if (!(*open)->clientIdentity.overNetwork || size < itsName.size())
        return FALSE;
    std::memcpy(name, itsName.data(), itsName.size());
    return TRUE;
}

} // namespace

HMODULE GetModuleHandleA(LPCSTR name) {
    const Call<"GetModuleHandleA"> call;
    call.expect(sameAnsiName(name, "kernel32.dll"), "another library");
    return call.fails() ? nullptr : &machine();
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
    const Call<"GetProcAddress"> call;
    const bool isThere = !call.fails() && module != nullptr && machine().version.major >= 6 &&
                         std::string_view{name} == "GetNamedPipeClientComputerNameA";
    return isThere ? reinterpret_cast<FARPROC>(reinterpret_cast<void*>(getNamedPipeClientComputerName))
                   : nullptr;
}
