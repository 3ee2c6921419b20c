#include "tests/windows/installation.h"
#include "tests/windows/standIns.h"

#include <gtest/gtest.h>

#include <cstdio>

// Checks the built launcher on a Windows: `windowsChecks.exe FOLDER`, with the folder of the built files. It
// lays an installation of its own on drive C, with stand-ins for all other programs. Meant for a machine that
// is thrown away afterwards.

int main(int argumentCount, char** arguments) {
    const std::string own = arguments[0];
    if (checks::playStandIn(checks::lower(own.substr(own.rfind('\\') + 1))))
        return 0;
    testing::InitGoogleTest(&argumentCount, arguments);
    if (argumentCount != 2) {
        std::printf("usage: windowsChecks.exe FOLDER\n");
        return 2;
    }
    checks::builtFolder = arguments[1];
    const int result = RUN_ALL_TESTS();
    for (const char* fileName : {"Kovra.exe", "kovraLauncher.exe"})
        checks::killAll(fileName);
    return result;
}
