#include "support/loaded_library.h"

#include "kivgui/platform/windows/system.h"

namespace MIME::Test {

LoadedLibrary::LoadedLibrary(const char* path) noexcept : handle_(LoadLibraryA(path)) {}

void LoadedLibrary::Unload() noexcept {
    if (handle_ != nullptr) FreeLibrary(static_cast<HMODULE>(handle_));
    handle_ = nullptr;
}

void* LoadedLibrary::FindAddress(const char* name) const noexcept {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

bool LoadedLibrary::IsInProcess(const char* path) noexcept {
    return GetModuleHandleA(path) != nullptr;
}

}  // namespace MIME::Test
