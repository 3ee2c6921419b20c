#include "support/trace.h"

#include "support/product.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kovra {
namespace {

TEST(Trace, WritesNothingWhereItCantTellTheFile) {
    InstalledMachine machine;
    machine.inside([&] {
        for (const char* function : {"isLinked", "pathOnVolume"}) {
            machine.fail(function, ERROR_ACCESS_DENIED, 1);
            writeLog(L"lost");
        }
    });
    EXPECT_THAT(machine.traceLines, testing::IsEmpty());
}

} // namespace
} // namespace kovra
