#pragma once

#include "kivgui/ansi_str.h"

// What the entry point of a module tells the base layer. Only the initializers and the init section
// do anything here: the base layer's data of a thread needs no destructor (thread_data.h), so it
// has nothing to do when a thread starts or ends. For our own sources, not installed.

namespace KivGuiBase {

/// Keeps the base layer alive in a module: when the last one is destroyed, what the layer holds for
/// the whole process is freed. Calls after that still work, but what they allocate is never freed.
class BaseInitializer {
public:
    BaseInitializer() noexcept;
    ~BaseInitializer();
    BaseInitializer(const BaseInitializer&) = delete;
    BaseInitializer& operator=(const BaseInitializer&) = delete;
};

/// The re-entrant lock under which a module is attached to, and detached from, the process and its
/// threads.
void EnterInitSection() noexcept;
void LeaveInitSection() noexcept;

}  // namespace KivGuiBase

namespace KivGuiTrace {

inline void TraceStartup() noexcept {}

}  // namespace KivGuiTrace

namespace KivGuiGui {

/// A loaded module: its HINSTANCE on Windows, an address inside it elsewhere.
using ModuleHandle = void*;

/// The application callbacks of a module without windows.
class GuiApp {
public:
    static void Start() noexcept {}
    static void Idle() noexcept {}
    static bool Open(const KivGuiBase::AnsiStr& /*path*/) noexcept { return false; }
};

/// Announces a module with its application callbacks, which nobody here calls.
class DllContext {
public:
    using Callback = void (*)();
    using OpenCallback = bool (*)(const KivGuiBase::AnsiStr& path);

    DllContext(Callback /*start*/, Callback /*idle*/, OpenCallback /*open*/,
               ModuleHandle /*module*/) noexcept {}
    DllContext(const DllContext&) = delete;
    DllContext& operator=(const DllContext&) = delete;
};

inline void ProcessAttach(ModuleHandle /*module*/) noexcept {}
inline void ProcessDetach(ModuleHandle /*module*/) noexcept {}
inline void ThreadAttach(ModuleHandle /*module*/) noexcept {}
inline void ThreadDetach(ModuleHandle /*module*/) noexcept {}

}  // namespace KivGuiGui
