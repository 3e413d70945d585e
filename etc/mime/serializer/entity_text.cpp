#include <vector>

#include "kivgui/text_builder.h"
#include "mime/encoding/body_encoding.h"
#include "mime/foundation/guarded.h"
#include "mime/mime.h"

// Part::Serialize: the same walk as Part::Write, but into one text. Fields are completed in a copy of
// the entity's headers, so the tree does not change. A boundary line always brings its own CR LF,
// because a body in memory does not count the line end before the boundary line as its own.

namespace MIME {

using KivGuiBase::TextBuilder;

namespace {

constexpr std::string_view kPreamble = "\r\nThis is a multipart message in MIME format.\r\n";

/// Sets a field of a copy; false when memory runs out.
HeaderValue* SetField(HeaderMap& headers, const AnsiStr& name, const AnsiStr& value) noexcept {
    HeaderMap::Node* field = headers.FindOrInsert(name);
    if (field == nullptr) return nullptr;
    field->value.value = value;
    return &field->value;
}

bool SetParameter(HeaderValue* field, const AnsiStr& name, const AnsiStr& value) noexcept {
    ParameterMap::Node* parameter =
        field != nullptr ? field->parameters.FindOrInsert(name) : nullptr;
    if (parameter == nullptr) return false;
    parameter->value = ParameterValue{value, false};
    return true;
}

/// A body whose transfer encoding is not a known one is written as 8bit.
TransferEncoding::keys GetWrittenEncoding(TransferEncoding::keys encoding) noexcept {
    return TransferEncoding::GetStr(encoding).IsEmpty() ? TransferEncoding::bit8 : encoding;
}

/// Writes a tree into one text, with a stack of its own for the depth of the tree.
class EntityTextWriter {
public:
    bool Write(const Part& top, bool contentOnly) {
        if (!Begin(top, contentOnly)) return false;
        while (!levels_.empty()) {
            Level& level = levels_.back();
            if (level.part->info.isMessage) {
                if (!AppendMessage(level)) return false;
            } else if (level.next == level.part->parts.GetCount()) {
                AppendDelimiter(*level.part, "--\r\n");
                levels_.pop_back();
            } else {
                const Part* child = level.part->parts[level.next++];
                AppendDelimiter(*level.part, "\r\n");
                if (child == nullptr || !Begin(*child, true)) return false;
            }
        }
        return true;
    }

    AnsiStr Finish() noexcept { return text_.Finish(); }

private:
    /// An entity with children, those before `next` already written.
    struct Level {
        const Part* part;
        unsigned next = 0;
    };

    /// Writes an entity up to its first child; all of it when it has none.
    bool Begin(const Part& part, bool contentOnly) {
        if (!part.rawText.IsEmpty()) {
            text_.Append(part.rawText);
            return true;
        }
        if (part.parts.IsEmpty()) return AppendLeaf(part, contentOnly);
        if (!(part.info.isMessage ? AppendMessageHead(part) : AppendMultipartHead(part))) {
            return false;
        }
        levels_.push_back({&part});
        return true;
    }

    bool AppendLeaf(const Part& part, bool contentOnly) noexcept {
        const TransferEncoding::keys encoding = GetWrittenEncoding(part.info.transferEncoding);
        HeaderMap headers;
        if (!headers.CopyFrom(part.headers)) return false;
        HeaderValue* type =
            SetField(headers, Header::GetStr(Header::Content_Type), part.info.contentType.GetStr());
        if (type == nullptr) return false;
        if (!part.info.charset.IsEmpty() && !SetParameter(type, "charset", part.info.charset)) {
            return false;
        }
        if (!part.data.encoded &&
            SetField(headers, Header::GetStr(Header::Content_Transfer_Encoding),
                     TransferEncoding::GetStr(encoding)) == nullptr) {
            return false;
        }
        text_.Append(headers.Serialize(contentOnly, false));
        text_.Append("\r\n");
        return AppendBody(part.data, encoding);
    }

    bool AppendBody(const Data& data, TransferEncoding::keys encoding) noexcept {
        AnsiStr body = data.content;
        const bool isWritten =
            data.encoded || IsIdentity(encoding) ||
            EncodeBody(data.content.GetStr(), data.content.GetLength(), encoding, body);
        text_.Append(body);
        return isWritten;
    }

    /// Appends the message that an entity carries, right after its header block (RFC 2046, 5.2.1).
    bool AppendMessage(Level& level) {
        if (level.next != 0) {
            levels_.pop_back();
            return true;
        }
        const Part* message = level.part->parts[level.next++];
        return message != nullptr && Begin(*message, false);
    }

    bool AppendMessageHead(const Part& part) noexcept {
        HeaderMap headers;
        if (!headers.CopyFrom(part.headers) ||
            SetField(headers, Header::GetStr(Header::Content_Type),
                     part.info.contentType.GetStr()) == nullptr) {
            return false;
        }
        text_.Append(headers.Serialize(false, false));
        text_.Append("\r\n");
        return true;
    }

    bool AppendMultipartHead(const Part& part) noexcept {
        HeaderMap headers;
        if (!headers.CopyFrom(part.headers)) return false;
        const bool isMultipart = part.info.contentType.type == Type::multipart;
        HeaderValue* type = SetField(headers, Header::GetStr(Header::Content_Type),
                                     isMultipart ? part.info.contentType.GetStr()
                                                 : CanonicType(Type::multipart, SubType::mixed));
        if (!SetParameter(type, "boundary", part.info.boundary)) return false;
        if (part.data.topLevel && SetField(headers, "Mime-Version", "1.0") == nullptr) return false;
        text_.Append(headers.Serialize(false, false));
        if (part.data.topLevel) text_.Append(kPreamble);
        return true;
    }

    void AppendDelimiter(const Part& part, std::string_view end) noexcept {
        text_.Append("\r\n--");
        text_.Append(part.info.boundary);
        text_.Append(end);
    }

    TextBuilder text_;
    std::vector<Level> levels_;
};

}  // namespace

AnsiStr Part::Serialize(bool contentOnly) const noexcept {
    if (!rawText.IsEmpty()) return rawText;
    return Guarded(AnsiStr(), [&] {
        EntityTextWriter writer;
        return writer.Write(*this, contentOnly) ? writer.Finish() : AnsiStr();
    });
}

}  // namespace MIME
