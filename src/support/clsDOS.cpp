#include "support/clsDOS.h"

#include "support/systemFacts.h"
#include "support/text.h"

namespace kovra {

std::wstring clsDOS::ExecuteCommand(const std::wstring& DOSCommand) {
    command_ = DOSCommand;
    if (command_.empty())
        return {};
    SECURITY_ATTRIBUTES attributes{};
    attributes.nLength = sizeof attributes;
    attributes.bInheritHandle = 1;
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &attributes, 0))
        return {};
    readEnd_ = KernelHandle{readEnd};
    writeEnd_ = KernelHandle{writeEnd};

    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES | STARTF_USESHOWWINDOW;
    startup.wShowWindow = SW_HIDE;
    startup.hStdOutput = writeEnd;
    startup.hStdError = writeEnd;
    PROCESS_INFORMATION information{};
    std::string commandLine = toAnsi(command_); // CreateProcessA may write into it
    const BOOL created = CreateProcessA(nullptr, commandLine.data(), &attributes, &attributes, TRUE,
                                        NORMAL_PRIORITY_CLASS, nullptr, nullptr, &startup, &information);
    // Without the launcher's own copy the read end tells the end of the data once the child has closed its
    // own.
    writeEnd_.close();
    output_.clear();
    if (created == FALSE) {
        readEnd_.close();
        return {};
    }
    process_ = KernelHandle{information.hProcess};
    thread_ = KernelHandle{information.hThread};
    readOutput();
    process_.close();
    thread_.close();
    readEnd_.close();
    return output_;
}

void clsDOS::readOutput() {
    // Collected as bytes: a double-byte character may stand across two reads.
    std::string bytes;
    char buffer[256];
    DWORD read = 0;
    while (ReadFile(readEnd_.get(), buffer, sizeof buffer, &read, nullptr)) {
        bytes.append(buffer, read);
        runPendingMessages();
    }
    output_ = fromAnsi(bytes);
}

} // namespace kovra
