#include "kivgui/host/event.h"

#include <atomic>

namespace KivGuiBase {

namespace {

std::atomic<EventHandler> eventHandler{nullptr};

}  // namespace

void SetEventHandler(EventHandler handler) noexcept {
    eventHandler.store(handler);
}

bool ReportEventA(const AnsiStr& source, unsigned id, const AnsiStr& text,
                  const EventDetails& details, ReportEventType type, ReportEventCategory category) {
    const EventHandler handler = eventHandler.load();
    return handler != nullptr && handler(source, id, text, details, type, category);
}

}  // namespace KivGuiBase
