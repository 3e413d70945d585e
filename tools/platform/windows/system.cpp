#include "platform/system.h"

#include <fcntl.h>
#include <io.h>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "kivgui/kivgui.h"
#include "kivgui/platform/windows/system.h"

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

std::string MakeTemporaryFolder() {
    // The library makes names there that nobody can predict, in UTF-8.
    const KivGuiBase::File name(KivGuiBase::FileType::temporary, "kivmime", true);
    const std::string path(std::string_view(name.GetPath()));
    if (!std::filesystem::create_directory(std::filesystem::u8path(path))) {
        throw std::system_error(std::make_error_code(std::errc::file_exists), path);
    }
    return path;
}

void SetTemporaryFolder(const std::string& path) {
    const std::wstring wide = std::filesystem::u8path(path).wstring();
    SetEnvironmentVariableW(L"TMP", wide.c_str());
}

void OnInterrupt(void (*cleanUp)()) {
    onInterrupt = cleanUp;
    SetConsoleCtrlHandler(HandleInterrupt, TRUE);
}

}  // namespace Tool::System
