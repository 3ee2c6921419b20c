#include "frontend/commandLineMain.h"
#include "platform/win32.h"
#include "platform/windows/protection.h"
#include "support/text.h"

namespace {

bool isSeparator(char character) {
    return character == ' ' || character == '\t';
}

/// What stands behind the program name, which may be quoted, and behind the blanks that follow it. The start
/// code's own cut takes every byte above 127 for a blank.
const char* behindProgramName(const char* line) {
    for (bool quoted = false; *line != '\0' && (quoted || !isSeparator(*line)); ++line) {
        if (*line == '"')
            quoted = !quoted;
    }
    while (isSeparator(*line))
        ++line;
    return line;
}

} // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    kovra::protectProcess();
    kovra::main(kovra::fromAnsi(behindProgramName(GetCommandLineA())));
    // The service's own threads must not hold the process up.
    ExitProcess(0);
}
