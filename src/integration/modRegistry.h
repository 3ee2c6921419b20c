#pragma once

#include "platform/win32.h"

#include <cstdint>
#include <string>

// Reading and writing the registry, one call a key: each routine opens and closes what it needs. All text
// passes through the machine's ANSI code page.

namespace kovra {

/// A value to write, text or number, kept in its text form.
class RegistryValue {
public:
    RegistryValue(std::wstring text);
    RegistryValue(std::int32_t number);

    [[nodiscard]] const std::wstring& text() const { return text_; }

private:
    std::wstring text_;
};

/// The text of a value, without blanks at its ends; an empty `valueName` is the key's default value. Empty
/// when the key or the value is missing, and for a value of more than 4096 bytes.
[[nodiscard]] std::wstring regQueryString(HKEY hive, std::wstring keyPath, const std::wstring& valueName);

/// Makes the key with all that is missing on its path. Yes when it exists afterwards.
bool regCreateKey(HKEY hive, const std::wstring& keyPath);

/// Deletes a key with its values. No, with the key left alone, when it has subkeys.
bool regDeleteKey(HKEY hive, const std::wstring& keyPath);

/// Writes a value of a key that exists, as `regSetValueEx` does; no when the key doesn't, or the value wasn't
/// written for another reason than its type.
bool regSetValue(HKEY hive, const std::wstring& keyPath, const std::wstring& valueName,
                 const RegistryValue& value, DWORD valueType);

/// Writes a value of an open key as REG_SZ or REG_DWORD and gives the system's status, 0 for success. For any
/// other type nothing is written and the status is 0. A text that is no number can't be a REG_DWORD:
/// ERROR_INVALID_PARAMETER.
LONG regSetValueEx(HKEY keyHandle, const std::wstring& valueName, DWORD valueType,
                   const RegistryValue& value);

} // namespace kovra
