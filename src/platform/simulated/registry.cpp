#include "platform/simulated/registry.h"

#include "platform/simulated/machine.h"

#include <algorithm>
#include <utility>

namespace kovra::simulated {

namespace {

// What the launcher has no use for, in Windows' own names and values.
constexpr REGSAM KEY_QUERY_VALUE = 1;
constexpr REGSAM KEY_SET_VALUE = 2;
constexpr REGSAM writeAccess = KEY_ALL_ACCESS & ~KEY_READ;

constexpr LONG done = 0;
constexpr LONG missing = static_cast<LONG>(ERROR_FILE_NOT_FOUND);
constexpr LONG denied = static_cast<LONG>(ERROR_ACCESS_DENIED);

/// One backslash at the end is no part of a path.
std::wstring_view withoutEnd(std::wstring_view path) {
    return path.substr(0, path.size() - (path.ends_with(L'\\') ? 1 : 0));
}

bool isBelow(std::wstring_view path, std::wstring_view key) {
    return path.size() > key.size() && path[key.size()] == L'\\' && sameName(path.substr(0, key.size()), key);
}

} // namespace

// The world's hand

void Registry::makeKey(std::wstring_view path) {
    path = withoutEnd(path);
    for (std::size_t end = path.find(L'\\'); end != std::wstring_view::npos; end = path.find(L'\\', end + 1))
        keys_.try_emplace(std::wstring{path.substr(0, end)});
    keys_.try_emplace(std::wstring{path});
}

void Registry::set(std::wstring_view path, std::wstring_view name, Value value) {
    makeKey(path);
    keys_.find(withoutEnd(path))->second.values[std::wstring{name}] = std::move(value);
}

void Registry::setText(std::wstring_view path, std::wstring_view name, std::wstring_view text) {
    set(path, name, {REG_SZ, std::wstring{text} + L'\0'});
}

void Registry::removeKey(std::wstring_view path) {
    std::erase_if(keys_, [this, key = withoutEnd(path)](const auto& each) {
        const bool goes = sameName(each.first, key) || isBelow(each.first, key);
        deletions_[each.first] += goes ? 1 : 0;
        return goes;
    });
}

void Registry::denyWrites(std::wstring_view path, bool isDenied) {
    makeKey(path);
    keys_.find(withoutEnd(path))->second.writesDenied = isDenied;
}

bool Registry::keyExists(std::wstring_view path) const {
    return keys_.contains(withoutEnd(path));
}

std::optional<Registry::Value> Registry::value(std::wstring_view path, std::wstring_view name) const {
    const auto key = keys_.find(withoutEnd(path));
    if (key == keys_.end())
        return std::nullopt;
    const auto found = key->second.values.find(name);
    return found == key->second.values.end() ? std::nullopt : std::optional{found->second};
}

std::optional<std::wstring> Registry::text(std::wstring_view path, std::wstring_view name) const {
    std::optional<Value> found = value(path, name);
    if (!found || found->type != REG_SZ)
        return std::nullopt;
    if (found->text.ends_with(L'\0'))
        found->text.pop_back();
    return std::move(found->text);
}

int Registry::deletions(std::wstring_view path) const {
    const auto found = deletions_.find(withoutEnd(path));
    return found == deletions_.end() ? 0 : found->second;
}

bool Registry::hasKeysBelow(std::wstring_view path) const {
    return std::any_of(keys_.begin(), keys_.end(),
                       [key = withoutEnd(path)](const auto& each) { return isBelow(each.first, key); });
}

bool Registry::mayChange(std::wstring_view path, Account account) const {
    path = withoutEnd(path);
    return account != Account::user && std::none_of(keys_.begin(), keys_.end(), [&](const auto& each) {
               return each.second.writesDenied && (sameName(path, each.first) || isBelow(path, each.first));
           });
}

namespace {

/// The text of an argument, which may be null.
std::wstring argument(LPCSTR text) {
    return text == nullptr ? std::wstring{} : machine().codePage.toWide(text);
}

/// The error that a test has asked for, as the registry's functions give it.
LONG failure() {
    return static_cast<LONG>(currentThread()->lastError);
}

/// The key that the handle was opened for is still there.
bool isThere(const OpenedKey& key) {
    return machine().registry.keyExists(key.path) && machine().registry.deletions(key.path) == key.deletions;
}

LONG open(const std::wstring& path, REGSAM access, bool changes, HKEY& result) {
    if (changes && !machine().registry.mayChange(path, callersAccount()))
        return denied;
    machine().registry.makeKey(path);
    result =
        static_cast<HKEY>(machine().handles.add(OpenedKey{path, machine().registry.deletions(path), access}));
    return done;
}

} // namespace

} // namespace kovra::simulated

