#include "platform/simulated/registry.h"

#include "platform/simulated/machine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace kovra::simulated {

namespace {

// What the launcher has no use for, in Windows' own names and values.
constexpr DWORD ERROR_BAD_PATHNAME = 161;
constexpr DWORD ERROR_KEY_DELETED = 1018;
constexpr DWORD REG_EXPAND_SZ = 2;
constexpr DWORD REG_BINARY = 3;
constexpr DWORD REG_MULTI_SZ = 7;
constexpr REGSAM KEY_QUERY_VALUE = 1;
constexpr REGSAM KEY_SET_VALUE = 2;
constexpr REGSAM writeAccess = KEY_ALL_ACCESS & ~KEY_READ;
constexpr DWORD REG_CREATED_NEW_KEY = 1;
constexpr DWORD REG_OPENED_EXISTING_KEY = 2;
constexpr std::size_t maxKeyName = 255;

struct Root {
    std::uintptr_t handle;
    const wchar_t* name;
    bool ofMachine; // a user with normal rights only reads there
};

constexpr std::array roots{
    Root{0x80000000, L"HKEY_CLASSES_ROOT", true}, Root{0x80000001, L"HKEY_CURRENT_USER", false},
    Root{0x80000002, L"HKEY_LOCAL_MACHINE", true}, Root{0x80000003, L"HKEY_USERS", false}};

bool isText(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

std::uintptr_t number(HKEY key) {
    return reinterpret_cast<std::uintptr_t>(key);
}

LONG status(DWORD error) {
    return static_cast<LONG>(error);
}

} // namespace

struct RegistryKey {
    std::wstring name;
    RegistryKey* parent = nullptr; // null: a root
    bool writesDenied = false;
    bool ofMachine = false;
    bool deleted = false;
    std::map<std::wstring, std::shared_ptr<RegistryKey>, Caseless> keys;
    std::map<std::wstring, RegistryValue, Caseless> values;

    [[nodiscard]] bool mayChange(Account account = Account::administrator) const {
        for (const RegistryKey* key = this; key != nullptr; key = key->parent)
            if (key->writesDenied || (key->ofMachine && account == Account::user))
                return false;
        return true;
    }

    std::shared_ptr<RegistryKey> add(std::wstring_view keyName) {
        auto key = std::make_shared<RegistryKey>();
        key->name = keyName;
        key->parent = this;
        keys.emplace(keyName, key);
        return key;
    }

