#include "kivgui/convert.h"
#include "kivgui/random.h"
#include "mime/encoding/body_encoding.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

namespace MIME {

void Info::GenerateBoundary() noexcept {
    // Without its digits the boundary would not be unique.
    boundary = Guarded(AnsiStr(), [] {
        constexpr unsigned kUniqueBytes = 16;
        unsigned char unique[kUniqueBytes];
        if (!KivGuiBase::GetUnpredictableBytes(unique, sizeof unique)) return AnsiStr();
        return AnsiStr("=_Qvm_=-") + KivGuiBase::Binary2B16Str(unique, sizeof unique, 0, "\r\n");
    });
}

namespace {

/// Removes the last item of the array. An array that is shared and cannot be copied is released as a
/// whole, so that nothing is destroyed twice.
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

// A tree may be deeper than the stack, and memory may have run out, so the walk needs neither: on the
// way down, the array slot of the child that is being destroyed holds the pointer to the parent.
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
    Guarded(false, [&] {
        Info made;
        if (info.boundary.IsEmpty()) {
            made.GenerateBoundary();
            if (made.boundary.IsEmpty()) return false;
        }
        if (!parts.Add(child)) return false;
        if (info.boundary.IsEmpty()) info.boundary = made.boundary;
        return true;
    });
}

bool Part::SetContent(const MemoryFile& source, const ContentType& newType) noexcept {
    if (source.GetSize() > AnsiStr::kMaxLength) return false;
    const auto size = static_cast<unsigned>(source.GetSize());
    const auto encoding =
        newType.type == Type::text ? TransferEncoding::quoted_printable : TransferEncoding::base64;
    return Guarded(false, [&] {
        // Everything that can fail comes first, so that a failure changes nothing.
        AnsiStr text;
        if (!EncodeBody(source.GetData(), size, encoding, text)) return false;
        const AnsiStr name = TransferEncoding::GetStr(encoding);
        if (name.IsEmpty()) return false;
        HeaderMap::Node* field = headers.FindOrInsert(Header::Content_Transfer_Encoding);
        if (field == nullptr) return false;
        field->value.value = name;
        info.contentType = newType;
        info.transferEncoding = encoding;
        data.content = text;
        data.encoded = true;
        return true;
    });
}

}  // namespace MIME
