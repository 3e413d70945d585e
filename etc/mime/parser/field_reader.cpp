#include "mime/parser/field_reader.h"

#include <cstring>

#include "kivgui/ascii.h"
#include "mime/decoding.h"
#include "mime/parser/header_block.h"
#include "mime/parser/structured_field.h"

namespace MIME {

using KivGuiBase::EqualsCaseless;

namespace {

/// How the text of a field is made.
enum class FieldKind { text, addresses, type, disposition, encoding };

struct KnownField {
    std::string_view name;
    FieldKind kind;
};

constexpr KnownField kKnownFields[] = {
    {"Content-Type", FieldKind::type},
    {"Content-Disposition", FieldKind::disposition},
    {"Content-Transfer-Encoding", FieldKind::encoding},
    {"From", FieldKind::addresses},
    {"To", FieldKind::addresses},
    {"Cc", FieldKind::addresses},
    {"Bcc", FieldKind::addresses},
    {"Sender", FieldKind::addresses},
    {"Reply-To", FieldKind::addresses},
    {"Resent-From", FieldKind::addresses},
    {"Resent-To", FieldKind::addresses},
    {"Resent-Cc", FieldKind::addresses},
    {"Resent-Bcc", FieldKind::addresses},
    {"Resent-Sender", FieldKind::addresses},
    {"Disposition-Notification-To", FieldKind::addresses},
};

FieldKind GetKind(std::string_view name) noexcept {
    for (const KnownField& field : kKnownFields) {
        if (EqualsCaseless(field.name, name)) {
            return field.kind;
        }
    }
    return FieldKind::text;
}

bool HasParameters(FieldKind kind) noexcept {
    return kind == FieldKind::type || kind == FieldKind::disposition || kind == FieldKind::encoding;
}

bool HasChar(std::string_view text, char c) noexcept {
    return !text.empty() && std::memchr(text.data(), c, text.size()) != nullptr;
}

bool HasEncodedWord(std::string_view text) noexcept {
    return text.find("=?") != std::string_view::npos;
}

/// Takes the line ends out, each of which stands before white space (RFC 5322, 2.2.3).
std::string_view Unfold(std::string_view value, std::string& scratch) {
    if (!HasChar(value, '\n')) return value;
    scratch.clear();
    while (!value.empty()) {
        const size_t feed = value.find('\n');
        std::string_view line = value.substr(0, feed);
        if (feed != std::string_view::npos && line.ends_with('\r')) line.remove_suffix(1);
        scratch += line;
        value.remove_prefix(feed == std::string_view::npos ? value.size() : feed + 1);
    }
    return scratch;
}

void NoteText(std::string_view value, ReadState& state) {
    if (!state.WantsNotes()) return;
    for (size_t at = value.find('\r'); at != std::string_view::npos;
         at = value.find('\r', at + 1)) {
        if (at + 1 < value.size() && value[at + 1] == '\n') continue;
        state.Note(Deviation::bareCarriageReturn, value.data() + at);
        break;
    }
    const size_t nul = value.find('\0');
    if (nul != std::string_view::npos) state.Note(Deviation::nulInHeader, value.data() + nul);
}

/// A type without the ";" behind it: "text/plain charset=us-ascii".
void SplitTypeAtBlank(StructuredField& field) {
    const size_t blank = field.value.find_first_of(" \t");
    if (blank == std::string::npos) return;
    StructuredField tail;
    ParseStructuredField(";" + field.value.substr(blank), tail);
    field.value.resize(blank);
    field.parameters.insert(field.parameters.begin(), tail.parameters.begin(),
                            tail.parameters.end());
}

/// Puts the parameters of one field into its map.
class ParameterReader {
public:
    ParameterReader(const StructuredField& field, FieldKind kind, const char* where,
                    ReadState& state) noexcept
        : field_(field), kind_(kind), where_(where), state_(state) {}

    bool Store(ParameterMap& target) {
        const bool decodes = state_.options.decodeFields;
        ParameterMap encoded;
        for (const StructuredField::Parameter& parameter : field_.parameters) {
            const bool isEncoded =
                decodes && (HasChar(parameter.name, '*') || HasEncodedWord(parameter.value));
            if (!Add(isEncoded ? encoded : target, parameter)) return false;
        }
        return encoded.IsEmpty() || Decode(encoded, target);
    }

private:
    /// Of a repeated parameter the first counts.
    bool Add(ParameterMap& target, const StructuredField::Parameter& parameter) {
        const AnsiStr name{std::string_view(parameter.name)};
        if (const ParameterMap::Node* there = target.Find(name)) {
            if (there->value.value != std::string_view(parameter.value)) {
                state_.Note(Deviation::repeatedParameter, where_);
            }
            return true;
        }
        ParameterMap::Node* node = target.FindOrInsert(name);
        if (node == nullptr) return false;
        node->value.value = std::string_view(parameter.value);
        return true;
    }

