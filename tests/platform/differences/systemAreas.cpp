#include "platform/handles.h"
#include "tests/platform/contract.h"
#include "tests/platform/differences/areas.h"

#include <array>

namespace kovra::differences {
namespace {

// Registry

std::array<RegistryKey, 2> keys;

std::string registryStep(Draw& draw) {
    constexpr const char* paths[] = {"", "\\a", "\\A", "\\a\\b", "\\a\\b\\", "\\a\\b\\c", "\\\xE4", "\\\xC4"};
    constexpr const char* names[] = {"", "n", "N", "m\\\"", "\xF6"};
    const std::string path = draw.of(paths);
    const std::string name = draw.of(names);
    const std::string whole = contract::scratchKey + path;
    RegistryKey& key = keys[draw.below(2)];
    const std::uint32_t kind = draw.below(8);
    if (kind == 0)
        return told("delete", path, RegDeleteKeyA(HKEY_CLASSES_ROOT, whole.c_str()) == 0);
    if (!key && kind < 4)
        return told("create", path,
                    RegCreateKeyExA(HKEY_CLASSES_ROOT, whole.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                    KEY_ALL_ACCESS, nullptr, key.out(), nullptr) == 0);
    if (!key) {
        const REGSAM access = kind == 4 ? KEY_READ : KEY_ALL_ACCESS;
        return told(access == KEY_READ ? "read" : "open", path,
                    RegOpenKeyExA(HKEY_CLASSES_ROOT, whole.c_str(), 0, access, key.out()) == 0);
    }
    BYTE bytes[4096]{"caf\xE9"};
    DWORD size = draw.below(7);
    if (kind < 4) {
        const DWORD type = size == sizeof(DWORD) ? REG_DWORD : REG_SZ;
        return told("set", name + ":" + std::to_string(size),
                    RegSetValueExA(key.get(), name.c_str(), 0, type, bytes, size) == 0);
    }
    if (kind < 7) {
        size = draw.below(4) == 0 ? 3 : sizeof bytes;
        DWORD type = REG_SZ;
        const LONG result = RegQueryValueExA(key.get(), name.c_str(), nullptr, &type, bytes, &size);
        return told("query", name, result == 0) + (result == 0 ? shown({bytes, bytes + size}) : "");
    }
    key.close();
    return "close";
}

std::string endRegistry() {
    keys = {};
    return {};
}

// Services

ServiceManagerHandle manager;
std::array<ServiceHandle, 2> handles;
constexpr const char* serviceNames[] = {"KovraContract", "KOVRAcontract", "KovraOther"};

std::string servicesStep(Draw& draw) {
    const std::string name = draw.of(serviceNames);
    ServiceHandle& handle = handles[draw.below(2)];
    const std::uint32_t kind = draw.below(10);
    if (kind == 0 || !manager) {
        const DWORD access = draw.below(4) == 0 ? SC_MANAGER_ENUMERATE_SERVICE : SC_MANAGER_CREATE_SERVICE;
        manager = ServiceManagerHandle{OpenSCManagerA(nullptr, nullptr, access)};
        return told("manager", std::to_string(access), static_cast<bool>(manager));
    }
    if (kind < 4) {
        handle = ServiceHandle{CreateServiceA(manager.get(), name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                                              SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
                                              SERVICE_ERROR_NORMAL, "\"C:\\kovra.exe\" -service", nullptr,
                                              nullptr, nullptr, nullptr, nullptr)};
        return told("create", name, static_cast<bool>(handle));
    }
    if (kind < 7) {
        const DWORD access = draw.below(2) == 0 ? SERVICE_QUERY_STATUS : SERVICE_ALL_ACCESS;
        handle = ServiceHandle{OpenServiceA(manager.get(), name.c_str(), access)};
        return told("open", name + "," + std::to_string(access), static_cast<bool>(handle));
    }
    if (!handle)
        return {};
    if (kind < 9)
        return told("delete", "", DeleteService(handle.get()) != FALSE);
    handle = {};
    return "close";
}

std::string endServices() {
    handles = {};
    manager = ServiceManagerHandle{OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE)};
    for (const char* name : serviceNames) {
        const ServiceHandle left{OpenServiceA(manager.get(), name, SERVICE_ALL_ACCESS)};
        if (left)
            DeleteService(left.get());
    }
    manager = {};
    return {};
}

} // namespace

const Area registry{"registry", registryStep, endRegistry};
const Area services{"services", servicesStep, endServices};

} // namespace kovra::differences
