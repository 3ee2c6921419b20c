#pragma once

#include "platform/simulated/account.h"
#include "platform/simulated/caseless.h"
#include "platform/simulated/win32.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kovra::simulated {

class CodePage;
struct RegistryKey;

struct RegistryValue {
    DWORD type = REG_SZ;
    std::wstring text; ///< of a text type, terminators included where they were stored
    std::string bytes; ///< of any other type

    bool operator==(const RegistryValue&) const = default;
};

/// By path, beginning with the root's name; then by the value's name.
using RegistrySnapshot = std::map<std::wstring, std::map<std::wstring, RegistryValue>>;

/// The registry below its predefined roots, which stand by themselves: HKEY_CLASSES_ROOT is not shown below
/// another one. Names keep their case, which doesn't count. A key's default value has the empty name.
class Registry {
public:
    Registry();
    ~Registry();
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    // The world's hand: no denial stops it. No means that the root is unknown or the path malformed.

    bool makeKey(HKEY root, std::wstring_view path);
    /// Sets a REG_SZ value, and makes the key with all that are missing above it.
    bool setText(HKEY root, std::wstring_view path, std::wstring_view name, std::wstring_view text);
    bool set(HKEY root, std::wstring_view path, std::wstring_view name, RegistryValue value);
    /// Removes the key with all below it.
    bool removeKey(HKEY root, std::wstring_view path);
    /// Nothing can be made, written or deleted in the key, and below it; it is made when it is missing.
    bool denyWrites(HKEY root, std::wstring_view path, bool denied = true);

    [[nodiscard]] bool keyExists(HKEY root, std::wstring_view path) const;
    [[nodiscard]] std::optional<RegistryValue> value(HKEY root, std::wstring_view path,
                                                     std::wstring_view name) const;
    /// A text value without its terminator; empty when it is missing or no text.
    [[nodiscard]] std::optional<std::wstring> text(HKEY root, std::wstring_view path,
                                                   std::wstring_view name) const;
    /// The names of the keys directly below, in order.
    [[nodiscard]] std::vector<std::wstring> keys(HKEY root, std::wstring_view path) const;
    [[nodiscard]] RegistrySnapshot snapshot() const;

    /// How many key handles are open.
    [[nodiscard]] std::size_t openHandles() const { return handles_.size(); }

    /// What the registry tool does with a file in 8-bit text. No when it is no registry file; a line that
    /// can't be understood, or that is denied, is skipped.
    bool import(std::string_view file, const CodePage& codePage, Account account = Account::administrator);

    // What programs do, with all that Windows refuses. Each gives Windows' error code.

    LONG open(HKEY key, std::wstring_view path, REGSAM access, HKEY& result,
              Account account = Account::administrator);
    LONG create(HKEY key, std::wstring_view path, REGSAM access, HKEY& result, DWORD& disposition,
                Account account = Account::administrator);
    LONG close(HKEY key);
    /// Deletes a key that has no keys below it.
    LONG deleteKey(HKEY key, std::wstring_view path, Account account = Account::administrator);
    LONG setValue(HKEY key, std::wstring_view name, RegistryValue value);
    LONG getValue(HKEY key, std::wstring_view name, RegistryValue& value) const;

private:
    struct Handle {
        std::shared_ptr<RegistryKey> key;
        REGSAM access;
    };

    [[nodiscard]] LONG handle(HKEY key, Handle& handle) const;
    [[nodiscard]] std::shared_ptr<RegistryKey> find(HKEY root, std::wstring_view path) const;
    std::shared_ptr<RegistryKey> make(HKEY root, std::wstring_view path);
    [[nodiscard]] HKEY addHandle(std::shared_ptr<RegistryKey> key, REGSAM access);

    std::map<std::uintptr_t, std::shared_ptr<RegistryKey>> roots_;
    std::map<std::uintptr_t, Handle> handles_;
    std::uintptr_t lastHandle_ = 0;
};

} // namespace kovra::simulated
