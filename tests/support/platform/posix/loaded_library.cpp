#include "support/loaded_library.h"

#include <dlfcn.h>

namespace MIME::Test {

LoadedLibrary::LoadedLibrary(const char* path) noexcept
    : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {}

void LoadedLibrary::Unload() noexcept {
    if (handle_ != nullptr) dlclose(handle_);
    handle_ = nullptr;
}

void* LoadedLibrary::FindAddress(const char* name) const noexcept {
    return dlsym(handle_, name);
}

bool LoadedLibrary::IsInProcess(const char* path) noexcept {
    void* handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
}

}  // namespace MIME::Test
