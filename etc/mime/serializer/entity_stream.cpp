#include <vector>

#include "kivgui/error.h"
#include "kivgui/text_builder.h"
#include "mime/foundation/file_access.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"
#include "mime/serializer/body_writer.h"

// Part::Write: walks the tree depth first with a stack of its own, so depth costs memory and not the
// thread's stack. Header blocks are made in memory, bodies are streamed (body_writer.h).
//
// Invariant: when an entity has been written, `endsLine_` says whether the text ends with a line end
// that a boundary line may share (RFC 2046, 5.1.1). If not, the boundary line gets one of its own.

namespace MIME {

using KivGuiBase::TextBuilder;

namespace {

void AppendAtomOrQuoted(TextBuilder& text, const AnsiStr& value) noexcept {
    text.Append(Encoding::IsAtom(value) ? value : Encoding::Quote(value));
}

/// Appends a field's value and its parameters, in the form that they have on a header line.
void AppendValueText(TextBuilder& text, const HeaderValue& value) noexcept {
    AppendAtomOrQuoted(text, value.value);
    for (const ParameterMap::Node& parameter : value.parameters) {
        text.Append("; ");
        text.Append(parameter.key);
        text.Append('=');
        AppendAtomOrQuoted(text, parameter.value.value);
    }
}

/// The header block with the empty line that ends it; empty when it cannot be made.
AnsiStr MakeHeaderBlock(const HeaderMap& headers) noexcept {
    TextBuilder block;
    for (const HeaderMap::Node& field : headers) {
        if (field.value.value.IsEmpty()) continue;
        block.Append(field.key);
        block.Append(": ");
        AppendValueText(block, field.value);
        block.Append("\r\n");
    }
    block.Append("\r\n");
    return block.Finish();
}

/// Writes entities, with a stack of its own for the depth of the tree.
class EntityWriter {
public:
    explicit EntityWriter(FileAccess& out) noexcept : out_(out) {}

    bool Write(const Part& top, bool writeHeaders) {
        if (!Begin(top, writeHeaders)) return false;
        while (!levels_.empty()) {
            Level& level = levels_.back();
            if (level.part->info.isMessage) {
                if (!WriteMessage(level)) return false;
                continue;
            }
            if (level.next != 0 && !endsLine_ && !out_.Write("\r\n")) return false;
            if (level.next == level.count) {
                const bool closed = WriteBoundaryLine(*level.part, "--\r\n");
                levels_.pop_back();
                endsLine_ = false;
                if (!closed) return false;
            } else {
                const Part* child = level.part->parts[level.next++];
                if (child == nullptr || !WriteBoundaryLine(*level.part, "\r\n") ||
                    !Begin(*child, true)) {
                    return false;
                }
            }
        }
        return true;
    }

private:
    /// An entity with children, those before `next` already written.
    struct Level {
        const Part* part;
        unsigned count;
        unsigned next = 0;
    };

    /// Writes an entity up to its first child; all of it when it has none.
    bool Begin(const Part& part, bool writeHeaders) {
        endsLine_ = false;
        if (!part.rawText.IsEmpty()) return out_.Write(part.rawText);
        if (writeHeaders && !WriteHeaderBlock(part.headers)) return false;
        if (part.parts.IsEmpty()) return WriteBody(part, out_, endsLine_);
        levels_.push_back({&part, part.parts.GetCount()});
        return true;
    }

    /// Writes the message that an entity carries, right after its header block (RFC 2046, 5.2.1).
    bool WriteMessage(Level& level) {
        if (level.next != 0) {
            levels_.pop_back();
            return true;
        }
        const Part* message = level.part->parts[level.next++];
        return message != nullptr && Begin(*message, true);
    }

    bool WriteHeaderBlock(const HeaderMap& headers) noexcept {
        const AnsiStr block = MakeHeaderBlock(headers);
        return !block.IsEmpty() && out_.Write(block);
    }

    bool WriteBoundaryLine(const Part& part, const char* end) noexcept {
        return out_.Write("--") && out_.Write(part.info.boundary) && out_.Write(end);
    }

    FileAccess& out_;
    std::vector<Level> levels_;
    bool endsLine_ = false;  ///< a boundary line may follow without a line end before it
};

}  // namespace

bool Part::Write(const File& target, AnsiStr* contentTypeOut) noexcept {
    const KivGuiBase::MemoryWatch watch;
    const bool isWritten = Guarded(false, [&] {
        if (contentTypeOut != nullptr) {
            *contentTypeOut = AnsiStr();
            const HeaderMap::Node* type = headers.FindOrInsert(Header::Content_Type);
            if (type == nullptr) return false;
            TextBuilder text;
            AppendValueText(text, type->value);
            *contentTypeOut = text.Finish();
        }
        FileAccess out(target);
        if (!out.OpenDiskFileForWriting()) return false;
        const bool written = EntityWriter(out).Write(*this, contentTypeOut == nullptr);
        return out.Close() && written;
    });
    if (contentTypeOut != nullptr && watch.HasFailed()) *contentTypeOut = AnsiStr();
    return isWritten;
}

}  // namespace MIME