    bool Decode(const ParameterMap& encoded, ParameterMap& target) {
        AnsiStr last;
        for (const ParameterMap::Node& node : encoded) {
            const std::string_view key = node.key;
            const AnsiStr name(key.substr(0, key.find('*')));
            if (!last.IsEmpty() && EqualsCaseless(name, last)) continue;  // another section of it
            last = name;
            const Decoding::ParameterResult result = Decoding::Parameter(encoded, name);
            if (!StoreDecoded(target, result.found ? name : node.key,
                              result.found ? result.value : node.value.value)) {
                return false;
            }
            NoteDecoded(name, result);
        }
        return true;
    }

    bool StoreDecoded(ParameterMap& target, const AnsiStr& name, const AnsiStr& value) {
        const ParameterMap::Node* there = target.Find(name);
        if (there != nullptr && !(there->value.value == value)) {
            state_.Note(Deviation::repeatedParameter, where_);
        }
        ParameterMap::Node* node = target.FindOrInsert(name);
        if (node == nullptr) return false;
        node->value.value = value;
        return true;
    }

    void NoteDecoded(const AnsiStr& name, const Decoding::ParameterResult& result) {
        if (result.conflicting) state_.Note(Deviation::repeatedParameter, where_);
        if (!result.hadEncodedWord) return;
        const bool isFileName = kind_ == FieldKind::disposition ? EqualsCaseless(name, "filename")
                                                                : EqualsCaseless(name, "name");
        state_.Note(
            isFileName ? Deviation::encodedWordInFileName : Deviation::encodedWordInParameter,
            where_);
    }

    const StructuredField& field_;
    FieldKind kind_;
    const char* where_;
    ReadState& state_;
};

bool StoreStructured(HeaderValue& target, FieldKind kind, std::string_view value, const char* where,
                     ReadState& state) {
    StructuredField field;
    ParseStructuredField(value, field);
    if (kind == FieldKind::type) {
        SplitTypeAtBlank(field);
        const size_t slash = field.value.find('/');
        if (slash == std::string::npos || slash == 0 || slash + 1 == field.value.size()) {
            state.Note(Deviation::malformedContentType, where);
        }
    }
    target.value = std::string_view(field.value);
    return ParameterReader(field, kind, where, state).Store(target.parameters);
}

bool StoreText(HeaderValue& target, FieldKind kind, std::string_view value, ReadState& state) {
    target.value = value;
    if (!state.options.decodeFields || !HasEncodedWord(value)) return true;
    target.value = kind == FieldKind::addresses ? Decoding::AddressWords(target.value)
                                                : Decoding::Words(target.value);
    return true;
}

void NoteRepeated(FieldKind kind, const char* where, ReadState& state) {
    if (kind == FieldKind::type) state.Note(Deviation::repeatedContentType, where);
    if (kind == FieldKind::encoding) state.Note(Deviation::repeatedTransferEncoding, where);
}

/// The reader's own rules: every value is split at ";", the last of a name counts.
bool StorePlain(HeaderValue& target, std::string_view value, ReadState& state) {
    const AnsiSubStr text(value.data(), static_cast<unsigned>(value.size()));
    if (!ParseHeaderValue(target, text)) return false;
    if (!state.options.decodeFields) return true;
    target.value = Decoding::Words(target.value);
    for (ParameterMap::Node& parameter : target.parameters) {
        parameter.value.value = Decoding::Words(parameter.value.value);
    }
    return true;
}

}  // namespace

bool ReadField(Part& part, std::string_view name, std::string_view value, ReadState& state) {
    const FieldKind kind = GetKind(name);
    const AnsiStr key(name);
    const char* const where = value.data();
    const bool isRepeated =
        (state.options.firstFieldCounts || state.WantsNotes()) && part.headers.Find(key) != nullptr;
    if (isRepeated) NoteRepeated(kind, where, state);
    if (isRepeated && state.options.firstFieldCounts) return true;
    HeaderMap::Node* field = part.headers.FindOrInsert(key);
    if (field == nullptr) return false;
    NoteText(value, state);
    if (state.options.unfold) value = Unfold(value, state.scratch);
    if (!state.options.structuredFields) return StorePlain(field->value, value, state);
    if (HasParameters(kind)) return StoreStructured(field->value, kind, value, where, state);
    return StoreText(field->value, kind, value, state);
}

}  // namespace MIME
