#pragma once

#include <memory>
#include <new>
#include <string_view>

#include "kivgui/ansi_str.h"
#include "kivgui/export.h"
#include "kivgui/host/val.h"
#include "kivgui/memory.h"
#include "kivgui/shared_array.h"

namespace KivGuiBase {

/// A small hash map from strings to values that keeps the order in which keys were first set.
///
/// A handle to a shared body, which is cloned before it changes. A failed allocation loses the
/// entry that is being set and nothing else. `Argument` is the type in which values are passed in.
template <class Key, class Value, class Argument, unsigned kBuckets>
class KVMap {
public:
    unsigned GetCount() const noexcept { return body_ ? body_->keys.GetCount() : 0; }
    /// Key and value of the `index`-th entry in the order of insertion.
    const Key& GetKey(unsigned index) const noexcept { return body_->keys[index]; }
    const Value& GetValue(unsigned index) const noexcept { return body_->values[index]; }

    /// Sets the value of a key: replaces the one that is there, which keeps its place, or appends
    /// a new entry.
    void Set(const Key& key, const Argument& value) noexcept {
        if (!MakeUnshared()) return;
        SharedArray<unsigned>& bucket = body_->buckets[Hash(key) % kBuckets];
        for (const unsigned index : bucket) {
            if (body_->keys[index] == key) {
                body_->values.Set(index, value);
                return;
            }
        }
        // Removing the last item of an array that was just added to allocates nothing.
        if (!bucket.Add(body_->keys.GetCount())) return;
        if (!body_->keys.Add(key)) {
            bucket.RemoveLast();
        } else if (!body_->values.Add(value)) {
            body_->keys.RemoveLast();
            bucket.RemoveLast();
        }
    }

private:
    struct Body {
        SharedArray<unsigned> buckets[kBuckets];  ///< indices into the two arrays below
        SharedArray<Key> keys;
        SharedArray<Value> values;
    };

    static unsigned Hash(std::string_view key) noexcept {
        unsigned hash = 0;
        for (const char c : key) {
            hash = hash * 31 + static_cast<unsigned>(static_cast<signed char>(c));
        }
        return hash;
    }

    bool MakeUnshared() noexcept {
        try {
            if (!body_) {
                body_ = std::make_shared<Body>();
            } else if (body_.use_count() > 1) {
                body_ = std::make_shared<Body>(*body_);
            }
            return true;
        } catch (const std::bad_alloc&) {
            NoteMissingMemory();
            return false;
        }
    }

    std::shared_ptr<Body> body_;
};

/// The details of an event, in the order in which they were set.
using EventDetails = KVMap<AnsiStr, Val, Val, 13>;

enum class ReportEventType : unsigned { warning = 2 };
enum class ReportEventCategory : unsigned { performance = 7 };

/// A host's function for events. It is called on the reporting thread, while no lock of the library
/// is held. @return true when the event was accepted.
using EventHandler = bool (*)(const AnsiStr& source, unsigned id, const AnsiStr& text,
                              const EventDetails& details, ReportEventType type,
                              ReportEventCategory category);

/// Installs the process's event handler; null removes it. Any thread.
KIV_EXPORT void SetEventHandler(EventHandler handler) noexcept;

/// Passes an event to the handler. @return its result, false when there is none.
KIV_EXPORT bool ReportEventA(const AnsiStr& source, unsigned id, const AnsiStr& text,
                             const EventDetails& details, ReportEventType type,
                             ReportEventCategory category);

}  // namespace KivGuiBase
