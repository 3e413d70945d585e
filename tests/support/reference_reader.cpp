#include "support/reference_reader.h"

#include <optional>

#include "encoding/quoted_printable_reference.h"
#include "support/base64_reference.h"

namespace MIME::Test {

namespace {

// ------------------------------------------------------------------------------------- texts --

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Negative, 0 or positive, without regard to ASCII case. A name ends at its first NUL.
int CompareNames(const std::string& a, const std::string& b) {
    for (size_t i = 0;; ++i) {
        const auto x = static_cast<unsigned char>(Lower(a.c_str()[i]));
        const auto y = static_cast<unsigned char>(Lower(b.c_str()[i]));
        if (x != y) return x < y ? -1 : 1;
        if (x == 0) return 0;
    }
}

std::string Trim(std::string text) {
    const std::string space = " \t\n\v\f\r";
    while (!text.empty() && space.find(text.front()) != std::string::npos) text.erase(0, 1);
    while (!text.empty() && space.find(text.back()) != std::string::npos) text.pop_back();
    return text;
}

/// Only a text that is one whole quoted string loses its quotes and the backslashes in it.
std::string Unquote(const std::string& text) {
    if (text.empty() || text[0] != '"') return text;
    std::string inside;
    size_t i = 1;
    while (i < text.size() && text[i] != '"') {
        if (text[i] == '\\') ++i;
        if (i == text.size()) return text;
        inside += text[i++];
    }
    return i + 1 == text.size() ? inside : text;
}

/// The pieces between ";", which may also stand in a quoted string. Blank pieces are left out.
std::vector<std::string> SplitParameters(const std::string& text) {
    std::vector<std::string> pieces(1);
    bool quoted = false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (quoted && text[i] == '\\' && i + 1 < text.size()) {
            pieces.back() += text[i++];
            pieces.back() += text[i];
            continue;
        }
        if (text[i] == '"') quoted = !quoted;
        if (text[i] == ';' && !quoted) {
            pieces.emplace_back();
        } else {
            pieces.back() += text[i];
        }
    }
    std::vector<std::string> filled;
    for (const std::string& piece : pieces) {
        if (!Trim(piece).empty()) filled.push_back(Trim(piece));
    }
    return filled;
}

/// The number that the digits at the start make.
std::optional<unsigned long long> ReadNumber(const std::string& text) {
    constexpr size_t kMostDigits = 20;
    constexpr unsigned long long kLargest = ~0ULL;
    unsigned long long number = 0;
    size_t i = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        const auto digit = static_cast<unsigned long long>(text[i] - '0');
        if (i == kMostDigits || number > (kLargest - digit) / 10) return std::nullopt;
        number = number * 10 + digit;
    }
    return i == 0 ? std::nullopt : std::optional(number);
}

// -------------------------------------------------------------------------------------- maps --

/// The entry of that name in a list sorted by name; it takes the name's spelling.
template <class Entry>
Entry& FindOrInsert(std::vector<Entry>& entries, const std::string& name) {
    size_t i = 0;
    while (i < entries.size() && CompareNames(entries[i].name, name) < 0) ++i;
    if (i == entries.size() || CompareNames(entries[i].name, name) != 0) {
        entries.insert(entries.begin() + static_cast<std::ptrdiff_t>(i), Entry());
    }
    entries[i].name = name;
    return entries[i];
}

std::string FindParameter(const PlainField& field, const std::string& name) {
    for (const PlainParameter& parameter : field.parameters) {
        if (CompareNames(parameter.name, name) == 0) return parameter.value;
    }
    return "";
}

void ParseHeaderValue(PlainField& field, const std::string& text) {
    const size_t semicolon = text.find(';');
    if (semicolon == std::string::npos || semicolon == 0) {
        field.value = Unquote(text);
        return;
    }
    field.value = Trim(text.substr(0, semicolon));
    for (const std::string& piece : SplitParameters(Trim(text.substr(semicolon + 1)))) {
        const size_t equals = piece.find('=');
        if (equals != std::string::npos && equals != 0) {
            FindOrInsert(field.parameters, Trim(piece.substr(0, equals))).value =
                Unquote(Trim(piece.substr(equals + 1)));
        } else {
            FindOrInsert(field.parameters, Unquote(piece)).value = "";
        }
    }
}

