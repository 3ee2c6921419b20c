#include "tests/platform/contract.h"

#include <optional>

namespace kovra::contract {
namespace {

constexpr LONG success = ERROR_SUCCESS;

// Paths are those below the test's own key.

LONG create(const std::string& path, RegistryKey&& key = {}) {
    return RegCreateKeyExA(HKEY_CLASSES_ROOT, (scratchKey + path).c_str(), 0, nullptr,
                           REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, key.out(), nullptr);
}

LONG open(const std::string& path, RegistryKey&& key = {}) {
    return RegOpenKeyExA(HKEY_CLASSES_ROOT, (scratchKey + path).c_str(), 0, KEY_READ, key.out());
}

LONG drop(const std::string& path) {
    return RegDeleteKeyA(HKEY_CLASSES_ROOT, (scratchKey + path).c_str());
}

LONG set(const RegistryKey& key, const char* name, const std::string& bytes, DWORD type = REG_SZ) {
    return RegSetValueExA(key.get(), name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                          static_cast<DWORD>(bytes.size()));
}

/// The type's number and the bytes of a value.
std::optional<std::string> get(const std::string& path, const char* name, DWORD size = 64) {
    RegistryKey key;
    BYTE buffer[64];
    DWORD type = 0;
    if (open(path, std::move(key)) != success ||
        RegQueryValueExA(key.get(), name, nullptr, &type, buffer, &size) != success)
        return std::nullopt;
    return std::to_string(type) + ":" + std::string(buffer, buffer + size);
}

CONTRACT_TEST(Registry, AKeyIsFoundInAnyCaseAndGoesOnlyWithoutKeysBelowIt) {
    RegistryKey key;
    EXPECT_EQ(create("\\Sh\xE4ll\\", std::move(key)), success);
    EXPECT_EQ(open("\\SH\xC4LL"), success);
    EXPECT_EQ(open("\\Sh\xE4ll\\"), success);
    EXPECT_NE(open("\\Sh\xE4ll "), success) << "a blank is part of a name";
    EXPECT_NE(drop(""), success);
    EXPECT_EQ(drop("\\sh\xE4ll"), success);
    EXPECT_NE(set(key, "", ""), success) << "its handle outlasts it, but nothing can be done with it";
    EXPECT_NE(drop("\\Sh\xE4ll"), success);
    EXPECT_EQ(drop(""), success);
}

CONTRACT_TEST(Registry, ValuesAreBytesOfTheCodePage) {
    RegistryKey key;
    create("", std::move(key));
    EXPECT_EQ(set(key, "\xF6", std::string{"\xDF\0", 2}), success);
    EXPECT_EQ(get("", "\xD6", 2), (std::string{"1:\xDF\0", 4}));
    EXPECT_EQ(get("", "\xD6", 1), std::nullopt) << "too little room";
    EXPECT_EQ(set(key, "number", "1234", REG_DWORD), success);
    EXPECT_EQ(get("", "NUMBER"), "4:1234");
    EXPECT_EQ(get("", nullptr), std::nullopt);
    EXPECT_EQ(RegSetValueExA(key.get(), nullptr, 0, REG_SZ, nullptr, 0), success);
    EXPECT_EQ(get("", ""), "1:") << "stored without even a terminator";
    RegistryKey readOnly;
    open("", std::move(readOnly));
    EXPECT_NE(set(readOnly, "", ""), success);
}

CONTRACT_TEST(Registry, TheToolImportsAFile) {
    const std::string key = "[HKEY_CLASSES_ROOT\\" + scratchKey;
    const std::string file = scratchFolder + "\\import.reg";
    create("\\goes\\with\\all");
    write(file, "REGEDIT4\r\n\r\n[-HKEY_CLASSES_ROOT\\" + scratchKey + "\\goes]\r\n@=\"lost\"\r\n" + key +
                    "\\*\\Kovra]\r\n@=\"\xC4 \\\"B\\\" [x]\"\r\n\"Icon\"=\"C:\\\\Kovra.exe,0\"\r\n"
                    "\r\n" +
                    key + "\\last]\r\n@=\"run\"\r\n");
    ShellExecuteA(nullptr, "Open", "regedit", ("/s \"" + file + "\"").c_str(), scratchFolder.c_str(),
                  SW_HIDE);
    EXPECT_TRUE(soon([] { return get("\\last", "").has_value(); }));
    EXPECT_NE(open("\\goes"), success);
    EXPECT_EQ(get("\\*\\Kovra", ""), (std::string{"1:\xC4 \"B\" [x]\0", 12}));
    EXPECT_EQ(get("\\*\\Kovra", "icon"), (std::string{"1:C:\\Kovra.exe,0\0", 17}));
}

} // namespace
} // namespace kovra::contract