using namespace kovra::simulated;

LONG RegOpenKeyExA(HKEY root, LPCSTR path, DWORD options, REGSAM access, HKEY* result) {
    const Call<"RegOpenKeyExA"> call;
    call.expect(root == HKEY_CLASSES_ROOT && options == 0, "root, options");
    if (call.fails())
        return failure();
    const std::wstring key = argument(path);
    return machine().registry.keyExists(key) ? open(key, access, (access & writeAccess) != 0, *result)
                                             : missing;
}

LONG RegCreateKeyExA(HKEY root, LPCSTR path, DWORD reserved, LPSTR keyClass, DWORD options, REGSAM access,
                     const SECURITY_ATTRIBUTES* attributes, HKEY* result, DWORD*) {
    const Call<"RegCreateKeyExA"> call;
    call.expect(root == HKEY_CLASSES_ROOT && reserved == 0 && keyClass == nullptr &&
                    options == REG_OPTION_NON_VOLATILE && attributes == nullptr,
                "root, class, options, attributes");
    if (call.fails())
        return failure();
    const std::wstring key = argument(path);
    return open(key, access, (access & writeAccess) != 0 || !machine().registry.keyExists(key), *result);
}

LONG RegCloseKey(HKEY key) {
    const Call<"RegCloseKey"> call;
    const bool closed = machine().handles.close<OpenedKey>(key);
    call.expect(closed, "an unknown handle");
    return closed ? done : static_cast<LONG>(ERROR_INVALID_HANDLE);
}

LONG RegDeleteKeyA(HKEY root, LPCSTR path) {
    const Call<"RegDeleteKeyA"> call;
    call.expect(root == HKEY_CLASSES_ROOT, "root");
    if (call.fails())
        return failure();
    Registry& registry = machine().registry;
    const std::wstring key = argument(path);
    if (!registry.keyExists(key))
        return missing;
    if (registry.hasKeysBelow(key) || !registry.mayChange(key, callersAccount()))
        return denied;
    registry.removeKey(key);
    return done;
}

LONG RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    const Call<"RegSetValueExA"> call;
    call.expect(reserved == 0, "reserved");
    if (call.fails())
        return failure();
    const OpenedKey* const opened = machine().handles.find<OpenedKey>(key);
    if (opened == nullptr || !isThere(*opened))
        return static_cast<LONG>(ERROR_INVALID_HANDLE);
    if ((opened->access & KEY_SET_VALUE) == 0)
        return denied;
    const std::string bytes{reinterpret_cast<const char*>(data), size};
    Registry::Value value{type};
    if (type == REG_SZ)
        value.text = machine().codePage.toWide(bytes);
    else
        value.bytes = bytes;
    machine().registry.set(opened->path, argument(name), value);
    return done;
}

LONG RegQueryValueExA(HKEY key, LPCSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    const Call<"RegQueryValueExA"> call;
    call.expect(reserved == nullptr && data != nullptr, "reserved, no room for the value");
    if (call.fails())
        return failure();
    const OpenedKey* const opened = machine().handles.find<OpenedKey>(key);
    if (opened == nullptr || !isThere(*opened))
        return static_cast<LONG>(ERROR_INVALID_HANDLE);
    if ((opened->access & KEY_QUERY_VALUE) == 0)
        return denied;
    const std::optional<Registry::Value> value = machine().registry.value(opened->path, argument(name));
    if (!value)
        return missing;
    const std::string bytes = value->type == REG_SZ ? machine().codePage.toAnsi(value->text) : value->bytes;
    const bool fits = bytes.size() <= *size;
    if (fits)
        std::copy(bytes.begin(), bytes.end(), data);
    *type = value->type;
    *size = static_cast<DWORD>(bytes.size());
    return fits ? done : static_cast<LONG>(ERROR_MORE_DATA);
}
