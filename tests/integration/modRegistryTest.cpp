#include "integration/modRegistry.h"

#include "platform/simulated/machine.h"

#include <gtest/gtest.h>

namespace kovra {
namespace {

const HKEY root = HKEY_CLASSES_ROOT;

TEST(ModRegistry, QueryGivesTextWithoutOuterBlanks) {
    simulated::Machine machine;
    machine.registry.setText(L"a\\b", L"", L"  two words ");
    machine.registry.setText(L"a\\b ", L"", L"key with a blank");
    machine.registry.setText(L"a\\b", L"empty", L"");
    machine.registry.set(L"a\\b", L"binary", {3, L"", "xyz"});
    machine.registry.set(L"a\\b", L"nothing", {3, L"", ""});
    machine.inside([&] {
        EXPECT_EQ(regQueryString(root, L"a\\b", L""), L"two words");
        EXPECT_EQ(regQueryString(root, L"A\\B\\", L""), L"two words");
        EXPECT_EQ(regQueryString(root, L"a\\b ", L""), L"key with a blank");
        EXPECT_EQ(regQueryString(root, L"a\\b", L"empty"), L"");
        EXPECT_EQ(regQueryString(root, L"a\\b", L"binary"),
                  L"xy"); // any type; the last byte is the terminator's
        EXPECT_EQ(regQueryString(root, L"a\\b", L"nothing"), L"");
        EXPECT_EQ(regQueryString(root, L"a\\b", L"missing"), L"");
        EXPECT_EQ(regQueryString(root, L"missing", L""), L"");
    });
}

TEST(ModRegistry, QueryTakesAtMost4096Bytes) {
    simulated::Machine machine;
    const std::wstring longest(4095, L'x');
    machine.registry.set(L"a", L"longest", {REG_SZ, longest + L'\0'});
    machine.registry.set(L"a", L"longer", {REG_SZ, longest + L'x' + L'\0'});
    machine.inside([&] {
        EXPECT_EQ(regQueryString(root, L"a", L"longest"), longest);
        EXPECT_EQ(regQueryString(root, L"a", L"longer"), L"");
    });
}

TEST(ModRegistry, WritesTextAndNumbersIntoExistingKeys) {
    simulated::Machine machine;
    machine.inside([&] {
        EXPECT_FALSE(regSetValue(root, L"a\\b", L"", std::wstring{L"x"}, REG_SZ));
        EXPECT_FALSE(machine.registry.keyExists(L"a"));
        EXPECT_TRUE(regCreateKey(root, L"a\\b"));
        EXPECT_TRUE(regCreateKey(root, L"a\\b"));
        EXPECT_TRUE(regSetValue(root, L"a\\b", L"", std::wstring{L"Z\u00FCrich \u2603"}, REG_SZ));
        EXPECT_TRUE(regSetValue(root, L"a\\b", L"empty", std::wstring{}, REG_SZ));
        EXPECT_TRUE(regSetValue(root, L"a\\b", L"number as text", -5, REG_SZ));
        EXPECT_TRUE(regSetValue(root, L"a\\b", L"number", -5, REG_DWORD));
        EXPECT_TRUE(regSetValue(root, L"a\\b", L"text as number", std::wstring{L" 258 "}, REG_DWORD));
        EXPECT_FALSE(regSetValue(root, L"a\\b", L"no number", std::wstring{L"x"}, REG_DWORD));
        EXPECT_TRUE(regSetValue(root, L"a\\b", L"other type", std::wstring{L"x"}, 3));
    });
    const auto value = [&](const wchar_t* name) { return machine.registry.value(L"a\\b", name); };
    EXPECT_EQ(machine.registry.text(L"a\\b", L""), L"Z\u00FCrich ?"); // the code page lacks the snowman
    EXPECT_EQ(value(L"empty")->text, std::wstring(1, L'\0'));
    EXPECT_EQ(machine.registry.text(L"a\\b", L"number as text"), L"-5");
    EXPECT_EQ(value(L"number")->bytes, "\xFB\xFF\xFF\xFF");
    EXPECT_EQ(value(L"text as number")->bytes, std::string("\x02\x01\0\0", 4));
    EXPECT_EQ(value(L"text as number")->type, REG_DWORD);
    EXPECT_FALSE(value(L"no number"));
    EXPECT_FALSE(value(L"other type"));
}

TEST(ModRegistry, DeletesFromTheInsideOutAndTellsOfRefusals) {
    simulated::Machine machine;
    machine.registry.setText(L"a\\b", L"", L"x");
    machine.inside([&] {
        EXPECT_FALSE(regDeleteKey(root, L"a"));
        EXPECT_TRUE(machine.registry.keyExists(L"a"));
        EXPECT_TRUE(regDeleteKey(root, L"a\\b"));
        EXPECT_TRUE(regDeleteKey(root, L"a"));
        EXPECT_FALSE(regDeleteKey(root, L"a"));
        machine.registry.denyWrites(L"c");
        EXPECT_FALSE(regCreateKey(root, L"c\\d"));
        EXPECT_FALSE(regSetValue(root, L"c", L"", std::wstring{L"x"}, REG_SZ));
        EXPECT_FALSE(regDeleteKey(root, L"c"));
    });
}

} // namespace
} // namespace kovra
