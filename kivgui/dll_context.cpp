#include "kivgui/dll_context.h"

#include "kivgui/trace.h"

namespace KivGuiGui {

using KivGuiTrace::Record;

bool GuiApp::Open(const KivGuiBase::AnsiStr& /*path*/) noexcept {
    return false;
}

DllContext::DllContext(Callback startCall, Callback idleCall, OpenCallback openCall,
                       ModuleHandle handle) noexcept
    : start(startCall), idle(idleCall), open(openCall), module(handle) {
    Record("DllContext");
}

DllContext::~DllContext() {
    Record("~DllContext");
}

void ProcessAttach(ModuleHandle /*module*/) noexcept {
    Record("ProcessAttach");
}

void ProcessDetach(ModuleHandle /*module*/) noexcept {
    Record("ProcessDetach");
}

void ThreadAttach(ModuleHandle /*module*/) noexcept {
    Record("ThreadAttach");
}

void ThreadDetach(ModuleHandle /*module*/) noexcept {
    Record("ThreadDetach");
}

}  // namespace KivGuiGui
