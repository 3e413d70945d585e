#include "mime/mail/header_fields.h"

#include <algorithm>

#include "kivgui/ascii.h"
#include "mime/decoding.h"
#include "mime/encoding/uuencode.h"
#include "mime/mail/whole.h"
#include "mime/parser/header_block.h"

// Header blocks, read again whenever somebody asks for a field. Raw bytes are made UTF-8 before encoded
// words are decoded, so that a field that has both keeps both.

namespace MIME {

using KivGuiBase::EqualsCaseless;

namespace {

bool HasEncodedWord(std::string_view text) noexcept {
    return text.find("=?") != std::string_view::npos;
}

/// The fields of a block that was read once and is known to end where it ends: what no field begins is
/// passed over, with the lines that continue it.
void VisitBlock(std::string_view block, char initial, FieldVisitor& visitor) {
    for (size_t size; !block.empty(); block.remove_prefix(size)) {
        size = MeasureField(block);
        if (initial != '\0' && KivGuiBase::ToLowerAscii(block.front()) != initial) continue;
        const std::string_view whole = TrimLineEnd(block.substr(0, size), Rules::mail);
        if (!BeginsField(whole.substr(0, whole.find('\n')))) continue;
        const size_t colon = whole.find(':');
        const std::string_view name = KivGuiBase::TrimSpace(whole.substr(0, colon));
        const std::string_view value = KivGuiBase::TrimSpace(whole.substr(colon + 1));
        if (!name.empty() && !visitor.Take({name, value})) return;
    }
}

}  // namespace

size_t MeasureField(std::string_view text) noexcept {
    for (size_t end = 0; (end = text.find('\n', end)) != std::string_view::npos;) {
        ++end;
        if (end == text.size() || !KivGuiBase::IsBlankAscii(text[end])) return end;
    }
    return text.size();
}

FieldStore::FieldStore(HeaderMap& headers)
    : headers_(headers),
      reading_("", Cursor("", 0), error_, options_, nullptr),
      fields_(reading_) {}

void FieldStore::Put(const Field& field) {
    const KivGuiBase::MemoryWatch watch;
    fields_.Store(headers_, field.name, field.raw);
    if (watch.HasFailed()) throw std::bad_alloc();
}

std::string Field::GetText(const TextCharset& how) const {
    std::string unfolded;
    std::string text = DecodeRawHeader(Unfold(raw, unfolded), how);
    if (HasEncodedWord(text)) {
        text = Whole([&] {
            const AnsiStr words{std::string_view(text)};
            return std::string(std::string_view(HoldsAddresses(name) ? Decoding::AddressWords(words)
                                                                     : Decoding::Words(words)));
        });
    }
    // No line may end inside a value that hosts print or log.
    const auto isLineEnd = [](char c) { return c == '\r' || c == '\n' || c == '\0'; };
    std::replace_if(text.begin(), text.end(), isLineEnd, ' ');
    return text;
}

std::string Field::GetValue(const TextCharset& how) const {
    if (!HoldsParameters(name)) return GetText(how);
    HeaderMap headers;
    FieldStore(headers).Put(*this);
    return DecodeRawHeader((*headers.begin()).value.value, how);
}

std::vector<Parameter> Field::GetParameters(const TextCharset& how) const {
    std::vector<Parameter> parameters;
    if (!HoldsParameters(name)) return parameters;
    HeaderMap headers;
    FieldStore(headers).Put(*this);
    for (const ParameterMap::Node& node : (*headers.begin()).value.parameters) {
        parameters.push_back(
            {DecodeRawHeader(node.key, how), DecodeRawHeader(node.value.value, how)});
    }
    return parameters;
}

void VisitFields(const MessageTree& tree, uint32_t index, FieldVisitor& visitor, char initial) {
    const EntityPlace& place = tree.GetPlace(index);
    if (index == 0 && tree.hasContentType) {
        visitor.Take({"Content-Type", tree.contentType});
        return;
    }
    if (tree.IsUuencoded(index)) return;
    VisitBlock(tree.Cut(place, place.fields, place.fieldsEnd), KivGuiBase::ToLowerAscii(initial),
               visitor);
}

namespace {

/// What a uuencoded file would have for fields.
void MakeContentFields(std::string_view begin, HeaderMap& headers) {
    UuBlock block;
    ReadUuBegin(begin.substr(0, begin.find_first_of("\r\n")), block);
    const KivGuiBase::MemoryWatch watch;
    const size_t dot = block.name.rfind('.');
    AnsiStr type;
    GetTypeStrFromExt(
        dot != block.name.npos ? AnsiStr(std::string_view(block.name).substr(dot + 1)) : AnsiStr(),
        type);
    HeaderMap::Node* const field = headers.FindOrInsert("Content-Type");
    if (field != nullptr) field->value.value = type;
    HeaderMap::Node* const disposition = headers.FindOrInsert("Content-Disposition");
    ParameterMap::Node* const name =
        disposition != nullptr ? disposition->value.parameters.FindOrInsert("filename") : nullptr;
    if (name != nullptr) {
        disposition->value.value = "attachment";
        name->value.value = std::string_view(block.name);
    }
    if (watch.HasFailed()) throw std::bad_alloc();
}

}  // namespace

void ReadContentFields(const MessageTree& tree, uint32_t index, HeaderMap& headers) {
    if (tree.IsUuencoded(index)) {
        const EntityPlace& place = tree.GetPlace(index);
        return MakeContentFields(tree.Cut(place, place.fields, place.fieldsEnd), headers);
    }
    class Reader final : public FieldVisitor {
    public:
        explicit Reader(HeaderMap& headers) : store_(headers) {}

        bool Take(const Field& field) override {
            if (EqualsCaseless(field.name, "Content-Type") ||
                EqualsCaseless(field.name, "Content-Disposition")) {
                store_.Put(field);
            }
            return true;
        }

    private:
        FieldStore store_;
    };
    Reader reader(headers);
    VisitFields(tree, index, reader, 'c');
}

std::string_view TrimBrackets(std::string_view id) noexcept {
    id = KivGuiBase::TrimSpace(id);
    if (id.starts_with('<')) id.remove_prefix(1);
    if (id.ends_with('>')) id.remove_suffix(1);
    return id;
}

std::vector<std::string> SplitIdentifiers(std::string_view value) {
    std::vector<std::string> identifiers;
    const bool hasBrackets = value.find('<') != std::string_view::npos;
    const std::string_view stops = hasBrackets ? ">" : " \t\r\n,;";
    while (!value.empty()) {
        if (hasBrackets) value.remove_prefix(std::min(value.find('<'), value.size() - 1) + 1);
        const std::string_view one = value.substr(0, value.find_first_of(stops));
        std::string identifier;  // a fold may divide a long one
        std::copy_if(one.begin(), one.end(), std::back_inserter(identifier),
                     [](char c) { return !KivGuiBase::IsSpaceAscii(c); });
        if (!identifier.empty()) identifiers.push_back(std::move(identifier));
        value.remove_prefix(std::min(one.size() + 1, value.size()));
    }
    return identifiers;
}

}  // namespace MIME
