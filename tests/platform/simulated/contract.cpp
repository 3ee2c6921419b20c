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

void play(void (*body)()) {
    simulated::Machine machine;
    machine.files.makeFolder(machine.codePage.toWide(scratchFolder));
    machine.shell.consolePrograms["cmd"] = [](const std::string&) {
        return simulated::ConsoleRun{{{1, "hel"}, {1, "lo\r\n"}}};
    };
    machine.inside(body);
}

DWORD startOther() {
    return machine().processes.start(otherProgram, 1);
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
