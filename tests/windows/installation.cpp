#include "tests/windows/installation.h"

#include "tests/windows/standIns.h"

#include <gtest/gtest.h>

#include <sstream>

namespace checks {
namespace {

const std::string standInFolder = "C:\\kovraChecks";

std::vector<std::vector<std::string>> journal(const std::string& kind) {
    std::vector<std::vector<std::string>> entries;
    std::istringstream lines{readFile(journalFile)};
    for (std::string line; std::getline(lines, line);) {
        std::vector<std::string> fields;
        std::istringstream parts{line};
        for (std::string field; std::getline(parts, field, '|');)
            fields.push_back(field);
        if (!fields.empty() && fields[0] == kind)
            entries.push_back(fields);
    }
    return entries;
}

bool copyOwnProgram(const std::string& target) {
    char own[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, own, MAX_PATH);
    return CopyFileA(own, target.c_str(), FALSE) != FALSE;
}

} // namespace

bool layInstallation() {
    const std::string bin = exeFolder + "\\";
    makeFolder(exeFolder);
    makeFolder(standInFolder);
    makeFolder("C:\\P1"); // the trace is on
    // The last two aren't Windows' own, whatever their names say: the service may not take them from here.
    for (const auto& [from, to] : {std::pair{"kovraLauncher.exe", "kovraLauncher.exe"},
                                   {"sess.dll", "sess.dll"},
                                   {"ext.dll", "ext.dll"},
                                   {"ext.dll", "userenv.dll"},
                                   {"ext.dll", "wtsapi32.dll"}})
        if (!CopyFileA((builtFolder + "\\" + from).c_str(), (bin + to).c_str(), FALSE))
            return false;
    writeFile(installRoot + "\\www\\index.php", "<?php");
    writeFile(
        installRoot + "\\www\\includes\\lng\\en.php",
        "<?php\r\n//configNewResource=New resource\r\n//shellShareWith=Share \"with\"\r\n//doShare=Share\r\n");
    writeFile(dataFolder + "\\general.ini", "language = en\r\nlaunchWithAdminRights=0\r\n");
    makeFolder(dataFolder + "\\temp");
    makeFolder(installRoot + "\\shared");
    return copyOwnProgram(bin + "Kovra.exe");
}

Process startStandIn(const std::string& fileName) {
    const std::string file = standInFolder + "\\" + fileName;
    copyOwnProgram(file);
    Process process{file};
    EXPECT_TRUE(waitFor(5000, [&fileName] { return isRunning(fileName); })) << fileName;
    return process;
}

void runLauncher(const std::string& line) {
    const Process process{'"' + launcherFile + "\" " + line};
    EXPECT_TRUE(process.waitForEnd(30'000)) << line;
}

std::vector<ApplicationStart> applicationStarts() {
    std::vector<ApplicationStart> starts;
    for (const std::vector<std::string>& fields : journal("start"))
        if (fields.size() == 4)
            starts.push_back({static_cast<DWORD>(std::stoul(fields[1])), fields[2], fields[3]});
    return starts;
}

ApplicationStart waitForStart(std::size_t number, DWORD limitMs) {
    waitFor(limitMs, [number] { return applicationStarts().size() >= number; });
    const std::vector<ApplicationStart> starts = applicationStarts();
    EXPECT_EQ(starts.size(), number);
    return starts.size() >= number ? starts[number - 1] : ApplicationStart{};
}

std::vector<std::string> applicationMails() {
    std::vector<std::string> mails;
    for (const std::vector<std::string>& fields : journal("mail"))
        mails.push_back(fields.size() > 1 ? fields[1] : "");
    return mails;
}

std::string trace() {
    return readFile("C:\\P1\\log.txt");
}

} // namespace checks
