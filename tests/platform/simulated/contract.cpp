#include "tests/platform/contract.h"

#include "platform/simulated/machine.h"

namespace kovra::contract {

using simulated::machine;

void play(void (*test)()) {
    simulated::Machine machine;
    machine.files.makeFolder(machine.codePage.toWide(scratchFolder));
    machine.shell.consolePrograms["cmd"] = [](const std::string&) {
        return simulated::ConsoleRun{{{1, "hel"}, {1, "lo\r\n"}}};
    };
    machine.sessions.logOn(1);
    machine.inside(test);
}

DWORD startOther(const std::string& name) {
    return machine().processes.start(name, 1);
}

namespace {

std::wstring wide(const std::string& path) {
    return machine().codePage.toWide(path);
}

} // namespace

void sendMessage() {
    ++simulated::currentThread()->process()->messages;
}

void makeFolder(const std::string& path) {
    if (machine().files.folderExists(wide(path.substr(0, path.rfind('\\', path.size() - 2)))))
        machine().files.makeFolder(wide(path));
}

void makeReadOnly(const std::string& path) {
    machine().files.setReadOnly(wide(path));
}

void addName(const std::string& file, const std::string& name) {
    machine().files.addName(wide(file), wide(name));
}

void layLoadedLibrary(const std::string& path) {
    write(path, "library");
    machine().files.setLoaded(wide(path));
}

void layHeldFile(const std::string& path) {
    write(path, "x");
    machine().files.setInUse(wide(path));
}

bool underWine() {
    return false;
}

void makeMailslot(const std::string& name) {
    machine().mailslots.make(name);
}

std::string readMailslot(const std::string& name) {
    std::vector<std::string>& messages = machine().mailslots.find(name)->messages;
    std::string message = messages.at(0);
    messages.erase(messages.begin());
    return message;
}

} // namespace kovra::contract
