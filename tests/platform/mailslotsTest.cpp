#include "tests/platform/contract.h"

namespace kovra::contract {
namespace {

FileHandle open(const std::string& name, DWORD share = FILE_SHARE_READ) {
    return FileHandle{CreateFileA(("\\\\.\\mailslot\\" + name).c_str(), GENERIC_WRITE, share, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)};
}

CONTRACT_TEST(Mailslot, TakesEachMessageAsItIs) {
    Mailslot slot{"KovraContract"};
    const FileHandle opened = open("kovracontract");
    ASSERT_TRUE(opened);
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(opened.get(), "one", 4, &written, nullptr));
    EXPECT_TRUE(WriteFile(opened.get(), "two", 3, &written, nullptr));
    EXPECT_EQ(slot.read(), (std::string{"one\0", 4}));
    EXPECT_EQ(slot.read(), "two");
    EXPECT_EQ(slot.read(), std::nullopt);
}

CONTRACT_TEST(Mailslot, OpensWhereItIsAndIsSharedWithItsReader) {
    EXPECT_FALSE(open("KovraContract"));
    const Mailslot slot{"KovraContract"};
    EXPECT_FALSE(open("KovraContract1"));
    EXPECT_FALSE(open("KovraContract", 0));
    EXPECT_TRUE(open("KovraContract"));
}

} // namespace
} // namespace kovra::contract
