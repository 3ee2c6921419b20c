#pragma once

#include "tests/windows/machine.h"

#include <string>
#include <vector>

// The installation under check, in a folder whose name holds a blank, and what its programs leave behind.

namespace checks {

inline const std::string installRoot = "C:\\Kovra Server";
inline const std::string exeFolder = installRoot + "\\bin";
inline const std::string launcherFile = exeFolder + "\\kovraLauncher.exe";
inline const std::string dataFolder = installRoot + "\\data";

/// Lays the three built files, the stand-in of the application and a data tree. No when a file is missing.
bool layInstallation();

/// Copies this program under a name into the folder of the stand-ins, and starts it.
Process startStandIn(const std::string& fileName);

/// Runs the launcher of the installation with the line; the test fails when it doesn't end.
void runLauncher(const std::string& line);

/// A start of the application, as its stand-in has told it.
struct ApplicationStart {
    DWORD tick = 0;
    std::string folder;
    std::string commandLine;
};

std::vector<ApplicationStart> applicationStarts();
/// Waits for the start with this number, counted from 1.
ApplicationStart waitForStart(std::size_t number, DWORD limitMs);
/// The messages that the application got, with # for the 0 byte.
std::vector<std::string> applicationMails();

std::string trace();

/// The folder of the built files.
inline std::string builtFolder;

} // namespace checks
