#include "support/settings.h"

#include "frontend/installationPaths.h"
#include "support/product.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace kovra {
namespace {

/// An installed machine whose language file can be given.
class CatalogueMachine : public InstalledMachine {
public:
    explicit CatalogueMachine(const std::string& catalogue, const std::string& setting = "language=en") {
        set(setting);
        files.write(languageFile, catalogue);
    }

    void insideLauncher(const std::function<void()>& body) {
        inside([&] {
            ASSERT_TRUE(initPaths());
            body();
        });
    }

    /// How often the language file was opened, the settings having been read `settingReads` times.
    [[nodiscard]] std::uint64_t opens(std::uint64_t settingReads = 1) const {
        return calls("FileSystemObject.GetFile") - settingReads;
    }

    static constexpr const wchar_t* languageFile = L"C:\\Kovra\\www\\includes\\lng\\en.php";
};

TEST(Settings, AreLinesWithAKeyAndAValue) {
    InstalledMachine machine;
    machine.files.write(L"C:\\Kovra\\data\\general.ini", "[x]\r\n"
                                                         "; a=comment\r\n"
                                                         "  language  =  en us  \r\n"
                                                         "language=fr\r\n"
                                                         "Cased=1\n"
                                                         "\ttab=2\r\n"
                                                         "tabbed=\t3\t\r\n"
                                                         "quoted=\"a b\"\r\n"
                                                         "a=b=c\r\n"
                                                         "empty=\r\n"
                                                         "empty=4\r\n"
                                                         "=nameless\r\n"
                                                         "word\r\n"
                                                         "foreign=caf\xE9\r\n"
                                                         "last=5");
    machine.inside([] {
        ASSERT_TRUE(initPaths());
        struct {
            const wchar_t* key;
            const wchar_t* value;
        } const rows[] = {
            {L"language", L"en us"},
            {L"cased", L""},
            {L"Cased", L"1"},
            {L"tab", L""},
            {L"\ttab", L"2"},
            {L"a", L"b=c"},
            {L"quoted", L"\"a b\""},
            {L"empty", L""},
            {L"; a", L"comment"},
            {L"last", L"5"},
            {L"foreign", L"caf\u00E9"},
            {L"tabbed", L"\t3\t"},
            {L"", L"nameless"},
            {L"[x]", L""},
            {L"word", L""},
            {L"none", L""},
        };
        for (const auto& row : rows)
            EXPECT_EQ(readIniValue(row.key), row.value);
        EXPECT_EQ(getLanguage(), L"en us");
    });
}

TEST(Settings, AreReadAnewAndAnyFailureGivesNothing) {
    InstalledMachine machine;
    machine.inside([&] {
        ASSERT_TRUE(initPaths());
        EXPECT_EQ(readIniValue(L"a"), L"") << "no file";
        machine.set("a=1");
        EXPECT_EQ(readIniValue(L"a"), L"1");
        machine.set("a=2");
        EXPECT_EQ(readIniValue(L"a"), L"2");
        for (const char* function : {"FileSystemObject.GetFile", "File.OpenAsTextStream",
                                     "TextStream.ReadLine", "TextStream.AtEndOfStream"}) {
            machine.fail(function, ERROR_ACCESS_DENIED, 1);
            EXPECT_EQ(readIniValue(L"a"), L"") << function;
            machine.heal(function);
        }
    });
}

TEST(Translation, TakesWhatStandsBehindKeyAndSeparator) {
    CatalogueMachine machine("<?php\r\n"
                             "//doShareFolder=folder\r\n"
                             "//doShare=late\r\n"
                             " //indented=no\r\n"
                             "//doSend: caf\xC3\xA9 \xE2\x82\xAC \r\n"
                             "//empty=\r\n"
                             "//bare\r\n"
                             "//caf\xC3\xA9=key\r\n"
                             "//last=to the end");
    for (const bool load : {false, true}) {
        machine.insideLauncher([&] {
            for (int lookup = 0; lookup < 2; ++lookup) { // of the file, and with `load` of the cache
                EXPECT_EQ(getTranslation(L"doSend", load), L" caf\u00E9 \u20AC ");
                EXPECT_EQ(getTranslation(L"empty", load), L"");
                EXPECT_EQ(getTranslation(L"bare", load), L"");
                EXPECT_EQ(getTranslation(L"indented", load), L"#indented#");
                EXPECT_EQ(getTranslation(L"dosend", load), L"#dosend#");
                EXPECT_EQ(getTranslation(L"none", load), L"#none#");
                EXPECT_EQ(getTranslation(L"caf\u00C3\u00A9", load), L"key") << "keys aren't decoded";
                EXPECT_EQ(getTranslation(L"last", load), L"to the end");
                EXPECT_EQ(getTranslation(L"doShare", load), L"older=folder") << lookup;
            }
        });
    }
}

TEST(Translation, OfTwoLinesTheLastCountsWhileTheFileIsLoadedAndTheFirstAfterIt) {
    CatalogueMachine machine("//a=first\r\n//a=last\r\n");
    machine.insideLauncher([&] {
        EXPECT_EQ(getTranslation(L"a", false), L"first");
        EXPECT_EQ(getTranslation(L"a", false), L"first");
        EXPECT_EQ(machine.opens(), 2U);
        EXPECT_EQ(getTranslation(L"a", true), L"last");
        EXPECT_EQ(machine.opens(), 3U);
        machine.files.write(CatalogueMachine::languageFile, "//a=changed\r\n");
        machine.set("language=fr");
        EXPECT_EQ(getTranslation(L"a", true), L"first");
        EXPECT_EQ(getTranslation(L"a", false), L"first");
        EXPECT_EQ(machine.opens(), 3U) << "all later lookups work on memory";
    });
}

TEST(Translation, WithoutALanguageNoFileIsTouched) {
    CatalogueMachine machine("//a=b\r\n", "Language=en");
    machine.insideLauncher([&] {
        EXPECT_EQ(getTranslation(L"a", true), L"#a#");
        EXPECT_EQ(machine.opens(), 0U);
        machine.set("language=en");
        EXPECT_EQ(getTranslation(L"a", true), L"b") << "the setting is asked for again";
    });
}

TEST(Translation, FailsWhereTheLanguageFileCannotBeRead) {
    CatalogueMachine machine("//a=b\r\n//c=d\r\n");
    machine.insideLauncher([&] {
        EXPECT_EQ(getTranslation(L"none", false), L"#none#"); // the language is known from here on
        for (const char* function : {"TextStream.ReadLine", "TextStream.AtEndOfStream"}) {
            for (const bool load : {false, true}) {
                machine.fail(function, ERROR_ACCESS_DENIED, 1, 1); // behind one line
                EXPECT_EQ(getTranslation(L"c", load), std::nullopt) << function;
                machine.heal(function);
            }
        }
        machine.files.remove(CatalogueMachine::languageFile);
        EXPECT_EQ(getTranslation(L"a", true), std::nullopt);
        machine.files.write(CatalogueMachine::languageFile, "");
        EXPECT_EQ(getTranslation(L"c", true), L"#c#");
        machine.files.write(CatalogueMachine::languageFile, "//c=d");
        EXPECT_EQ(getTranslation(L"c", true), L"d") << "an empty file is looked into again";
    });
}

} // namespace
} // namespace kovra