    /// For those who still hold the key, and the keys below it, open.
    void markDeleted() {
        deleted = true;
        parent = nullptr;
        for (const auto& [keyName, key] : keys)
            key->markDeleted();
    }
};

namespace {

/// The names of a path, of which one backslash at the end is no part; no when one of them is empty or too
/// long.
bool split(std::wstring_view path, std::vector<std::wstring_view>& names) {
    if (path.ends_with(L'\\'))
        path.remove_suffix(1);
    while (!path.empty()) {
        const std::size_t end = std::min(path.find(L'\\'), path.size());
        if (end == 0 || end > maxKeyName || end + 1 == path.size())
            return false;
        names.push_back(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return true;
}

/// The key that the names lead to; null when it is missing. `depth` tells how many of the names are there.
std::shared_ptr<RegistryKey> walk(std::shared_ptr<RegistryKey> key,
                                  const std::vector<std::wstring_view>& names,
                                  std::shared_ptr<RegistryKey>* last = nullptr,
                                  std::size_t* depth = nullptr) {
    std::size_t there = 0;
    for (; there < names.size(); ++there) {
        const auto found = key->keys.find(names[there]);
        if (found == key->keys.end())
            break;
        key = found->second;
    }
    if (last != nullptr)
        *last = key;
    if (depth != nullptr)
        *depth = there;
    return there == names.size() ? key : nullptr;
}

} // namespace

Registry::Registry() {
    for (const Root& root : roots) {
        roots_[root.handle] = std::make_shared<RegistryKey>();
        roots_[root.handle]->name = root.name;
        roots_[root.handle]->ofMachine = root.ofMachine;
    }
}

Registry::~Registry() = default;

// The world's hand

std::shared_ptr<RegistryKey> Registry::find(HKEY root, std::wstring_view path) const {
    std::vector<std::wstring_view> names;
    const auto found = roots_.find(number(root));
    return found != roots_.end() && split(path, names) ? walk(found->second, names) : nullptr;
}

std::shared_ptr<RegistryKey> Registry::make(HKEY root, std::wstring_view path) {
    std::vector<std::wstring_view> names;
    const auto found = roots_.find(number(root));
    if (found == roots_.end() || !split(path, names))
        return nullptr;
    std::shared_ptr<RegistryKey> key;
    std::size_t depth = 0;
    walk(found->second, names, &key, &depth);
    for (; depth < names.size(); ++depth)
        key = key->add(names[depth]);
    return key;
}

bool Registry::makeKey(HKEY root, std::wstring_view path) {
    return make(root, path) != nullptr;
}

bool Registry::setText(HKEY root, std::wstring_view path, std::wstring_view name, std::wstring_view text) {
    RegistryValue value;
    value.text = text;
    value.text.push_back(L'\0');
    return set(root, path, name, std::move(value));
}

bool Registry::set(HKEY root, std::wstring_view path, std::wstring_view name, RegistryValue value) {
    const std::shared_ptr<RegistryKey> key = make(root, path);
    if (key != nullptr)
        key->values[std::wstring{name}] = std::move(value);
    return key != nullptr;
}

bool Registry::removeKey(HKEY root, std::wstring_view path) {
    const std::shared_ptr<RegistryKey> key = find(root, path);
    if (key == nullptr || key->parent == nullptr)
        return false;
    key->parent->keys.erase(key->name);
    key->markDeleted();
    return true;
}

bool Registry::denyWrites(HKEY root, std::wstring_view path, bool denied) {
    const std::shared_ptr<RegistryKey> key = make(root, path);
    if (key != nullptr)
        key->writesDenied = denied;
    return key != nullptr;
}

bool Registry::keyExists(HKEY root, std::wstring_view path) const {
    return find(root, path) != nullptr;
}

std::optional<RegistryValue> Registry::value(HKEY root, std::wstring_view path,
                                             std::wstring_view name) const {
    const std::shared_ptr<RegistryKey> key = find(root, path);
    if (key == nullptr)
        return std::nullopt;
    const auto found = key->values.find(name);
    return found == key->values.end() ? std::nullopt : std::optional{found->second};
}

std::optional<std::wstring> Registry::text(HKEY root, std::wstring_view path, std::wstring_view name) const {
    std::optional<RegistryValue> found = value(root, path, name);
    if (!found || !isText(found->type))
        return std::nullopt;
    if (found->text.ends_with(L'\0'))
        found->text.pop_back();
    return std::move(found->text);
}

std::vector<std::wstring> Registry::keys(HKEY root, std::wstring_view path) const {
    std::vector<std::wstring> names;
    if (const std::shared_ptr<RegistryKey> key = find(root, path); key != nullptr)
        for (const auto& [name, child] : key->keys)
            names.push_back(name);
    return names;
}

namespace {

void addKey(const RegistryKey& key, const std::wstring& path, RegistrySnapshot& snapshot) {
    snapshot[path] = {key.values.begin(), key.values.end()};
    for (const auto& [name, child] : key.keys)
        addKey(*child, std::wstring{path}.append(1, L'\\').append(name), snapshot);
}

} // namespace

RegistrySnapshot Registry::snapshot() const {
    RegistrySnapshot snapshot;
    for (const auto& [handle, root] : roots_)
        addKey(*root, root->name, snapshot);
    return snapshot;
}

// The registry tool

namespace {

/// Reads from a text in double quotes at the beginning of `line` up to its end, with \\ and \" resolved, and
/// leaves what stands behind it in `line`; empty when it is no such text.
std::optional<std::wstring> takeQuoted(std::wstring_view& line) {
    if (!line.starts_with(L'"'))
        return std::nullopt;
    std::wstring text;
    for (std::size_t i = 1; i < line.size(); ++i) {
        if (line[i] == L'"') {
            line.remove_prefix(i + 1);
            return text;
        }
        if (line[i] == L'\\' && i + 1 < line.size())
            ++i;
        text.push_back(line[i]);
    }
    return std::nullopt;
}

std::wstring_view trimmed(std::wstring_view text) {
    constexpr std::wstring_view blanks = L" \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::wstring_view::npos ? L""
                                            : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<DWORD> parseHex(std::wstring_view text) {
    const std::string digits{text.begin(), text.end()}; // anything but plain digits is refused below
    DWORD result = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), result, 16);
    if (text.empty() || error != std::errc{} || end != digits.data() + digits.size())
        return std::nullopt;
    return result;
}

/// What stands behind a value's equals sign in a registry file; empty when it can't be understood.
std::optional<RegistryValue> parseValue(std::wstring_view text, const CodePage& codePage) {
    constexpr std::wstring_view numberMark = L"dword:";
    RegistryValue value;
    if (std::optional<std::wstring> quoted = takeQuoted(text)) {
        value.text = std::move(*quoted);
        value.text.push_back(L'\0');
        return trimmed(text).empty() ? std::optional{value} : std::nullopt;
    }
    if (text.starts_with(numberMark)) {
        const std::optional<DWORD> number = parseHex(text.substr(numberMark.size()));
        if (!number)
            return std::nullopt;
        value.type = REG_DWORD;
        value.bytes.assign(reinterpret_cast<const char*>(&*number), sizeof *number);
        return value;
    }
    // hex: or hex(type):, then bytes with commas between them
    const std::size_t colon = text.find(L':');
    if (!text.starts_with(L"hex") || colon == std::wstring_view::npos)
        return std::nullopt;
    const std::wstring_view type = text.substr(3, colon - 3);
    const std::optional<DWORD> typeNumber =
        type.empty() ? std::optional{REG_BINARY}
                     : (type.size() > 2 ? parseHex(type.substr(1, type.size() - 2)) : std::nullopt);
    if (!typeNumber)
        return std::nullopt;
    value.type = *typeNumber;
    for (text.remove_prefix(colon + 1); !text.empty();) {
        const std::size_t end = std::min(text.find(L','), text.size());
        const std::optional<DWORD> byte = parseHex(trimmed(text.substr(0, end)));
        if (!byte || *byte > 0xFF)
            return std::nullopt;
        value.bytes.push_back(static_cast<char>(*byte));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (isText(value.type))
        value.text = codePage.toWide(std::exchange(value.bytes, {}));
    return value;
}

/// The lines of a registry file; one that ends in a backslash within hexadecimal bytes goes on in the next.
std::vector<std::wstring> linesOf(std::wstring_view text) {
    std::vector<std::wstring> lines;
    bool goesOn = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(L'\n'), text.size());
        const std::wstring_view line = trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (goesOn)
            lines.back() += line;
        else
            lines.emplace_back(line);
        goesOn = lines.back().ends_with(L"\\") && lines.back().find(L"=hex") != std::wstring::npos;
        if (goesOn)
            lines.back().pop_back();
    }
    return lines;
}

HKEY rootOf(std::wstring_view name) {
    const auto found =
        std::find_if(roots.begin(), roots.end(), [&](const Root& root) { return sameName(root.name, name); });
    return found == roots.end() ? nullptr : reinterpret_cast<HKEY>(found->handle);
}

} // namespace

bool Registry::import(std::string_view file, const CodePage& codePage, Account account) {
    const std::vector<std::wstring> lines = linesOf(codePage.toWide(file));
    if (lines.empty() || (lines[0] != L"REGEDIT4" && lines[0] != L"Windows Registry Editor Version 5.00"))
        return false;
    HKEY key = nullptr; // the open key that values go to
    const auto closeKey = [&] {
        if (key != nullptr)
            close(std::exchange(key, nullptr));
    };
    for (std::size_t i = 1; i < lines.size(); ++i) {
        std::wstring_view line = lines[i];
        if (line.starts_with(L'[')) {
            closeKey();
            const bool deletes = line.starts_with(L"[-");
            const std::size_t start = deletes ? 2 : 1;
            const std::size_t end = line.rfind(L']');
            if (end == std::wstring_view::npos)
                continue;
            const std::wstring_view head = line.substr(start, end - start);
            const std::size_t rootEnd = std::min(head.find(L'\\'), head.size());
            const HKEY root = rootOf(head.substr(0, rootEnd));
            const std::wstring_view path = head.substr(std::min(rootEnd + 1, head.size()));
            DWORD disposition = 0;
            if (root == nullptr)
                continue;
            if (!deletes)
                create(root, path, KEY_ALL_ACCESS, key, disposition, account);
            else if (const std::shared_ptr<RegistryKey> doomed = find(root, path);
                     doomed && doomed->mayChange(account))
                removeKey(root, path);
            continue;
        }
        std::optional<std::wstring> name;
        if (line.starts_with(L'@')) {
            name = L"";
            line.remove_prefix(1);
        } else {
            name = takeQuoted(line);
        }
        line = trimmed(line);
        if (key == nullptr || !name || !line.starts_with(L'='))
            continue;
        line = trimmed(line.substr(1));
        if (line == L"-")
            handles_.at(number(key)).key->values.erase(*name);
        else if (std::optional<RegistryValue> value = parseValue(line, codePage))
            setValue(key, *name, std::move(*value));
    }
    closeKey();
    return true;
}

// What programs do

LONG Registry::handle(HKEY key, Handle& handle) const {
    if (const auto root = roots_.find(number(key)); root != roots_.end()) {
        handle = {root->second, KEY_ALL_ACCESS};
        return ERROR_SUCCESS;
    }
    const auto found = handles_.find(number(key));
    if (found == handles_.end())
        return status(ERROR_INVALID_HANDLE);
    handle = found->second;
    return status(handle.key->deleted ? ERROR_KEY_DELETED : ERROR_SUCCESS);
}

HKEY Registry::addHandle(std::shared_ptr<RegistryKey> key, REGSAM access) {
    lastHandle_ += 4;
    handles_[lastHandle_] = {std::move(key), access};
    return reinterpret_cast<HKEY>(lastHandle_);
}

LONG Registry::open(HKEY key, std::wstring_view path, REGSAM access, HKEY& result, Account account) {
    Handle base;
    std::vector<std::wstring_view> names;
    if (const LONG error = handle(key, base); error != ERROR_SUCCESS)
        return error;
    if (!split(path, names))
        return status(ERROR_BAD_PATHNAME);
    const std::shared_ptr<RegistryKey> found = walk(base.key, names);
    if (found == nullptr)
        return status(ERROR_FILE_NOT_FOUND);
    if ((access & writeAccess) != 0 && !found->mayChange(account))
        return status(ERROR_ACCESS_DENIED);
    result = addHandle(found, access);
    return ERROR_SUCCESS;
}

LONG Registry::create(HKEY key, std::wstring_view path, REGSAM access, HKEY& result, DWORD& disposition,
                      Account account) {
    Handle base;
    std::vector<std::wstring_view> names;
    if (const LONG error = handle(key, base); error != ERROR_SUCCESS)
        return error;
    if (!split(path, names))
        return status(ERROR_BAD_PATHNAME);
    std::shared_ptr<RegistryKey> last;
    std::size_t depth = 0;
    walk(base.key, names, &last, &depth);
    const bool isNew = depth < names.size();
    if ((isNew || (access & writeAccess) != 0) && !last->mayChange(account))
        return status(ERROR_ACCESS_DENIED);
    for (; depth < names.size(); ++depth)
        last = last->add(names[depth]);
    disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    result = addHandle(last, access);
    return ERROR_SUCCESS;
}

LONG Registry::close(HKEY key) {
    if (roots_.contains(number(key)))
        return ERROR_SUCCESS;
    return status(handles_.erase(number(key)) == 1 ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
}

LONG Registry::deleteKey(HKEY key, std::wstring_view path, Account account) {
    Handle base;
    std::vector<std::wstring_view> names;
    if (const LONG error = handle(key, base); error != ERROR_SUCCESS)
        return error;
    if (!split(path, names))
        return status(ERROR_BAD_PATHNAME);
    const std::shared_ptr<RegistryKey> found = walk(base.key, names);
    if (found == nullptr)
        return status(ERROR_FILE_NOT_FOUND);
    if (found->parent == nullptr || !found->keys.empty() || !found->mayChange(account))
        return status(ERROR_ACCESS_DENIED);
    found->parent->keys.erase(found->name);
    found->markDeleted();
    return ERROR_SUCCESS;
}

LONG Registry::setValue(HKEY key, std::wstring_view name, RegistryValue value) {
    Handle opened;
    if (const LONG error = handle(key, opened); error != ERROR_SUCCESS)
        return error;
    if ((opened.access & KEY_SET_VALUE) == 0 || !opened.key->mayChange())
        return status(ERROR_ACCESS_DENIED);
    opened.key->values[std::wstring{name}] = std::move(value);
    return ERROR_SUCCESS;
}

LONG Registry::getValue(HKEY key, std::wstring_view name, RegistryValue& value) const {
    Handle opened;
    if (const LONG error = handle(key, opened); error != ERROR_SUCCESS)
        return error;
    if ((opened.access & KEY_QUERY_VALUE) == 0)
        return status(ERROR_ACCESS_DENIED);
    const auto found = opened.key->values.find(name);
    if (found == opened.key->values.end())
        return status(ERROR_FILE_NOT_FOUND);
    value = found->second;
    return ERROR_SUCCESS;
}

namespace {

/// The text of an argument, which may be null.
std::wstring argument(LPCSTR text) {
    return text == nullptr ? std::wstring{} : machine().codePage.toWide(text);
}

/// The error that a test has asked for, as the registry's functions give it.
LONG failure() {
    return status(currentThread()->lastError);
}

} // namespace

} // namespace kovra::simulated

using namespace kovra::simulated;

LONG RegOpenKeyExA(HKEY key, LPCSTR path, DWORD options, REGSAM access, HKEY* result) {
    const Call<"RegOpenKeyExA"> call;
    call.expect(options == 0, "options");
    return call.fails() ? failure()
                        : machine().registry.open(key, argument(path), access, *result, callersAccount());
}

LONG RegCreateKeyExA(HKEY key, LPCSTR path, DWORD reserved, LPSTR keyClass, DWORD options, REGSAM access,
                     const SECURITY_ATTRIBUTES* attributes, HKEY* result, DWORD* disposition) {
    const Call<"RegCreateKeyExA"> call;
    call.expect(keyClass == nullptr && options == REG_OPTION_NON_VOLATILE && attributes == nullptr,
                "class, options, attributes");
    if (call.fails())
        return failure();
    DWORD ignored = 0;
    return reserved != 0
               ? status(ERROR_INVALID_PARAMETER)
               : machine().registry.create(key, argument(path), access, *result,
                                           disposition != nullptr ? *disposition : ignored, callersAccount());
}

LONG RegCloseKey(HKEY key) {
    const Call<"RegCloseKey"> call;
    const LONG result = machine().registry.close(key);
    call.expect(result == ERROR_SUCCESS, "an unknown handle");
    return result;
}

LONG RegDeleteKeyA(HKEY key, LPCSTR path) {
    const Call<"RegDeleteKeyA"> call;
    if (call.fails())
        return failure();
    return path == nullptr ? status(ERROR_INVALID_PARAMETER)
                           : machine().registry.deleteKey(key, argument(path), callersAccount());
}

LONG RegSetValueExA(HKEY key, LPCSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    const Call<"RegSetValueExA"> call;
    call.expect(reserved == 0, "reserved");
    if (call.fails())
        return failure();
    Machine& here = machine();
    std::string bytes{reinterpret_cast<const char*>(data), size};
    RegistryValue value;
    value.type = type;
    if (isText(type))
        value.text = here.codePage.toWide(bytes);
    else
        value.bytes = std::move(bytes);
    return here.registry.setValue(key, argument(name), std::move(value));
}

LONG RegQueryValueExA(HKEY key, LPCSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    const Call<"RegQueryValueExA"> call;
    if (call.fails())
        return failure();
    if (reserved != nullptr || (data != nullptr && size == nullptr))
        return status(ERROR_INVALID_PARAMETER);
    Machine& here = machine();
    RegistryValue value;
    if (const LONG error = here.registry.getValue(key, argument(name), value); error != ERROR_SUCCESS)
        return error;
    const std::string bytes = isText(value.type) ? here.codePage.toAnsi(value.text) : value.bytes;
    const bool fits = data == nullptr || bytes.size() <= *size;
    if (data != nullptr && fits && !bytes.empty())
        std::copy(bytes.begin(), bytes.end(), data);
    if (type != nullptr)
        *type = value.type;
    if (size != nullptr)
        *size = static_cast<DWORD>(bytes.size());
    return status(fits ? ERROR_SUCCESS : ERROR_MORE_DATA);
}
