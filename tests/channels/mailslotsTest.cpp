#include "channels/mailslots.h"

#include "support/product.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kovra {
namespace {

TEST(Mailslots, AMessageGoesOutWithItsTerminatorAndTellsWhetherTheSlotWasThere) {
    InstalledMachine machine;
    machine.inside([&] {
        EXPECT_FALSE(sendMailslotMessage(L"caf\u00E9"));
        machine.mailslots.make("kovraMailslot");
        EXPECT_TRUE(sendMailslotMessage(L"caf\u00E9"));
    });
    EXPECT_THAT(machine.mailslots.find("kovraMailslot")->messages,
                testing::ElementsAre(std::string{"caf\xE9\0", 5}));
}

} // namespace
} // namespace kovra
