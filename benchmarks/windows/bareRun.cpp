#include "benchmarks/windows/fileSystemObject.h"

// The least of a one-shot run: makes the file-system object, and ends.

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    ExitProcess(makeFileSystemObject() ? 0 : 1);
}