// ------------------------------------------------------------------------------------- lines --

bool StartsWith(const std::string& text, size_t at, const std::string& wanted) {
    return at <= text.size() && text.size() - at >= wanted.size() &&
           text.compare(at, wanted.size(), wanted) == 0;
}

class ReferenceReader {
public:
    ReferenceReader(std::string text, ReferenceResult& result)
        : text_(std::move(text)), result_(result) {}

    bool ReadTop(const char* contentType) {
        if (StartsWith(text_, 0, "\xEF\xBB\xBF")) next_ = 3;
        while (next_ < text_.size() && (text_[next_] == '\r' || text_[next_] == '\n')) ++next_;
        return ReadEntity(result_.top, "", contentType);
    }

private:
    bool Fail(const std::string& error) {
        result_.error = error;
        return false;
    }

    size_t GetLeft() const { return text_.size() - next_; }

    enum class Found { line, rest, nul };

    /// The line at the cursor and where the one behind it begins.
    Found LookAtLine(std::string& line, size_t& behind) const {
        if (GetLeft() > 2) {
            for (size_t i = next_; i + 1 < text_.size(); ++i) {
                if (text_[i] == '\0') return Found::nul;
                if (text_[i] == '\r' && text_[i + 1] == '\n') {
                    line = text_.substr(next_, i - next_);
                    behind = i + 2;
                    return Found::line;
                }
            }
        }
        line = text_.substr(next_);
        while (!line.empty() && (line.back() == '\0' || line.back() == '\r' || line.back() == '\n'))
            line.pop_back();
        behind = text_.size();
        return Found::rest;
    }

    bool SkipToBoundary(const std::string& boundary, bool& last) {
        const std::string delimiter = "--" + boundary;
        for (;;) {
            std::string line;
            const Found found = LookAtLine(line, next_);
            if (found == Found::nul) return Fail("eos in text");
            if (found == Found::rest && line.empty()) return Fail("text boundary is missing");
            for (size_t i = 0; i < line.size(); ++i) {
                if (!StartsWith(line, i, delimiter)) continue;
                last = StartsWith(line, i + delimiter.size(), "--");
                return true;
            }
        }
    }

    bool ReadHeaderBlock(PlainPart& part) {
        for (;;) {
            std::string line;
            const Found found = LookAtLine(line, next_);
            if (found == Found::nul) return Fail("eos in text");
            if (found == Found::line && line.empty()) return true;
            if (line.empty()) return Fail("text boundary is missing");
            const size_t colon = line.find(':');
            if (colon == std::string::npos || colon == 0) {
                return Fail("Unexpected header line: \"" + line + "\"");
            }
            ParseHeaderValue(FindOrInsert(part.fields, Trim(line.substr(0, colon))),
                             Trim(line.substr(colon + 1)));
        }
    }

    bool SetInfo(PlainPart& part) {
        const PlainField type = FindOrInsert(part.fields, "Content-Type");
        part.boundary.clear();
        if (type.value.size() >= 10 && CompareNames(type.value.substr(0, 10), "Multipart/") == 0) {
            part.boundary = FindParameter(type, "boundary");
        }
        AnsiStr extension;
        if (!type.value.empty() && GetExtFromTypeStr(type.value.c_str(), extension)) {
            ContentType keys;
            GetTypesFromExt(extension, keys.type, keys.subType);
            part.type = keys.type;
            part.subType = keys.subType;
        }
        const std::string encoding = FindOrInsert(part.fields, "Content-Transfer-Encoding").value;
        const char* const names[] = {"base64", "quoted-printable", "7bit", "8bit", "binary"};
        for (unsigned i = 0; i < 5; ++i) {
            if (CompareNames(encoding.empty() ? "binary" : encoding, names[i]) == 0) {
                part.transferEncoding = i;
                return true;
            }
        }
        return Fail("unsupported transfer encoding \"" + encoding + "\"");
    }

