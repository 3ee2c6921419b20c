#include "platform/handles.h"
#include "tests/platform/contract.h"
#include "tests/platform/differences/areas.h"

#include <array>

namespace kovra::differences {
namespace {

// Registry

HKEY keys[2];

std::string registryStep(Draw& draw) {
    constexpr const char* paths[] = {"", "\\a", "\\A", "\\a\\b", "\\a\\b\\", "\\a\\b\\c", "\\\xE4", "\\\xC4"};
    constexpr const char* names[] = {"", "n", "N", "m\\\"", "\xF6"};
    const std::string path = draw.of(paths);
    const std::string name = draw.of(names);
    const std::string whole = contract::scratchKey + path;
    HKEY& key = keys[draw.below(2)];
    const std::uint32_t kind = draw.below(8);
    if (key == nullptr && kind != 2) {
        LONG result = 0;
        const REGSAM access = draw.below(3) == 0 ? KEY_READ : KEY_ALL_ACCESS;
        const bool makes = kind > 4;
        if (makes)
            result = RegCreateKeyExA(HKEY_CLASSES_ROOT, whole.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                     KEY_ALL_ACCESS, nullptr, &key, nullptr);
        else
            result = RegOpenKeyExA(HKEY_CLASSES_ROOT, whole.c_str(), 0, access, &key);
        if (result != 0)
            key = nullptr;
        return tell(makes ? "create" : access == KEY_READ ? "read" : "open", path, result == 0);
    }
    if (kind == 2)
        return tell("delete", path, RegDeleteKeyA(HKEY_CLASSES_ROOT, whole.c_str()) == 0);
    if (kind < 5) {
        constexpr const char* texts[] = {"", "x", "a longer text", "caf\xE9"};
        const std::string bytes = draw.of(texts);
        const DWORD number = draw.below(3);
        const bool isText = draw.below(4) != 0;
        const auto* data =
            isText ? reinterpret_cast<const BYTE*>(bytes.c_str()) : reinterpret_cast<const BYTE*>(&number);
        const DWORD size = isText ? static_cast<DWORD>(bytes.size() + 1) : DWORD{sizeof number};
        return tell("set", name + ":" + (isText ? bytes : std::to_string(number)),
                    RegSetValueExA(key, name.c_str(), 0, isText ? REG_SZ : REG_DWORD, data, size) == 0);
    }
    if (kind < 7) {
        BYTE bytes[4096];
        DWORD size = draw.below(4) == 0 ? 3 : 4096;
        DWORD type = REG_SZ;
        const LONG result = RegQueryValueExA(key, name.c_str(), nullptr, &type, bytes, &size);
        return tell("query", name, result == 0) + (result == 0 ? shown({bytes, bytes + size}) : "");
    }
    RegCloseKey(key);
    key = nullptr;
    return "close";
}

std::string endRegistry() {
    for (HKEY& key : keys) {
        if (key != nullptr)
            RegCloseKey(key);
        key = nullptr;
    }
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
        return tell("manager", std::to_string(access), static_cast<bool>(manager));
    }
    if (kind < 4) {
        handle = ServiceHandle{CreateServiceA(manager.get(), name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                                              SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START,
                                              SERVICE_ERROR_NORMAL, "\"C:\\kovra.exe\" -service", nullptr,
                                              nullptr, nullptr, nullptr, nullptr)};
        return tell("create", name, static_cast<bool>(handle));
    }
    if (kind < 7) {
        const DWORD access = draw.below(2) == 0 ? SERVICE_QUERY_STATUS : SERVICE_ALL_ACCESS;
        handle = ServiceHandle{OpenServiceA(manager.get(), name.c_str(), access)};
        return tell("open", name + "," + std::to_string(access), static_cast<bool>(handle));
    }
    if (!handle)
        return {};
    if (kind < 9)
        return tell("delete", "", DeleteService(handle.get()) != FALSE);
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

// Text

std::string textStep(Draw& draw) {
    if (draw.below(2) == 0) {
        std::string bytes;
        for (std::uint32_t left = 1 + draw.below(4); left > 0; --left)
            bytes += static_cast<char>(1 + draw.below(255));
        wchar_t wide[16];
        const int size = static_cast<int>(bytes.size());
        const int length = MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, nullptr, 0);
        MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, wide, length);
        std::string codes;
        for (int index = 0; index < length; ++index)
            codes += std::to_string(static_cast<unsigned>(wide[index])) + ",";
        return "wide(" + shown(bytes) + ")=" + codes;
    }
    std::wstring wide;
    std::string codes;
    for (std::uint32_t left = 1 + draw.below(3); left > 0; --left) {
        constexpr std::uint32_t limits[] = {0x100, 0x180, 0x2200, 0xD800};
        wide += static_cast<wchar_t>(1 + draw.below(draw.of(limits) - 1));
        codes += std::to_string(static_cast<unsigned>(wide.back())) + ",";
    }
    char bytes[64];
    const int length = static_cast<int>(wide.size());
    const int size =
        WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide.data(), length, nullptr, 0, nullptr, nullptr);
    WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide.data(), length, bytes, size, nullptr, nullptr);
    return "bytes(" + codes + ")=" + shown({bytes, static_cast<std::size_t>(size)});
}

} // namespace

const Area registry{"registry", registryStep, endRegistry};
const Area services{"services", servicesStep, endServices};
const Area text{"text", textStep, [] { return std::string{}; }};

} // namespace kovra::differences
