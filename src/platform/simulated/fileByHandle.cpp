#include "platform/fileByHandle.h"

#include "platform/simulated/machine.h"

namespace kovra {

using namespace simulated;

FileHandle openForAppending(const FileHandle& folder, const wchar_t* name) {
    const Call<"NtCreateFile"> call;
    Handles& handles = machine().handles;
    const OpenFile* const opened = call.fails() ? nullptr : handles.find<OpenFile>(folder.get());
    if (opened == nullptr)
        return {};
    std::optional<OpenFile> file =
        opened->openFile(name, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    return file ? FileHandle{handles.add(std::move(*file))} : FileHandle{};
}

bool isLinked(const FileHandle& file) {
    const Call<"isLinked"> call;
    const OpenFile* const opened = call.fails() ? nullptr : machine().handles.find<OpenFile>(file.get());
    return opened == nullptr || opened->isLinked();
}

std::wstring pathOnVolume(const FileHandle& file) {
    const Call<"pathOnVolume"> call;
    const OpenFile* const opened = call.fails() ? nullptr : machine().handles.find<OpenFile>(file.get());
    return opened == nullptr ? std::wstring{} : opened->path().substr(2);
}

} // namespace kovra
