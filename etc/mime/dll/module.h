#pragma once

#include "kivgui/host/module.h"

/// The start and the end of the library as a module of a process. The entry point of each system
/// calls this and decides nothing itself.
namespace MIME::Module {

/// Why the entry point is called; the numbers are those of Windows.
enum Reason : unsigned long {
    kProcessDetach = 0,
    kProcessAttach = 1,
    kThreadAttach = 2,
    kThreadDetach = 3,
};

/// Tells the base layer. The first process attach also makes the objects that end the library:
/// the built tables are emptied first, then the module's DllContext ends.
///
/// Whoever calls this has made two BaseInitializer objects before, which end after everything.
/// @return whether `module` is a module, that is not null.
bool HandleEvent(KivGuiGui::ModuleHandle module, unsigned long reason) noexcept;

}  // namespace MIME::Module
