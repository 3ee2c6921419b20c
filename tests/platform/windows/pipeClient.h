#pragma once

#include "platform/handles.h"
#include "platform/win32.h"

#include <optional>
#include <string>

namespace kovra::contract {

struct PipeClient : FileHandle {
    explicit PipeClient(const std::string& name, bool isAnonymous = false)
        : FileHandle(CreateFileA(("\\\\.\\pipe\\" + name).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                 OPEN_EXISTING, isAnonymous ? SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS : 0,
                                 nullptr)) {
        DWORD mode = PIPE_READMODE_MESSAGE;
        SetNamedPipeHandleState(get(), &mode, nullptr, nullptr);
    }

    [[nodiscard]] bool connected() const {
        return PeekNamedPipe(get(), nullptr, 0, nullptr, nullptr, nullptr) != FALSE;
    }

    bool write(const std::string& message) {
        DWORD written = 0;
        return WriteFile(get(), message.data(), static_cast<DWORD>(message.size()), &written, nullptr) !=
               FALSE;
    }

    std::optional<std::string> read() {
        char message[512];
        DWORD size = 0;
        if (!PeekNamedPipe(get(), nullptr, 0, nullptr, &size, nullptr) || size == 0 ||
            !ReadFile(get(), message, sizeof message, &size, nullptr))
            return std::nullopt;
        return std::string{message, size};
    }
};

} // namespace kovra::contract
