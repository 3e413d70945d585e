#pragma once

#include "kivgui/export.h"

/// What the base layer is asked to do when a module starts, ends, and meets threads.
namespace KivGuiTrace {

/// Is told one call of the base layer by its name, such as "ProcessAttach" or "~DllContext". The
/// name is valid during the call only. It may be called on any thread, while the system loads or
/// unloads the module: it must not load or unload modules, nor wait for another thread.
using Recorder = void (*)(const char* call) noexcept;

/// Installs the recorder of this module; null takes it away. A new recorder is first told the
/// calls of the start, at most 16, which were made before anyone could install it. Calls at the
/// module's end come after the host's last chance to take the recorder away, so it must outlive
/// the module. Any thread, one at a time.
KIV_EXPORT void SetRecorder(Recorder recorder) noexcept;

/// Notes a call of the base layer: `call` is a literal.
void Record(const char* call) noexcept;

/// Begins to trace a module or a thread. Nothing is traced but the calls themselves.
void TraceStartup() noexcept;

}  // namespace KivGuiTrace
