#include "platform/system.h"

#include <fcntl.h>
#include <io.h>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>

#include "files.h"
#include "kivgui/file.h"
#include "kivgui/platform/windows/system.h"

#include <shellapi.h>

namespace Tool::System {

namespace {

void (*onInterrupt)() = nullptr;

BOOL WINAPI HandleInterrupt(DWORD /*event*/) {
    onInterrupt();
    return FALSE;  // the next handler ends the process
}

}  // namespace

void PrepareStreams() {
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
}

// Those of main are in a character set that lacks most characters.
std::vector<std::string> GetArguments(int /*argc*/, char** /*argv*/) {
    int count = 0;
    const std::unique_ptr<wchar_t*[], decltype(&LocalFree)> given(
        CommandLineToArgvW(GetCommandLineW(), &count), &LocalFree);
    if (given == nullptr) throw std::bad_alloc();
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) arguments.push_back(FromPath(given[static_cast<size_t>(i)]));
    return arguments;
}

std::FILE* OpenStream(const std::string& path) {
    return _wfopen(ToPath(path).c_str(), L"rb");
}

bool IsTerminal(std::FILE* stream) {
    return _isatty(_fileno(stream)) != 0;
}

bool ShowsColours(std::FILE* stream) {
    constexpr DWORD kObeysCodes = 0x0004;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING
    const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) != 0 && SetConsoleMode(console, mode | kObeysCodes) != 0;
}

std::string MakeTemporaryFolder() {
    // The library makes names there that nobody can predict, in UTF-8.
    const KivGuiBase::File name(KivGuiBase::FileType::temporary, "kivmime", true);
    const std::string path(std::string_view(name.GetPath()));
    if (!std::filesystem::create_directory(ToPath(path))) {
        throw std::system_error(std::make_error_code(std::errc::file_exists), path);
    }
    return path;
}

void SetTemporaryFolder(const std::string& path) {
    const std::wstring wide = ToPath(path).wstring();
    SetEnvironmentVariableW(L"TMP", wide.c_str());
}

void OnInterrupt(void (*cleanUp)()) {
    onInterrupt = cleanUp;
    SetConsoleCtrlHandler(HandleInterrupt, TRUE);
}

}  // namespace Tool::System
