// with_temp_folder FOLDER PROGRAM [ARGUMENT...]: runs a program with FOLDER as the folder for
// temporary files. From Linux, Wine takes over every variable of the environment but this one.

#include <cstdio>
#include <cwchar>
#include <string>

#include "kivgui/platform/windows/system.h"

#include <shellapi.h>

namespace {

/// What follows the next `count` arguments of a command line. They hold no quotation marks
/// inside; the rest stays as it was quoted.
const wchar_t* Skip(const wchar_t* line, int count) {
    for (int i = 0; i < count; ++i) {
        const wchar_t* end = *line == L'"' ? std::wcschr(line + 1, L'"') : std::wcschr(line, L' ');
        if (end == nullptr) return line + std::wcslen(line);
        line = end + 1;
        while (*line == L' ') ++line;
    }
    return line;
}

}  // namespace

int main() {
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr || count < 3) return 125;
    SetEnvironmentVariableW(L"TMP", arguments[1]);
    std::wstring line = Skip(GetCommandLineW(), 2);
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, DETACHED_PROCESS, nullptr,
                        nullptr, &start, &process)) {
        std::fprintf(stderr, "cannot run it: error %lu\n", GetLastError());
        return 125;
    }
    // Only the program may hold the pipes, so that it sees their ends.
    for (const HANDLE stream : {start.hStdInput, start.hStdOutput, start.hStdError}) {
        CloseHandle(stream);
    }
    DWORD status = 125;
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &status);
    return static_cast<int>(status);
}
