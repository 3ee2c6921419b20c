#pragma once

#include "platform/simulated/account.h"
#include "platform/simulated/caseless.h"
#include "platform/simulated/win32.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kovra::simulated {

class CodePage;

/// What is below HKEY_CLASSES_ROOT, the one root that the launcher knows. Names keep their case, which
/// doesn't count. A key's default value has the empty name.
class Registry {
public:
    struct Value {
        DWORD type = REG_SZ;
        std::wstring text{}; ///< of a REG_SZ, terminator included where it was stored
        std::string bytes{}; ///< of any other type

        bool operator==(const Value&) const = default;
    };

    struct Key {
        std::map<std::wstring, Value, Caseless> values{};
        bool writesDenied = false;

        bool operator==(const Key&) const = default;
    };

    /// By path.
    using Contents = std::map<std::wstring, Key, Caseless>;

    // The world's hand: no denial stops it.

    void makeKey(std::wstring_view path);
    /// Sets a value, and makes the key with all that are missing above it.
    void set(std::wstring_view path, std::wstring_view name, Value value);
    void setText(std::wstring_view path, std::wstring_view name, std::wstring_view text);
    /// Removes the key with all below it.
    void removeKey(std::wstring_view path);
    /// Nothing can be made, written or deleted in the key, and below it; it is made when it is missing.
    void denyWrites(std::wstring_view path, bool denied = true);

    [[nodiscard]] bool keyExists(std::wstring_view path) const;
    [[nodiscard]] std::optional<Value> value(std::wstring_view path, std::wstring_view name) const;
    /// A text value without its terminator; empty when it is missing or no text.
    [[nodiscard]] std::optional<std::wstring> text(std::wstring_view path, std::wstring_view name) const;

    [[nodiscard]] const Contents& contents() const { return keys_; }

    /// What the registry tool does with a file in 8-bit text. A line that can't be understood, or that is
    /// denied, is skipped.
    void import(std::string_view file, const CodePage& codePage, Account account);

    [[nodiscard]] bool hasKeysBelow(std::wstring_view path) const;
    /// Whether a process of the account may write into the key and make keys below it, be it there or not.
    [[nodiscard]] bool mayChange(std::wstring_view path, Account account) const;

    /// How often the key has been deleted: a handle to a deleted one doesn't reach the key that is made anew.
    [[nodiscard]] int deletions(std::wstring_view path) const;

private:
    Contents keys_;
    std::map<std::wstring, int, Caseless> deletions_; // by path
};

} // namespace kovra::simulated
