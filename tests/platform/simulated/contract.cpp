#include "tests/platform/contract.h"

#include "platform/simulated/machine.h"

namespace kovra::contract {

using simulated::machine;

struct PipeClient::End : simulated::PipeClient {
    using simulated::PipeClient::PipeClient;
};

struct Mailslot::End {
    std::string name;
};

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

PipeClient::PipeClient(const std::string& name, bool isAnonymous) : end_(std::make_unique<End>(machine())) {
    if (isAnonymous)
        end_->identity.level = simulated::ImpersonationLevel::anonymous;
    end_->connect(name);
}

PipeClient::~PipeClient() = default;

bool PipeClient::connected() const {
    return end_->connected();
}

bool PipeClient::write(const std::string& message) {
    return end_->write(message);
}

std::optional<std::string> PipeClient::read() {
    return end_->read();
}

void PipeClient::close() {
    end_->close();
}

Mailslot::Mailslot(const std::string& name) : end_(std::make_unique<End>(End{name})) {
    machine().mailslots.make(name);
}

Mailslot::~Mailslot() = default;

std::optional<std::string> Mailslot::read() {
    std::vector<std::string>& messages = machine().mailslots.find(end_->name)->messages;
    if (messages.empty())
        return std::nullopt;
    std::string message = std::move(messages.front());
    messages.erase(messages.begin());
    return message;
}

} // namespace kovra::contract
