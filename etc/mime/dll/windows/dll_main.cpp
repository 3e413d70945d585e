#define NOMINMAX
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "mime/dll/module.h"

namespace {

// Made before the system calls the entry point, destroyed after its last call and after the
// objects which that made, the second before the first.
KivGuiBase::BaseInitializer firstInitializer;
KivGuiBase::BaseInitializer secondInitializer;

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
    return MIME::Module::HandleEvent(module, reason) ? TRUE : FALSE;
}
