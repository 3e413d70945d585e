#pragma once

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"
#include "kivgui/kv_map.h"
#include "kivgui/val.h"

namespace KivGuiBase {

/// The details of an event, in the order in which they were set.
using EventDetails = KVMap<AnsiStr, Val, Val, 13>;

enum class ReportEventType : unsigned { warning = 2 };
enum class ReportEventCategory : unsigned { performance = 7 };

/// What a host does with events. Called on the thread that reports, with no lock of the library
/// held. @return true when the event was taken.
using EventHandler = bool (*)(const AnsiStr& source, unsigned id, const AnsiStr& text,
                              const EventDetails& details, ReportEventType type,
                              ReportEventCategory category);

/// Installs the process's event handler; null takes it away. Any thread.
KIV_EXPORT void SetEventHandler(EventHandler handler) noexcept;

/// Hands an event to the handler. @return its result, false when there is none.
KIV_EXPORT bool ReportEventA(const AnsiStr& source, unsigned id, const AnsiStr& text,
                             const EventDetails& details, ReportEventType type,
                             ReportEventCategory category);

}  // namespace KivGuiBase
