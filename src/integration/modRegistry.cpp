#include "integration/modRegistry.h"

#include "platform/handles.h"
#include "support/text.h"

#include <array>
#include <utility>

namespace kovra {

namespace {

constexpr DWORD queryBufferSize = 4096; // longer values are nothing that the launcher looks for

LONG setText(HKEY key, const std::string& name, const std::wstring& value) {
    const std::string bytes = toAnsi(value);
    return RegSetValueExA(key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(bytes.c_str()),
                          static_cast<DWORD>(bytes.size() + 1));
}

LONG setNumber(HKEY key, const std::string& name, const std::wstring& value) {
    const std::optional<std::int32_t> number = parseDecimal(trim(value));
    if (!number)
        return static_cast<LONG>(ERROR_INVALID_PARAMETER);
    return RegSetValueExA(key, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&*number),
                          sizeof *number);
}

} // namespace

RegistryValue::RegistryValue(std::wstring text) : text_(std::move(text)) {}

RegistryValue::RegistryValue(std::int32_t number) : text_(decimal(number)) {}

std::wstring regQueryString(HKEY hive, std::wstring keyPath, const std::wstring& valueName) {
    if (!keyPath.ends_with(L'\\'))
        keyPath += L'\\';
    RegistryKey key;
    if (RegOpenKeyExA(hive, toAnsi(keyPath).c_str(), 0, KEY_READ, key.out()) != 0)
        return {};
    std::array<char, queryBufferSize> buffer{};
    DWORD type = REG_SZ;
    DWORD size = queryBufferSize;
    const LONG status = RegQueryValueExA(key.get(), toAnsi(valueName).c_str(), nullptr, &type,
                                         reinterpret_cast<BYTE*>(buffer.data()), &size);
    if (status != 0 || size == 0)
        return {};
    return std::wstring{trim(fromAnsi({buffer.data(), size - 1}))}; // the last byte is the terminator
}

bool regCreateKey(HKEY hive, const std::wstring& keyPath) {
    RegistryKey key;
    DWORD disposition = 0;
    return RegCreateKeyExA(hive, toAnsi(keyPath).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                           nullptr, key.out(), &disposition) == 0;
}

bool regDeleteKey(HKEY hive, const std::wstring& keyPath) {
    return RegDeleteKeyA(hive, toAnsi(keyPath).c_str()) == 0;
}

bool regSetValue(HKEY hive, const std::wstring& keyPath, const std::wstring& valueName,
                 const RegistryValue& value, DWORD valueType) {
    RegistryKey key;
    if (RegOpenKeyExA(hive, toAnsi(keyPath).c_str(), 0, KEY_ALL_ACCESS, key.out()) != 0)
        return false;
    return regSetValueEx(key.get(), valueName, valueType, value) == 0;
}

LONG regSetValueEx(HKEY keyHandle, const std::wstring& valueName, DWORD valueType,
                   const RegistryValue& value) {
    const std::string name = toAnsi(valueName);
    switch (valueType) {
    case REG_SZ:
        return setText(keyHandle, name, value.text());
    case REG_DWORD:
        return setNumber(keyHandle, name, value.text());
    default:
        return 0;
    }
}

} // namespace kovra