    bool ReadEntity(PlainPart& part, const std::string& enclosing, const char* contentType) {
        if (contentType != nullptr) {
            ParseHeaderValue(FindOrInsert(part.fields, "Content-Type"), contentType);
        } else if (!ReadHeaderBlock(part)) {
            return false;
        }
        if (!SetInfo(part)) return false;
        if (part.boundary.empty()) {
            return enclosing.empty() ? Fail("boundary missing") : ReadBody(part, enclosing);
        }
        const std::string start = FindParameter(FindOrInsert(part.fields, "Content-Type"), "start");
        bool last = false;
        if (!SkipToBoundary(part.boundary, last)) return false;
        while (!last) {
            PlainPart child;
            if (!ReadEntity(child, part.boundary, nullptr)) return false;
            const bool isRoot =
                !start.empty() && FindOrInsert(child.fields, "Content-ID").value == start;
            part.parts.insert(isRoot ? part.parts.begin() : part.parts.end(), child);
            if (!SkipToBoundary(part.boundary, last)) return false;
        }
        return true;
    }

    // -------------------------------------------------------------------------------- bodies --

    bool ReadBody(PlainPart& part, const std::string& boundary) {
        const std::string length = FindOrInsert(part.fields, "Content-Length").value;
        PlainField& disposition = FindOrInsert(part.fields, "Content-Disposition");
        if (FindOrInsert(disposition.parameters, "filename").value.empty()) {
            FindOrInsert(part.fields, "Content-ID");
            FindOrInsert(part.fields, "Content-Type");
        }
        std::string body;
        const bool read = part.transferEncoding >= 2
                              ? CopyRawBody(body, boundary, length)
                              : DecodeTextBody(body, boundary, part.transferEncoding == 0);
        part.hasBody = true;
        part.body = body;
        result_.bodies.push_back(body);
        return read;
    }

    bool CopyRawBody(std::string& body, const std::string& boundary, const std::string& length) {
        if (!length.empty()) {
            const auto number = ReadNumber(length);
            if (!number) return Fail("invalid content-length=\"" + length + "\"");
            if (*number > GetLeft()) {
                return Fail("invalid content-length=\"" + std::to_string(*number) +
                            "\" exceeds remaining data=" + std::to_string(GetLeft()));
            }
            body = text_.substr(next_, *number);
            next_ += *number;
            return true;
        }
        const std::string delimiter = "--" + boundary;
        const size_t span = delimiter.size() > 5000 ? delimiter.size() : 5000;
        for (;;) {
            size_t o = 0;
            bool begins = false;
            for (;; ++o) {
                if (o + delimiter.size() > GetLeft()) return Fail("data boundary is missing");
                begins = StartsWith(text_, next_ + o, delimiter) ||
                         StartsWith(text_, next_ + o, "\r\n" + delimiter);
                if (begins || o == span) break;
            }
            body += text_.substr(next_, o);
            next_ += o;
            if (begins) return true;
        }
    }

    bool DecodeTextBody(std::string& body, const std::string& boundary, bool isBase64) {
        std::string pending;
        for (;;) {
            std::string line;
            size_t behind = 0;
            const Found found = LookAtLine(line, behind);
            if (found == Found::nul) return Fail("eos in text");
            const bool reached = StartsWith(line, 0, "--" + boundary);
            if (!reached) {
                next_ = behind;
                if (found == Found::rest && line.empty()) return Fail("text boundary is missing");
            }
            if (isBase64) {
                if (!reached) pending += line;
                if (!pending.empty() && (reached || pending.size() % 4 == 0)) {
                    const auto bytes = ReferenceDecodeBase64(pending, "\r\n");
                    if (!bytes) return Fail("unexpected base64 data \"" + pending + "\"");
                    body += *bytes;
                    pending.clear();
                }
            } else if (!reached) {
                body += QuotedPrintableReference::DecodeLine(line);
            }
            if (reached) return true;
        }
    }

    std::string text_;
    size_t next_ = 0;
    ReferenceResult& result_;
};

}  // namespace

ReferenceResult ReadByReference(std::string_view text, const char* contentType) {
    ReferenceResult result;
    result.read = ReferenceReader(std::string(text), result).ReadTop(contentType);
    return result;
}

}  // namespace MIME::Test
