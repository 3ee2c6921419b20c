#include "platform/simulated/call.h"
#include "platform/simulated/pipes.h"

namespace kovra::simulated {

namespace {

/// As the calls below fill it.
struct Descriptor {
    BYTE revision;
    BYTE daclPresent;
    BYTE daclEmpty;
};

} // namespace

bool letsEverybodyIn(const SECURITY_ATTRIBUTES& attributes) {
    const Descriptor* const descriptor = static_cast<Descriptor*>(attributes.lpSecurityDescriptor);
    return attributes.nLength == sizeof attributes && descriptor != nullptr &&
           descriptor->revision == SECURITY_DESCRIPTOR_REVISION && descriptor->daclPresent &&
           descriptor->daclEmpty;
}

} // namespace kovra::simulated

using namespace kovra::simulated;

BOOL InitializeSecurityDescriptor(PVOID descriptor, DWORD revision) {
    const Call<"InitializeSecurityDescriptor"> call;
    call.expect(descriptor != nullptr, "no memory to write to");
    if (call.fails() || descriptor == nullptr || revision != SECURITY_DESCRIPTOR_REVISION)
        return FALSE;
    *static_cast<Descriptor*>(descriptor) = {static_cast<BYTE>(revision), 0, 0};
    return TRUE;
}

BOOL SetSecurityDescriptorDacl(PVOID descriptor, BOOL present, ACL* list, BOOL) {
    const Call<"SetSecurityDescriptorDacl"> call;
    call.expect(descriptor != nullptr, "no memory to write to");
    if (call.fails() || descriptor == nullptr)
        return FALSE;
    static_cast<Descriptor*>(descriptor)->daclPresent = present != 0;
    static_cast<Descriptor*>(descriptor)->daclEmpty = list == nullptr;
    return TRUE;
}
