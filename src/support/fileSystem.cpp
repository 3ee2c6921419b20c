#include "support/fileSystem.h"

#include "platform/perProcess.h"
#include "support/text.h"

namespace kovra {

namespace {

PerProcess<FileSystemObject> sharedFileSystem;

} // namespace

FileSystemObject& fileSystem() {
    if (!*sharedFileSystem)
        *sharedFileSystem = FileSystemObject::create();
    return *sharedFileSystem;
}

FileHandle openFile(const std::wstring& path, DWORD access, DWORD disposition) {
    return FileHandle{CreateFileA(toAnsi(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  disposition, FILE_ATTRIBUTE_NORMAL, nullptr)};
}

} // namespace kovra
