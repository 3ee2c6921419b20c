#include "tests/windows/installation.h"
#include "tests/windows/standIns.h"

#include <cstdio>

// Checks the built launcher on a Windows: `checks.exe FOLDER`, with the folder of the built files. It lays an
// installation of its own on drive C, with stand-ins for all other programs, and prints a line a check and
// "N passed, N failed" at the end. Meant for a machine that is thrown away afterwards.

int main(int argumentCount, char** arguments) {
    const std::string own = arguments[0];
    if (checks::playStandIn(checks::lower(own.substr(own.rfind('\\') + 1))))
        return 0;
    if (argumentCount != 2) {
        std::printf("usage: checks.exe FOLDER\n");
        return 2;
    }
    checks::check(checks::layInstallation(checks::installRoot, arguments[1]), "the installation is laid");
    checks::checkLogonEnd();
    checks::checkService();
    checks::checkIntegration(arguments[1]);
    for (const char* fileName : {"Kovra.exe", "kovraLauncher.exe"})
        checks::killAll(fileName);
    return checks::summary();
}
