#include "platform/simulated/machine.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace kovra::simulated {
namespace {

const BYTE* bytesOf(const char* text) {
    return reinterpret_cast<const BYTE*>(text);
}

TEST(Registry, FunctionsCrossTheCodePage) {
    Machine machine;
    machine.inside([&machine] {
        HKEY key = nullptr;
        DWORD disposition = 0;
        ASSERT_EQ(RegCreateKeyExA(HKEY_CLASSES_ROOT, "x\\\xE4", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                                  &disposition),
                  0);
        EXPECT_EQ(RegSetValueExA(key, "\xF6", 0, REG_SZ, bytesOf("\xDF"), 2), 0);
        EXPECT_EQ(machine.registry.text(L"x\\\u00C4", L"\u00D6"), L"\u00DF");

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
        EXPECT_EQ(RegCloseKey(key), 0);

        machine.fail("RegOpenKeyExA", ERROR_ACCESS_DENIED);
        EXPECT_EQ(RegOpenKeyExA(HKEY_CLASSES_ROOT, "x", 0, KEY_READ, &key),
                  static_cast<LONG>(ERROR_ACCESS_DENIED));
    });
    EXPECT_EQ(machine.registry.openHandles(), 0U);
}

TEST(Registry, ImportTakesARegistryFile) {
    Registry registry;
    const CodePage codePage;
    registry.setText(L"goes\\below", L"", L"x");
    registry.setText(L"stays\\below", L"", L"x");
    registry.denyWrites(L"stays");
    registry.import("REGEDIT4\r\n"
                    "\r\n"
                    "[-HKEY_CLASSES_ROOT\\goes]\r\n"
                    "[-HKEY_CLASSES_ROOT\\stays]\r\n"
                    "@=\"lost\"\r\n"
                    "[HKEY_CLASSES_ROOT\\*\\Shell\\KOVRA.share]\r\n"
                    "@=\"\xC4 \\\"B\\\" [x]\"\r\n"
                    "\"broken\"=\"no end\r\n"
                    "\"Icon\"=\"C:\\\\Kovra\\\\bin\\\\Kovra.exe,0\"",
                    codePage, Account::administrator);
    EXPECT_EQ(registry.text(L"*\\Shell\\KOVRA.share", L""), L"\u00C4 \"B\" [x]");
    EXPECT_EQ(registry.text(L"*\\Shell\\KOVRA.share", L"icon"), L"C:\\Kovra\\bin\\Kovra.exe,0");
    EXPECT_FALSE(registry.value(L"*\\Shell\\KOVRA.share", L"broken"));
    EXPECT_FALSE(registry.keyExists(L"goes\\below"));
    EXPECT_FALSE(registry.value(L"stays", L""));
    EXPECT_TRUE(registry.keyExists(L"stays\\below"));
    registry.import("[HKEY_CLASSES_ROOT\\x]\n", codePage, Account::administrator);
    EXPECT_FALSE(registry.keyExists(L"x"));
}

} // namespace
} // namespace kovra::simulated
