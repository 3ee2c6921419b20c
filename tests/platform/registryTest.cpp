#include "tests/platform/contract.h"

#include <string>

namespace kovra::contract {
namespace {

const HKEY root = HKEY_CLASSES_ROOT;
constexpr LONG success = ERROR_SUCCESS;
constexpr LONG missing = ERROR_FILE_NOT_FOUND;
constexpr LONG denied = ERROR_ACCESS_DENIED;
constexpr DWORD anyType = 0x4711;

/// Makes the key, or opens it, below the scratch key.
HKEY create(const std::string& path) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExA(root, (scratchKey + path).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_ALL_ACCESS, nullptr, &key, nullptr),
              success);
    return key;
}

LONG open(const std::string& path, REGSAM access = KEY_READ) {
    HKEY key = nullptr;
    const LONG result = RegOpenKeyExA(root, path.c_str(), 0, access, &key);
    if (result == success)
        RegCloseKey(key);
    return result;
}

LONG set(HKEY key, const char* name, const std::string& bytes, DWORD type = REG_SZ) {
    return RegSetValueExA(key, name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                          static_cast<DWORD>(bytes.size()));
}

/// The bytes of a value that is a text; its number in brackets where that is another type.
std::optional<std::string> get(HKEY key, const char* name) {
    BYTE buffer[64];
    DWORD size = sizeof buffer;
    DWORD type = anyType;
    if (RegQueryValueExA(key, name, nullptr, &type, buffer, &size) != success)
        return std::nullopt;
    return (type == REG_SZ ? "" : "(" + std::to_string(type) + ")") + std::string(buffer, buffer + size);
}

std::optional<std::string> get(const std::string& path, const char* name) {
    HKEY key = nullptr;
    if (RegOpenKeyExA(root, (scratchKey + path).c_str(), 0, KEY_READ, &key) != success)
        return std::nullopt;
    const std::optional<std::string> value = get(key, name);
    RegCloseKey(key);
    return value;
}

/// Has the registry tool take the text, and waits for `done`, which tells the last thing that it does.
template <typename Condition>
bool import(const std::string& text, Condition done) {
    const std::string file = scratchFolder + "\\import.reg";
    write(file, text);
    const auto result = reinterpret_cast<UINT_PTR>(ShellExecuteA(
        nullptr, "Open", "regedit", ("/s \"" + file + "\"").c_str(), scratchFolder.c_str(), SW_HIDE));
    return result > 32 && soon(done);
}

CONTRACT_TEST(Registry, KeysAreFoundWhateverTheirCaseAndTheirEnd) {
    RegCloseKey(create("\\Directory\\Shell\\"));
    EXPECT_EQ(open(scratchKey + "\\directory\\SHELL"), success);
    EXPECT_EQ(open(scratchKey + "\\Directory\\Shell\\"), success);
    EXPECT_EQ(open(scratchKey + "\\Directory\\Shell "), missing) << "a blank is part of a name";
}

CONTRACT_TEST(Registry, AKeyGoesOnlyWithoutKeysBelowIt) {
    const HKEY key = create("\\a");
    EXPECT_EQ(RegDeleteKeyA(root, scratchKey.c_str()), denied);
    EXPECT_EQ(RegDeleteKeyA(root, (scratchKey + "\\A").c_str()), success);
    EXPECT_NE(set(key, "", ""), success) << "its handle outlasts it, but nothing can be done with it";
    RegCloseKey(key);
    EXPECT_EQ(RegDeleteKeyA(root, (scratchKey + "\\a").c_str()), missing);
    EXPECT_EQ(RegDeleteKeyA(root, scratchKey.c_str()), success);
    EXPECT_EQ(open(scratchKey), missing);
}

CONTRACT_TEST(Registry, AccessIsWhatTheHandleWasOpenedFor) {
    RegCloseKey(create(""));
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(root, scratchKey.c_str(), 0, KEY_READ, &key), success);
    EXPECT_EQ(set(key, "", ""), denied);
    RegCloseKey(key);
}

CONTRACT_TEST(Registry, ValuesAreBytesOfTheCodePage) {
    const HKEY key = create("\\x\\\xE4");
    EXPECT_EQ(open(scratchKey + "\\x\\\xC4"), success) << "case, in the code page";
    EXPECT_EQ(set(key, "\xF6", std::string{"\xDF\0", 2}), success);
    EXPECT_EQ(get(key, "\xD6"), (std::string{"\xDF\0", 2}));
    EXPECT_EQ(set(key, "number", "1234", REG_DWORD), success);
    EXPECT_EQ(get(key, "number"), "(4)1234");
    EXPECT_EQ(get(key, nullptr), std::nullopt);
    EXPECT_EQ(RegSetValueExA(key, nullptr, 0, REG_SZ, nullptr, 0), success);
    EXPECT_EQ(get(key, ""), "") << "stored without even a terminator";

    BYTE buffer[8]{};
    DWORD type = anyType;
    DWORD size = 1;
    EXPECT_EQ(RegQueryValueExA(key, "\xF6", nullptr, &type, buffer, &size),
              static_cast<LONG>(ERROR_MORE_DATA));
    EXPECT_EQ(size, 2U);
    EXPECT_EQ(RegQueryValueExA(key, "\xF6", nullptr, &type, buffer, &size), success) << "just room";
    EXPECT_EQ(buffer[0], 0xDF);
    EXPECT_EQ(RegCloseKey(key), success);
}

CONTRACT_TEST(Registry, TheToolImportsAFile) {
    const std::string key = "[HKEY_CLASSES_ROOT\\" + scratchKey;
    RegCloseKey(create("\\goes\\with\\all"));
    EXPECT_TRUE(import("REGEDIT4\r\n\r\n[-HKEY_CLASSES_ROOT\\" + scratchKey + "\\goes]\r\n@=\"lost\"\r\n" +
                           key +
                           "\\*\\Kovra]\r\n@=\"\xC4 \\\"B\\\" [x]\"\r\n\"Icon\"=\"C:\\\\Kovra.exe,0\"\r\n"
                           "\"broken\"=\"no end\r\n\r\n" +
                           key + "\\*\\Kovra\\last]\r\n@=\"run\"\r\n",
                       [] { return get("\\*\\Kovra\\last", "").has_value(); }));
    EXPECT_EQ(open(scratchKey + "\\goes"), missing);
    EXPECT_EQ(get("\\*\\Kovra", ""), (std::string{"\xC4 \"B\" [x]\0", 10}));
    EXPECT_EQ(get("\\*\\Kovra", "icon"), (std::string{"C:\\Kovra.exe,0\0", 15}));
    EXPECT_EQ(get("\\*\\Kovra", "broken"), std::nullopt);
}

} // namespace
} // namespace kovra::contract
