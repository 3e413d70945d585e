#include "fuzz/tree_check.h"

#include <algorithm>
#include <map>

#include "fuzz/check.h"
#include "kivgui/ascii.h"

namespace MIME::Fuzz {

// ------------------------------------------------------------------------------- header text --

namespace {

/// Line ends and bytes above ASCII: header text that has any is encoded.
bool IsPlain(std::string_view text) {
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return (c & 0x80) != 0 || c == '\r' || c == '\n'; });
}

/// A word longer than a line may be is divided.
bool HasWordTooLong(std::string_view text) {
    constexpr size_t kLongest = 480;  // half of 998 characters: a backslash may precede each
    size_t length = 0;
    for (const char c : text) {
        length = c == ' ' || c == '\t' ? 0 : length + 1;
        if (length > kLongest) return true;
    }
    return false;
}

bool HasWordStart(std::string_view text) {
    return text.find("=?") != std::string_view::npos;
}

/// Text that was encoded: malformed UTF-8 is replaced, and line ends become spaces.
std::string GetEncodedReadBack(std::string_view text) {
    std::string read(
        Decoding::ToUtf8(text.data(), static_cast<unsigned>(text.size()), "utf-8").text);
    std::replace_if(
        read.begin(), read.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return read;
}

std::string GetNameReadBack(const AnsiStr& name) {
    const std::string_view text = name.GetStr();
    return IsPlain(text) ? std::string(text) : GetEncodedReadBack(text);
}

}  // namespace

std::optional<std::string> GetTextReadBack(const AnsiStr& value) {
    const std::string_view text = value.GetStr();
    if (!IsPlain(text)) return GetEncodedReadBack(text);
    if (HasWordTooLong(text)) return std::nullopt;
    return std::string(Decoding::Words(AnsiStr(KivGuiBase::TrimSpace(text))));
}

/// A value that looks like encoded words is decoded, unless it was encoded itself.
bool IsParameterReadBack(const AnsiStr& read, const AnsiStr& value) {
    const AnsiStr text(value.GetStr());
    if (!IsPlain(text)) return read == std::string_view(GetEncodedReadBack(text));
    return read == text || (HasWordStart(text) && read == Decoding::Words(text));
}

void CheckMailboxesReadBack(const AnsiStr& read, const AnsiStr& value) {
    if (HasWordTooLong(value)) return;
    MailboxParser got(read);
    MailboxParser expected(value);
    while (expected.ToNext()) {
        Check(got.ToNext(), "no mailbox is lost");
        CheckEqual(got.address, expected.address, "addresses come back");
        if (HasWordStart(expected.name)) continue;  // a name that looks encoded is decoded
        CheckEqual(got.name, GetNameReadBack(expected.name), "display names come back");
    }
    Check(!got.ToNext() && !got.IsMalformed(), "no mailbox is added");
}

// ------------------------------------------------------------------------------------- trees --

namespace {

using Fields = std::map<std::string, const HeaderValue*>;

std::string ToLower(const AnsiStr& text) {
    return std::string(AnsiStr(text).ToLower());
}

/// The fields that have a value, by name.
Fields GetFields(const HeaderMap& headers) {
    Fields fields;
    for (const HeaderMap::Node& field : headers) {
        if (!field.value.value.IsEmpty()) fields.emplace(ToLower(field.key), &field.value);
    }
    return fields;
}

bool IsAddressField(const std::string& name) {
    constexpr const char* kNames[] = {"from", "to", "reply-to", "sender", "cc", "bcc"};
    return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}

class TreeComparison {
public:
    TreeComparison(TreeSource& source, Writer writer)
        : source_(source), isMail_(writer == Writer::serialize) {}

    void Compare(const Part& written, const Part& read, bool isInMultipart) {
        CompareInfo(written, read);
        HeaderMap completed;
        Check(completed.CopyFrom(written.headers), "fields can be copied");
        if (isMail_) Complete(written, completed);
        CompareFields(GetFields(completed), GetFields(read.headers),
                      isMail_ && isInMultipart && written.parts.IsEmpty());
        if (written.parts.IsEmpty()) CompareBody(written, read);
        for (unsigned i = 0; i < written.parts.GetCount(); ++i) {
            Compare(*written.parts[i], *read.parts[i], !written.info.isMessage);
        }
    }

private:
    void CompareInfo(const Part& written, const Part& read) {
        Check(read.parts.GetCount() == written.parts.GetCount(), "each child comes back");
        CheckEqual(read.info.boundary, written.info.boundary, "boundaries come back");
        Check(read.info.isMessage == written.info.isMessage, "messages come back as messages");
        CheckEqual(TransferEncoding::GetStr(read.info.transferEncoding),
                   TransferEncoding::GetStr(written.info.transferEncoding), "encodings come back");
        if (!isMail_) return;
        CheckEqual(read.info.contentType.GetStr(), written.info.contentType.GetStr(),
                   "types come back");
        Check(read.epilogue.IsEmpty(), "nothing is put after children");
        Check(read.preamble.IsEmpty() || written.data.topLevel, "no text is put before children");
    }

