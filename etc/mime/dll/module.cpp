#include "mime/dll/module.h"

#include "mime/vocabulary/extension_maps.h"

namespace MIME::Module {

namespace {

using KivGuiGui::DllContext;
using KivGuiGui::GuiApp;
using KivGuiGui::ModuleHandle;

struct TablesEnd {
    TablesEnd() noexcept = default;
    ~TablesEnd() { EmptyExtensionMaps(); }
    TablesEnd(const TablesEnd&) = delete;
    TablesEnd& operator=(const TablesEnd&) = delete;
};

void AttachProcess(ModuleHandle module) noexcept {
    // Destroyed when the module ends, the second before the first.
    static const DllContext context(&GuiApp::Start, &GuiApp::Idle, &GuiApp::Open, module);
    static const TablesEnd tablesEnd;
    KivGuiGui::ProcessAttach(module);
}

}  // namespace

bool HandleEvent(ModuleHandle module, unsigned long reason) noexcept {
    KivGuiBase::EnterInitSection();
    if (reason == kProcessAttach || reason == kThreadAttach) KivGuiTrace::TraceStartup();
    switch (reason) {
        case kProcessAttach:
            AttachProcess(module);
            break;
        case kProcessDetach:
            KivGuiGui::ProcessDetach(module);
            break;
        case kThreadAttach:
            KivGuiGui::ThreadAttach(module);
            break;
        case kThreadDetach:
            KivGuiGui::ThreadDetach(module);
            break;
        default:
            break;
    }
    KivGuiBase::LeaveInitSection();
    return module != nullptr;
}

}  // namespace MIME::Module
