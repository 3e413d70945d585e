#pragma once

#include "kivgui/ansi_str.h"

/// The part of the base layer that knows modules: what is told of their start, their end, and of
/// the threads that they meet.
namespace KivGuiGui {

/// A loaded module: its HINSTANCE on Windows, an address inside of it elsewhere.
using ModuleHandle = void*;

/// The application callbacks of a module without windows.
class GuiApp {
public:
    static void Start() noexcept {}
    static void Idle() noexcept {}
    /// @return whether the document was opened; never.
    static bool Open(const KivGuiBase::AnsiStr& path) noexcept;
};

/// Announces a module with its application callbacks, for as long as it lives.
class DllContext {
public:
    using Callback = void (*)();
    using OpenCallback = bool (*)(const KivGuiBase::AnsiStr& path);

    DllContext(Callback startCall, Callback idleCall, OpenCallback openCall,
               ModuleHandle handle) noexcept;
    ~DllContext();
    DllContext(const DllContext&) = delete;
    DllContext& operator=(const DllContext&) = delete;

    const Callback start;
    const Callback idle;
    const OpenCallback open;
    const ModuleHandle module;
};

// Told by the entry point. Nothing that the base layer keeps belongs to a module's threads: its
// data of a thread need no destructor (thread_data.h), so they end with the thread or the module.

void ProcessAttach(ModuleHandle module) noexcept;
void ProcessDetach(ModuleHandle module) noexcept;
void ThreadAttach(ModuleHandle module) noexcept;
void ThreadDetach(ModuleHandle module) noexcept;

}  // namespace KivGuiGui
