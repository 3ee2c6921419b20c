#include "integration/modRegistry.h"

#include "platform/simulated/machine.h"

#include <gtest/gtest.h>

namespace kovra {
namespace {

const HKEY root = HKEY_CLASSES_ROOT;

TEST(ModRegistry, QueriesGiveTextOfAtMost4096BytesWithoutOuterBlanks) {
    simulated::Machine machine;
    const std::wstring longest(4095, L'x');
    machine.registry.setText(L"a\\b", L"", L"  two words ");
    machine.registry.set(L"a\\b", L"binary", {3, L"", "xyz"});
    machine.registry.set(L"a\\b", L"nothing", {3, L"", ""});
    machine.registry.set(L"a\\b", L"longest", {REG_SZ, longest + L'\0'});
    machine.registry.set(L"a\\b", L"longer", {REG_SZ, longest + L'x' + L'\0'});
    const std::pair<const wchar_t*, std::wstring> rows[] = {
        {L"", L"two words"}, {L"binary", L"xy"}, // any type; the last byte is the terminator's
        {L"nothing", L""},   {L"missing", L""},  {L"longest", longest}, {L"longer", L""}};
    machine.inside([&] {
        for (const auto& [name, text] : rows)
            EXPECT_EQ(regQueryString(root, L"a\\b", name), text) << testing::PrintToString(name);
        EXPECT_EQ(regQueryString(root, L"A\\B\\", L""), L"two words");
        EXPECT_EQ(regQueryString(root, L"missing", L""), L"");
    });
}

TEST(ModRegistry, WritesTextAndNumbersIntoExistingKeys) {
    simulated::Machine machine;
    machine.inside([&] {
        EXPECT_FALSE(regSetValue(root, L"a", L"", std::wstring{L"x"}, REG_SZ));
        EXPECT_TRUE(regCreateKey(root, L"a\\b"));
        EXPECT_TRUE(regSetValue(root, L"a", L"", std::wstring{L"Z\u00FCrich \u2603"}, REG_SZ));
        EXPECT_TRUE(regSetValue(root, L"a", L"number as text", -5, REG_SZ));
        EXPECT_TRUE(regSetValue(root, L"a", L"number", -5, REG_DWORD));
        EXPECT_TRUE(regSetValue(root, L"a", L"text as number", std::wstring{L" 258 "}, REG_DWORD));
        EXPECT_FALSE(regSetValue(root, L"a", L"no number", std::wstring{L"x"}, REG_DWORD));
        EXPECT_TRUE(regSetValue(root, L"a", L"other type", std::wstring{L"x"}, 3));
        EXPECT_FALSE(regDeleteKey(root, L"a")) << "with a key in it";
    });
    const auto value = [&](const wchar_t* name) { return machine.registry.value(L"a", name); };
    EXPECT_EQ(value(L"")->text, std::wstring(L"Z\u00FCrich ?") + L'\0'); // the code page lacks the snowman
    EXPECT_EQ(machine.registry.text(L"a", L"number as text"), L"-5");
    EXPECT_EQ(value(L"number")->bytes, "\xFB\xFF\xFF\xFF");
    EXPECT_EQ(value(L"number")->type, REG_DWORD);
    EXPECT_EQ(value(L"text as number")->bytes, std::string("\x02\x01\0\0", 4));
    EXPECT_FALSE(value(L"no number") || value(L"other type"));
}

} // namespace
} // namespace kovra
