#include "mime/mime.h"

namespace MIME {

namespace {

/// Takes the last item off the array. One that is shared and cannot be copied is let go of whole,
/// rather than destroyed twice.
Part* TakeLast(SharedArray<Part*>& parts) noexcept {
    Part* last = parts[parts.GetCount() - 1];
    if (!parts.RemoveLast()) parts.Clear();
    return last;
}

Part* TakeLastChild(Part& node) noexcept {
    while (!node.parts.IsEmpty()) {
        if (Part* child = TakeLast(node.parts)) return child;
    }
    return nullptr;
}

}  // namespace

// A tree may be deeper than the stack, and memory may have run out, so the walk needs neither:
// on the way down, the slot of the child that is being destroyed holds the way back up.
Part::~Part() {
    Part* node = this;
    Part* parent = nullptr;
    for (;;) {
        if (Part* child = TakeLastChild(*node)) {
            // Fails only for an array that was shared: it has no free slot.
            if (!node->parts.Add(parent)) {
                delete child;
                continue;
            }
            parent = node;
            node = child;
            continue;
        }
        if (node != this) delete node;
        if (parent == nullptr) return;
        node = parent;
        parent = TakeLast(node->parts);
    }
}

void Part::AddPart(Part* child) noexcept {
    if (info.boundary.IsEmpty()) info.GenerateBoundary();
    parts.Add(child);
}

}  // namespace MIME
