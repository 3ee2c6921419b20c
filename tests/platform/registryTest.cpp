#include "platform/simulated/machine.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace kovra::simulated {
namespace {

const HKEY root = HKEY_CLASSES_ROOT;

const BYTE* bytesOf(const char* text) {
    return reinterpret_cast<const BYTE*>(text);
}

TEST(Registry, KeysAreFoundWhateverTheirCaseAndTheirEnd) {
    Registry registry;
    registry.setText(root, L"Directory\\Shell\\Kovra", L"", L"Share");
    for (const auto* path : {L"Directory\\Shell\\Kovra", L"directory\\SHELL\\kovra\\"}) {
        HKEY key = nullptr;
        ASSERT_EQ(registry.open(root, path, KEY_READ, key), 0);
        HKEY again = nullptr;
        EXPECT_EQ(registry.open(key, L"", KEY_READ, again), 0);
        EXPECT_EQ(registry.openHandles(), 2U);
        EXPECT_EQ(registry.close(key), 0);
        EXPECT_EQ(registry.close(again), 0);
    }
    HKEY key = nullptr;
    EXPECT_EQ(registry.open(root, L"Directory\\Shell\\Kovra \\", KEY_READ, key),
              2); // a blank is part of a name
    EXPECT_EQ(registry.open(root, L"\\Directory", KEY_READ, key), 161);
    EXPECT_EQ(registry.open(root, L"Directory\\\\Shell", KEY_READ, key), 161);
    EXPECT_EQ(registry.close(key), static_cast<LONG>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(registry.keys(root, L"Directory"), std::vector<std::wstring>{L"Shell"});
}

TEST(Registry, AKeyGoesOnlyWithoutKeysBelowIt) {
    Registry registry;
    const RegistrySnapshot before = registry.snapshot();
    registry.setText(root, L"a\\b", L"name", L"text");
    EXPECT_EQ(registry.deleteKey(root, L"a"), static_cast<LONG>(ERROR_ACCESS_DENIED));
    HKEY key = nullptr;
    ASSERT_EQ(registry.open(root, L"a\\b", KEY_ALL_ACCESS, key), 0);
    EXPECT_EQ(registry.deleteKey(root, L"A\\B"), 0);
    EXPECT_EQ(registry.setValue(key, L"name", {}),
              1018); // its handle outlasts it, but nothing can be done with it
    registry.close(key);
    EXPECT_EQ(registry.deleteKey(root, L"a\\b"), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(registry.deleteKey(root, L"a"), 0);
    EXPECT_EQ(registry.deleteKey(root, L""), static_cast<LONG>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(registry.snapshot(), before);
}

TEST(Registry, AccessIsWhatTheHandleWasOpenedFor) {
    Registry registry;
    registry.makeKey(root, L"a\\b");
    registry.makeKey(root, L"c");
    ASSERT_TRUE(registry.denyWrites(root, L"a"));
    HKEY key = nullptr;
    DWORD disposition = 0;
    EXPECT_EQ(registry.open(root, L"a\\b", KEY_ALL_ACCESS, key), static_cast<LONG>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(registry.create(root, L"a\\new", KEY_READ, key, disposition),
              static_cast<LONG>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(registry.deleteKey(root, L"a\\b"), static_cast<LONG>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(registry.open(root, L"a\\b", KEY_READ, key), 0);
    registry.close(key);
    ASSERT_EQ(registry.open(root, L"c", KEY_READ, key), 0);
    EXPECT_EQ(registry.setValue(key, L"", {}), static_cast<LONG>(ERROR_ACCESS_DENIED));
    registry.close(key);
}

TEST(Registry, FunctionsCrossTheCodePage) {
    Machine machine;
    machine.inside([&machine] {
        HKEY key = nullptr;
        DWORD disposition = 0;
        ASSERT_EQ(
            RegCreateKeyExA(root, "x\\\xE4", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, &disposition), 0);
        EXPECT_EQ(disposition, 1U);
        EXPECT_EQ(RegSetValueExA(key, "\xF6", 0, REG_SZ, bytesOf("\xDF"), 2), 0);
        EXPECT_EQ(machine.registry.text(root, L"x\\\u00C4", L"\u00D6"), L"\u00DF");

        std::array<BYTE, 8> buffer{};
        DWORD type = 0;
        DWORD size = 1;
        EXPECT_EQ(RegQueryValueExA(key, "\xD6", nullptr, &type, buffer.data(), &size), 234);
        EXPECT_EQ(size, 2U);
        EXPECT_EQ(RegQueryValueExA(key, "\xD6", nullptr, &type, buffer.data(), &size), 0);
        EXPECT_EQ(buffer[0], 0xDF);
        EXPECT_EQ(buffer[1], 0);
        EXPECT_EQ(type, REG_SZ);
        size = 8;
        EXPECT_EQ(RegQueryValueExA(key, nullptr, nullptr, &type, buffer.data(), &size), 2);
        EXPECT_EQ(size, 8U);
        EXPECT_EQ(RegSetValueExA(key, nullptr, 0, REG_SZ, nullptr, 0), 0); // stored without even a terminator
        EXPECT_EQ(RegQueryValueExA(key, "", nullptr, nullptr, nullptr, &size), 0);
        EXPECT_EQ(size, 0U);
        EXPECT_EQ(RegCloseKey(key), 0);

        machine.fail("RegOpenKeyExA", ERROR_ACCESS_DENIED);
        EXPECT_EQ(RegOpenKeyExA(root, "x", 0, KEY_READ, &key), static_cast<LONG>(ERROR_ACCESS_DENIED));
    });
    EXPECT_EQ(machine.registry.openHandles(), 0U);
}

TEST(Registry, ImportTakesARegistryFile) {
    Registry registry;
    const CodePage codePage;
    ASSERT_TRUE(registry.import("REGEDIT4\r\n"
                                "\r\n"
                                "; a comment\r\n"
                                "[HKEY_CLASSES_ROOT\\*\\Shell\\KOVRA.share]\r\n"
                                "@=\"\xC4 \\\"B\\\" [x]\"\r\n"
                                "\"Icon\" = \"C:\\\\Kovra\\\\bin\\\\Kovra.exe,0\"\r\n"
                                "\"a=\\\"b\"=dword:0000001F\r\n"
                                "\"bytes\"=hex:01,02,\\\r\n"
                                "  ff\r\n"
                                "\"path\"=hex(2):25,61,25,00\r\n"
                                "\"broken\"=\"no end\r\n"
                                "\r\n"
                                "[HKEY_CLASSES_ROOT\\*\\Shell\\KOVRA.share\\command]\r\n"
                                "@=\"run\"",
                                codePage));
    const std::wstring key = L"*\\Shell\\KOVRA.share";
    EXPECT_EQ(registry.text(root, key, L""), L"\u00C4 \"B\" [x]");
    EXPECT_EQ(registry.text(root, key, L"icon"), L"C:\\Kovra\\bin\\Kovra.exe,0");
    EXPECT_EQ(registry.value(root, key, L"a=\"b"),
              (RegistryValue{REG_DWORD, L"", std::string{"\x1F\0\0\0", 4}}));
    EXPECT_EQ(registry.value(root, key, L"bytes"), (RegistryValue{3, L"", "\x01\x02\xFF"}));
    EXPECT_EQ(registry.value(root, key, L"path"), (RegistryValue{2, std::wstring{L"%a%\0", 4}, ""}));
    EXPECT_FALSE(registry.value(root, key, L"broken"));
    EXPECT_EQ(registry.text(root, key + L"\\command", L""), L"run");
    EXPECT_EQ(registry.openHandles(), 0U);
}

TEST(Registry, ImportDeletesKeysWithAllBelowAndValues) {
    Registry registry;
    const CodePage codePage;
    registry.setText(root, L"stays", L"goes", L"x");
    registry.setText(root, L"stays", L"stays", L"x");
    const std::string removal =
        "REGEDIT4\n[-HKEY_CLASSES_ROOT\\a]\n@=\"lost\"\n[HKEY_CLASSES_ROOT\\stays]\n\"goes\"=-\n";
    registry.setText(root, L"a\\b\\c", L"", L"x");
    registry.denyWrites(root, L"a");
    ASSERT_TRUE(registry.import(removal, codePage));
    EXPECT_TRUE(registry.keyExists(root, L"a\\b\\c"));
    registry.denyWrites(root, L"a", false);
    ASSERT_TRUE(registry.import(removal, codePage));
    EXPECT_FALSE(registry.keyExists(root, L"a"));
    EXPECT_FALSE(registry.value(root, L"stays", L"goes"));
    EXPECT_TRUE(registry.value(root, L"stays", L"stays"));

    EXPECT_FALSE(registry.import("[HKEY_CLASSES_ROOT\\x]\n", codePage));
    EXPECT_FALSE(registry.import("", codePage));
    EXPECT_FALSE(registry.keyExists(root, L"x"));
}

} // namespace
} // namespace kovra::simulated
