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

bool layInstallation(const std::string& root) {
    const std::string bin = root + "\\bin";
    makeFolder(bin);
    makeFolder(standInFolder);
    makeFolder("C:\\P1"); // the trace is on
    for (const char* file : {"kovraLauncher.exe", "sess.dll", "ext.dll"})
        if (!CopyFileA((builtFolder + "\\" + file).c_str(), (bin + "\\" + file).c_str(), FALSE))
            return false;
    // Not Windows' own, whatever their names say: the service may not take them from here.
    for (const char* planted : {"userenv.dll", "wtsapi32.dll"})
        if (!CopyFileA((builtFolder + "\\ext.dll").c_str(), (bin + "\\" + planted).c_str(), FALSE))
            return false;
    writeFile(root + "\\www\\index.php", "<?php");
    writeFile(
        root + "\\www\\includes\\lng\\en.php",
        "<?php\r\n//configNewResource=New resource\r\n//shellShareWith=Share \"with\"\r\n//doShare=Share\r\n"
        "//doSend=Send\r\n//doPublish=Publish\r\n");
    writeFile(root + "\\data\\general.ini", "language = en\r\nlaunchWithAdminRights=0\r\n");
    makeFolder(root + "\\data\\temp");
    makeFolder(root + "\\shared");
    return copyOwnProgram(bin + "\\Kovra.exe");
}

Process startStandIn(const std::string& fileName) {
    const std::string file = standInFolder + "\\" + fileName;
    copyOwnProgram(file);
    Process process{file};
    EXPECT_TRUE(waitFor(5000, [&fileName] { return isRunning(fileName); })) << fileName;
    return process;
}

void runLauncher(const std::string& line, const std::string& launcher) {
    const Process process{'"' + launcher + "\" " + line};
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
