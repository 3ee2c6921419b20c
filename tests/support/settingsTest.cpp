#include "support/settings.h"

#include "frontend/installationPaths.h"
#include "support/product.h"

#include <gtest/gtest.h>

#include <optional>

namespace kovra {
namespace {

TEST(Settings, AreLinesWithAKeyAndAValue) {
    InstalledMachine machine;
    machine.set("word\r\n  a  =  b=c  \r\na=late\r\n\ttab=\t2");
    machine.inside([] {
        ASSERT_TRUE(initPaths());
        EXPECT_EQ(readIniValue(L"a"), L"b=c");
        EXPECT_EQ(readIniValue(L"A"), L"");
        EXPECT_EQ(readIniValue(L"\ttab"), L"\t2");
    });
}

TEST(Translation, TakesWhatStandsBehindKeyAndSeparator) {
    InstalledMachine machine;
    machine.files.write(L"C:\\Kovra\\www\\includes\\lng\\en.php",
                        "//a: caf\xC3\xA9 \r\n //in=no\r\n//bare\r\n//a=last\r\n//z=1");
    machine.inside([&] {
        ASSERT_TRUE(initPaths());
        EXPECT_EQ(getTranslation(L"a", true), L"#a#") << "without a language";
        machine.set("language=en");
        EXPECT_EQ(getTranslation(L"a", false), L" caf\u00E9 ");
        for (const char* function : {"TextStream.ReadLine", "TextStream.AtEndOfStream"}) {
            machine.fail(function, ERROR_ACCESS_DENIED, 1, 1); // behind one line
            EXPECT_EQ(getTranslation(L"z", true), std::nullopt) << function;
        }
        EXPECT_EQ(getTranslation(L"a", true), L"last") << "while the catalogue is loaded";
        machine.fail("FileSystemObject.GetFile", ERROR_ACCESS_DENIED); // all else is in memory
        EXPECT_EQ(getTranslation(L"a", true), L" caf\u00E9 ");
        EXPECT_EQ(getTranslation(L"bare", true), L"");
        EXPECT_EQ(getTranslation(L"in", true), L"#in#");
        EXPECT_EQ(getTranslation(L"z", false), L"1");
    });
}

} // namespace
} // namespace kovra
