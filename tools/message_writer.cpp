#include "message_writer.h"

#include <string_view>

#include <mime/mail.h>

#include "entity_list.h"
#include "kivgui/ascii.h"
#include "kivgui/disk_file.h"
#include "kivgui/memory_file.h"
#include "output.h"
#include "transfer_encoder.h"

// Writes a tree that was read with the mail rules. Header blocks, preambles and epilogues are written
// as they were; only bodies are encoded, and boundary lines made, anew. The one difficult matter is
// the line end before a boundary line, which belongs to the boundary line: `isInLine_` says whether
// the text before it needs one.

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;
using KivGuiBase::MemoryFile;
using MIME::AnsiStr;
using MIME::Part;

namespace {

/// The line end of the message, CR LF or LF: that of the first line in a header block that is
/// written.
std::string_view GetLineEnd(const Part& message, bool withHeaderBlock) {
    for (const Entity& entity : ListEntities(message)) {
        if (entity.depth == 0 && !withHeaderBlock) continue;
        const std::string_view block = entity.part->fields.GetText();
        const size_t feed = block.find('\n');
        if (feed != std::string_view::npos) {
            return feed > 0 && block[feed - 1] == '\r' ? "\r\n" : "\n";
        }
    }
    return "\r\n";
}

bool IsEncoded(const std::string& encoding) {
    return KivGuiBase::EqualsCaseless(encoding, "base64") ||
           KivGuiBase::EqualsCaseless(encoding, "quoted-printable");
}

/// The header block as it was. But a message that was carried encoded is written without an encoding
/// (RFC 2046, 5.2.1), and the field says so.
std::string MakeHeaderBlock(const Part& part) {
    const std::string_view text = part.fields.GetText();
    std::string block(text);
    for (unsigned i = 0; part.info.isMessage && i < part.fields.GetCount(); ++i) {
        const auto [name, value] = part.fields[i];
        if (!KivGuiBase::EqualsCaseless(name, "Content-Transfer-Encoding")) continue;
        if (!IsEncoded(MIME::Field{name, value}.GetValue())) break;
        return block.replace(static_cast<size_t>(value.data() - text.data()), value.size(),
                             "binary");
    }
    return block;
}

class MessageWriter {
public:
    MessageWriter(const std::string& path, const std::string& shown, std::string_view lineEnd)
        : shown_(shown), lineEnd_(lineEnd) {
        if (!out_.Open(File(AnsiStr(path)), DiskFile::Mode::create)) Fail();
    }

    void Close() {
        if (!out_.Close()) Fail();
    }

    /// Recursive: the reader accepts at most 256 levels.
    void WriteEntity(const Part& part, bool withHeaderBlock) {
        if (withHeaderBlock) WriteHeaderBlock(part);
        if (!part.info.boundary.IsEmpty()) {
            WriteMultipart(part);
        } else if (part.info.isMessage && !part.parts.IsEmpty()) {
            WriteEntity(*part.parts[0], true);
        } else {
            EncodeBody(part, lineEnd_, [this](std::string_view piece) { Put(piece); });
            isInLine_ = true;
        }
    }

    /// Ends the last line of base64 text. The line end is not part of the body.
    void EndBase64(const Part& top) {
        if (top.info.transferEncoding == MIME::TransferEncoding::base64 && isInLine_) Put(lineEnd_);
    }

private:
    [[noreturn]] void Fail() const { throw Failure(shown_, GetLastReason()); }

    void Put(std::string_view bytes) {
        if (!out_.Write(bytes.data(), static_cast<unsigned>(bytes.size()))) Fail();
        if (!bytes.empty()) last_ = bytes.back();
    }

    void WriteHeaderBlock(const Part& part) {
        const std::string text = MakeHeaderBlock(part);
        Put(text);
        if (!text.empty() && text.back() != '\n') Put(lineEnd_);
        Put(lineEnd_);
        isInLine_ = false;
    }

    void WriteMultipart(const Part& part) {
        WriteText(part.preamble);
        for (const Part* child : part.parts) {
            WriteBoundaryLine(part, "");
            WriteEntity(*child, true);
        }
        // With a closing boundary line alone it would not be read as a multipart.
        if (part.parts.IsEmpty()) WriteBoundaryLine(part, "");
        WriteBoundaryLine(part, "--");
        WriteText(part.epilogue);
    }

    void WriteText(std::string_view text) {
        Put(text);
        isInLine_ = !text.empty();
    }

    /// Writes a boundary line, with the line end before it, which belongs to it (RFC 2046, 5.1.1).
    void WriteBoundaryLine(const Part& part, std::string_view tail) {
        // After a CR a lone LF would make a CR LF of the two.
        if (isInLine_) Put(last_ == '\r' ? "\r\n" : lineEnd_);
        isInLine_ = false;
        Put("--");
        // A boundary cannot end in blanks (RFC 2046, 5.1.1), and the reader ignores them.
        const std::string_view boundary = part.info.boundary;
        Put(boundary.substr(0, boundary.find_last_not_of(" \t") + 1));
        Put(tail);
        Put(lineEnd_);
    }

    DiskFile out_;
    std::string shown_;
    std::string_view lineEnd_;
    char last_ = '\0';
    bool isInLine_ = false;  ///< a boundary line needs a line end before it
};

bool HasSameBody(const Part& a, const Part& b) {
    MemoryFile first;
    MemoryFile second;
    const auto open = [](MemoryFile& view, const File& file) {
        if (!view.Open(file, MemoryFile::Mode::read)) {
            throw Failure(ToString(file.GetPath()), GetLastReason());
        }
        return std::string_view(view.GetData(), static_cast<size_t>(view.GetSize()));
    };
    return open(first, a.data.file) == open(second, b.data.file);
}

/// The header block without its last line end, which may have been missing in the original.
std::string GetComparedBlock(const Part& part) {
    std::string text = MakeHeaderBlock(part);
    if (text.ends_with('\n')) text.pop_back();
    if (text.ends_with('\r')) text.pop_back();
    return text;
}

bool IsSameEntity(const Entity& a, const Entity& b, bool withHeaderBlock) {
    const Part& first = *a.part;
    const Part& second = *b.part;
    if (withHeaderBlock && GetComparedBlock(first) != GetComparedBlock(second)) return false;
    return a.parent == b.parent && first.info.boundary == second.info.boundary &&
           first.info.isMessage == second.info.isMessage && first.preamble == second.preamble &&
           first.epilogue == second.epilogue && a.IsLeaf() == b.IsLeaf() &&
           (!a.IsLeaf() || HasSameBody(first, second));
}

}  // namespace

void WriteMessage(const Part& message, const std::string& path, const std::string& shown,
                  bool withHeaderBlock) {
    MessageWriter writer(path, shown, GetLineEnd(message, withHeaderBlock));
    writer.WriteEntity(message, withHeaderBlock);
    if (Entity{&message, Entity::kNoParent, 0}.IsLeaf()) writer.EndBase64(message);
    writer.Close();
}

bool IsSameMessage(const Part& a, const Part& b, bool withHeaderBlock) {
    const std::vector<Entity> first = ListEntities(a);
    const std::vector<Entity> second = ListEntities(b);
    if (first.size() != second.size()) return false;
    for (size_t i = 0; i < first.size(); ++i) {
        if (!IsSameEntity(first[i], second[i], withHeaderBlock || i > 0)) return false;
    }
    return true;
}

}  // namespace Tool
