#include "tests/platform/contract.h"

int main(int argumentCount, char** arguments) {
    constexpr DWORD longEnoughMs = 60'000;
    if (std::string{arguments[0]}.starts_with(kovra::contract::scratchFolder)) { // another program
        Sleep(longEnoughMs);
        return 0;
    }
    testing::InitGoogleTest(&argumentCount, arguments);
    return RUN_ALL_TESTS();
}