    /// What Part::Serialize completes from `info` and `data`.
    static void Complete(const Part& written, HeaderMap& headers) {
        const auto set = [&headers](const char* name, const AnsiStr& value) {
            headers.FindOrInsert(name)->value.value = value;
        };
        set("Content-Type", written.info.contentType.GetStr());
        ParameterMap& parameters = headers.FindOrInsert("Content-Type")->value.parameters;
        if (!written.parts.IsEmpty()) {
            if (written.info.isMessage) return;
            parameters.FindOrInsert("boundary")->value.value = written.info.boundary;
            if (written.data.topLevel) set("Mime-Version", "1.0");
        } else if (!written.info.charset.IsEmpty()) {
            parameters.FindOrInsert("charset")->value.value = written.info.charset;
        }
    }

    void CompareFields(const Fields& written, Fields read, bool contentOnly) const {
        for (const auto& [name, field] : written) {
            if (contentOnly && !name.starts_with("content-")) continue;
            const auto place = read.find(name);
            const HeaderValue* found = place != read.end() ? place->second : nullptr;
            if (isMail_) {
                CompareMailField(name, *field, found);
            } else {
                CompareExactField(*field, found);
            }
            if (found != nullptr) read.erase(place);
        }
        Check(read.empty(), "no field is added");
    }

    static void CompareMailField(const std::string& name, const HeaderValue& written,
                                 const HeaderValue* read) {
        if (IsAddressField(name)) {
            Check(read != nullptr, "no address field is lost");
            return CheckMailboxesReadBack(read->value, written.value);
        }
        const std::optional<std::string> expected = GetTextReadBack(written.value);
        if (!expected.has_value()) return;
        CheckEqual(read != nullptr ? std::string_view(read->value) : "", *expected,
                   "values come back");
        if (read == nullptr) return;
        Check(Count(read->parameters) == Count(written.parameters), "no parameter is added");
        for (const ParameterMap::Node& parameter : written.parameters) {
            const ParameterMap::Node* found = read->parameters.Find(parameter.key);
            Check(found != nullptr, "no parameter is lost");
            if (IsParameterReadBack(found->value.value, parameter.value.value)) continue;
            CheckEqual(found->value.value, parameter.value.value, "parameters come back");
        }
    }

    static void CompareExactField(const HeaderValue& written, const HeaderValue* read) {
        Check(read != nullptr, "no field is lost");
        const bool keepsQuotes = !written.parameters.IsEmpty() && !Encoding::IsAtom(written.value);
        CheckEqual(read->value, keepsQuotes ? Encoding::Quote(written.value) : written.value,
                   "values come back");
        // Looking for a name for the body's file adds an empty one.
        const bool isAdded = read->parameters.Find("filename") != nullptr &&
                             written.parameters.Find("filename") == nullptr;
        Check(Count(read->parameters) == Count(written.parameters) + (isAdded ? 1 : 0),
              "no parameter is added");
        for (const ParameterMap::Node& parameter : written.parameters) {
            const ParameterMap::Node* found = read->parameters.Find(parameter.key);
            Check(found != nullptr, "no parameter is lost");
            CheckEqual(found->value.value, parameter.value.value, "parameters come back");
        }
    }

    static size_t Count(const ParameterMap& parameters) {
        return static_cast<size_t>(std::distance(parameters.begin(), parameters.end()));
    }

    void CompareBody(const Part& written, const Part& read) {
        const std::string& expected = source_.GetBody(written);
        if (isMail_) return CheckEqual(read.data.content, expected, "bodies come back");
        CheckEqual(Test::ReadWholeFile(read.data.file.GetPath()), expected, "bodies come back");
    }

    TreeSource& source_;
    const bool isMail_;
};

}  // namespace

void CheckReadBack(TreeSource& source, const Part& read, Writer writer) {
    TreeComparison(source, writer).Compare(source.GetTop(), read, false);
}

}  // namespace MIME::Fuzz
