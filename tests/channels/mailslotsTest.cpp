#include "channels/mailslots.h"

#include "support/product.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kovra {
namespace {

using testing::ElementsAre;

TEST(Mailslots, AMessageGoesOutWithItsTerminatorAndTellsWhetherTheSlotWasThere) {
    InstalledMachine machine;
    machine.inside([&] {
        EXPECT_FALSE(sendMailslotMessage(L"caf\u00E9"));
        machine.mailslots.make("kovraMailslot");
        machine.mailslots.make("kovraMailslot3");
        EXPECT_TRUE(sendMailslotMessage(L"caf\u00E9"));
        *mailslotIndex = L"3";
        sendToApp(L"removeTrayIcon");
        machine.fail("WriteFile", ERROR_BROKEN_PIPE, 1);
        EXPECT_TRUE(sendMailslotMessage(L"lost")) << "a failing write is not noticed";
    });
    EXPECT_THAT(machine.mailslots.find("kovraMailslot")->messages, ElementsAre(std::string{"caf\xE9\0", 5}));
    EXPECT_THAT(machine.mailslots.find("kovraMailslot3")->messages,
                ElementsAre(std::string{"removeTrayIcon\0", 15}));
    EXPECT_THAT(machine.traceLines, ElementsAre("mailslot message sent: caf\xE9 to slot 0",
                                                "mailslot message sent: caf\xE9 to slot -1",
                                                "mailslot message sent: removeTrayIcon to slot -1",
                                                "mailslot message sent: lost to slot -1"));
    machine.run(L"hello"); // another process knows nothing of the index; it starts the application
    machine.run(L"shutdown");
    EXPECT_EQ(machine.mailslots.find("kovraMailslot")->messages.size(), 2U);
}

TEST(Mailslots, TheIndexLengthensTheNameAndLeadsNowhereElse) {
    InstalledMachine machine;
    machine.mailslots.make("kovraMailslot");
    machine.mailslots.make("kovraMailslot3");
    const std::wstring indexes[] = {L"\\..\\..\\C:\\victim.txt", L"/../../C:/victim.txt",
                                    L"\\..\\..\\UNC\\host\\share\\victim.txt", L"\\..\\kovraMailslot",
                                    std::wstring{L"3\0x", 3}};
    for (const wchar_t* victim : {L"C:\\victim.txt", L"\\\\host\\share\\victim.txt"})
        machine.files.write(victim, "untouched");
    for (const std::wstring& index : indexes) {
        machine.traceLines.clear();
        machine.inside([&] {
            *mailslotIndex = index;
            EXPECT_FALSE(sendMailslotMessage(L"removeTrayIcon"));
        });
        EXPECT_THAT(machine.traceLines, ElementsAre("mailslot message sent: removeTrayIcon to slot 0"));
    }
    EXPECT_EQ(machine.files.read(L"C:\\victim.txt"), "untouched");
    EXPECT_EQ(machine.files.read(L"\\\\host\\share\\victim.txt"), "untouched");
    EXPECT_THAT(machine.mailslots.delivered, testing::IsEmpty());
}

} // namespace
} // namespace kovra
