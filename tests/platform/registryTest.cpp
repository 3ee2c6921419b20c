#include "tests/platform/contract.h"

namespace kovra::contract {
namespace {

constexpr LONG success = ERROR_SUCCESS;
constexpr LONG missing = ERROR_FILE_NOT_FOUND;
constexpr LONG denied = ERROR_ACCESS_DENIED;

/// The full path of a key of the test's own.
std::string at(const std::string& path) {
    return scratchKey + path;
}

RegistryKey create(const std::string& path) {
    RegistryKey key;
    EXPECT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, at(path).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_ALL_ACCESS, nullptr, key.out(), nullptr),
              success);
    return key;
}

LONG open(const std::string& path, RegistryKey&& key = {}) {
    return RegOpenKeyExA(HKEY_CLASSES_ROOT, at(path).c_str(), 0, KEY_READ, key.out());
}

LONG drop(const std::string& path) {
    return RegDeleteKeyA(HKEY_CLASSES_ROOT, at(path).c_str());
}

LONG set(const RegistryKey& key, const char* name, const std::string& bytes, DWORD type = REG_SZ) {
    return RegSetValueExA(key.get(), name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                          static_cast<DWORD>(bytes.size()));
}

/// The bytes of a value, with the type's number in brackets before them where that isn't a text's.
std::optional<std::string> get(const std::string& path, const char* name, DWORD room = 64) {
    RegistryKey key;
    BYTE buffer[64];
    DWORD size = room;
    DWORD type = 0;
    if (open(path, std::move(key)) != success)
        return std::nullopt;
    const LONG result = RegQueryValueExA(key.get(), name, nullptr, &type, buffer, &size);
    if (result == static_cast<LONG>(ERROR_MORE_DATA))
        return "needs " + std::to_string(size);
    if (result != success)
        return std::nullopt;
    return (type == REG_SZ ? "" : "(" + std::to_string(type) + ")") + std::string(buffer, buffer + size);
}

CONTRACT_TEST(Registry, KeysAreFoundWhateverTheirCaseAndTheirEnd) {
    create("\\Directory\\Sh\xE4ll\\");
    EXPECT_EQ(open("\\directory\\SH\xC4LL"), success);
    EXPECT_EQ(open("\\Directory\\Sh\xE4ll\\"), success);
    EXPECT_EQ(open("\\Directory "), missing) << "a blank is part of a name";
}

CONTRACT_TEST(Registry, AKeyGoesOnlyWithoutKeysBelowIt) {
    const RegistryKey key = create("\\a");
    EXPECT_EQ(drop(""), denied);
    EXPECT_EQ(drop("\\A"), success);
    EXPECT_NE(set(key, "", ""), success) << "its handle outlasts it, but nothing can be done with it";
    EXPECT_EQ(drop("\\a"), missing);
    EXPECT_EQ(drop(""), success);
    EXPECT_EQ(open(""), missing);
}

CONTRACT_TEST(Registry, ValuesAreBytesOfTheCodePage) {
    const RegistryKey key = create("");
    EXPECT_EQ(set(key, "\xF6", std::string{"\xDF\0", 2}), success);
    EXPECT_EQ(get("", "\xD6", 2), (std::string{"\xDF\0", 2}));
    EXPECT_EQ(get("", "\xD6", 1), "needs 2");
    EXPECT_EQ(set(key, "number", "1234", REG_DWORD), success);
    EXPECT_EQ(get("", "number"), "(4)1234");
    EXPECT_EQ(get("", nullptr), std::nullopt);
    EXPECT_EQ(RegSetValueExA(key.get(), nullptr, 0, REG_SZ, nullptr, 0), success);
    EXPECT_EQ(get("", ""), "") << "stored without even a terminator";
    RegistryKey readOnly;
    EXPECT_EQ(open("", std::move(readOnly)), success);
    EXPECT_EQ(set(readOnly, "", ""), denied);
}

CONTRACT_TEST(Registry, TheToolImportsAFile) {
    const std::string key = "[HKEY_CLASSES_ROOT\\" + scratchKey;
    const std::string file = scratchFolder + "\\import.reg";
    create("\\goes\\with\\all");
    write(file, "REGEDIT4\r\n\r\n[-HKEY_CLASSES_ROOT\\" + scratchKey + "\\goes]\r\n@=\"lost\"\r\n" + key +
                    "\\*\\Kovra]\r\n@=\"\xC4 \\\"B\\\" [x]\"\r\n\"Icon\"=\"C:\\\\Kovra.exe,0\"\r\n"
                    "\"broken\"=\"no end\r\n\r\n" +
                    key + "\\*\\Kovra\\last]\r\n@=\"run\"\r\n");
    const HINSTANCE result = ShellExecuteA(nullptr, "Open", "regedit", ("/s \"" + file + "\"").c_str(),
                                           scratchFolder.c_str(), SW_HIDE);
    EXPECT_GT(reinterpret_cast<UINT_PTR>(result), 32U);
    EXPECT_TRUE(soon([] { return get("\\*\\Kovra\\last", "").has_value(); }));
    EXPECT_EQ(open("\\goes"), missing);
    EXPECT_EQ(get("\\*\\Kovra", ""), (std::string{"\xC4 \"B\" [x]\0", 10}));
    EXPECT_EQ(get("\\*\\Kovra", "icon"), (std::string{"C:\\Kovra.exe,0\0", 15}));
    EXPECT_EQ(get("\\*\\Kovra", "broken"), std::nullopt);
}

} // namespace
} // namespace kovra::contract
