#include "mime/writing/part_fields.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "kivgui/ascii.h"
#include "mime/foundation/char_class.h"
#include "mime/mail/address.h"
#include "mime/mail/header_fields.h"
#include "mime/mail/whole.h"
#include "mime/parser/fields.h"
#include "mime/writing/field_lines.h"
#include "mime/writing/field_text.h"

// A part that was read by the mail rules has its fields twice: as text, and decoded in its map, which hosts
// change. What the map has is compared with what the text gives when it is read again. Where they are equal,
// the text is written, byte for byte. Everything else is written anew from the map, by the rules for what
// hosts give: it is a text, so an encoded word in it is one that people typed. A part without the text, built
// by hand or read by the exact rules, is different only there: its ASCII values may be encoded already.

namespace MIME {

using KivGuiBase::EqualsCaseless;

namespace {

constexpr std::string_view kLineEnd = "\r\n";

bool IsType(std::string_view name) noexcept {
    return EqualsCaseless(name, "Content-Type");
}

/// Fields that say how the body is written.
bool IsOfBody(std::string_view name) noexcept {
    return EqualsCaseless(name, "Content-Transfer-Encoding") ||
           EqualsCaseless(name, "Content-Length");
}

PartFields::Kind GetKind(std::string_view name) noexcept {
    if (KivGuiBase::StartsWithCaseless(name, "Content-")) return PartFields::Kind::content;
    return EqualsCaseless(name, "MIME-Version") ? PartFields::Kind::all : PartFields::Kind::other;
}

/// With CR LF for each LF, and one at the end.
std::string MakeCanonicalField(std::string_view field) {
    std::string text;
    while (!field.empty()) {
        const size_t end = std::min(field.find('\n'), field.size());
        std::string_view line = field.substr(0, end);
        if (end != field.size() && line.ends_with('\r')) line.remove_suffix(1);
        text.append(line).append(kLineEnd);
        field.remove_prefix(std::min(end + 1, field.size()));
    }
    return text;
}

/// Parameters without a value say nothing: reading adds some where it looks for one.
bool HaveSame(const ParameterMap& some, const ParameterMap& others) {
    return std::ranges::all_of(some, [&](const ParameterMap::Node& one) {
        const ParameterMap::Node* const other = others.Find(one.key);
        if (one.value.value.IsEmpty()) return true;
        return other != nullptr && other->value.value == one.value.value && !one.value.raw;
    });
}

bool HasValues(const ParameterMap& map) {
    return std::ranges::any_of(
        map, [](const ParameterMap::Node& parameter) { return !parameter.value.value.IsEmpty(); });
}

bool HasEncodedWord(std::string_view text) noexcept {
    return text.find("=?") != std::string_view::npos && KivGuiBase::IsAsciiText(text);
}

std::string QuoteIfNeeded(std::string_view value) {
    if (IsToken(value)) return std::string(value);
    std::string quoted = "\"";
    for (const char c : value) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted += '"';
}

}  // namespace

PartFields::PartFields(const Part& part) : part_(part), wasRead_(part.fields.GetCount() != 0) {
    wasRead_ ? TakeRead() : TakeBuilt();
    const HeaderMap::Node* const type = part.headers.Find("Content-Type");
    if (type == nullptr) return;
    type_ = Decode(type->value.parameters, rawParameters_);
    type_.value = std::string_view(type->value.value);
}

// -------------------------------------------------------------------------------- which fields --

bool PartFields::IsUnchanged(const AnsiStr& name) const {
    const HeaderMap::Node* const now = part_.headers.Find(name);
    const HeaderMap::Node* const before = read_.Find(name);
    if (now == nullptr || before == nullptr) return false;
    const HeaderValue& value = now->value;
    return value.value == before->value.value &&
           HaveSame(value.parameters, before->value.parameters) &&
           HaveSame(before->value.parameters, value.parameters);
}

void PartFields::TakeRead() {
    const FieldList& fields = part_.fields;
    const std::string_view block = fields.GetText();
    FieldStore store(read_);
    for (unsigned i = 0; i < fields.GetCount(); ++i) {
        if (!fields[i].name.empty()) store.Put({fields[i].name, fields[i].value});
    }
    std::set<std::string> seen;
    bool hasType = false;
    for (unsigned i = 0; i < fields.GetCount(); ++i) {
        const std::string_view name = fields[i].name;
        if (name.empty() || IsOfBody(name)) continue;
        const AnsiStr key = Whole([&] { return AnsiStr(name); });
        const bool isFirst = seen.insert(KivGuiBase::MakeLowerAscii(name)).second;
        const auto offset = static_cast<size_t>(name.data() - block.data());
        const std::string_view rest = block.substr(offset);
        if (IsType(name)) {
            if (!isFirst) continue;
            hasType = true;
            typePlace_ = items_.size();
            if (IsUnchanged(key))
                typeField_ = MakeCanonicalField(rest.substr(0, MeasureField(rest)));
        } else if (IsUnchanged(key)) {
            items_.push_back(
                {std::string(name), MakeCanonicalField(rest.substr(0, MeasureField(rest)))});
        } else if (const HeaderMap::Node* field = part_.headers.Find(key); field && isFirst) {
            TakeNew(*field);
        }
    }
    for (const HeaderMap::Node& field : part_.headers) {
        if (read_.Find(field.key) == nullptr) TakeNew(field);
    }
    if (!hasType) typePlace_ = items_.size();
}

void PartFields::TakeBuilt() {
    for (const Kind kind : {Kind::other, Kind::all, Kind::content}) {
        if (kind == Kind::content) typePlace_ = items_.size();
        for (const HeaderMap::Node& field : part_.headers) {
            if (GetKind(field.key) == kind) TakeNew(field);
        }
    }
}

void PartFields::TakeNew(const HeaderMap::Node& field) {
    const std::string_view name = field.key;
    if (IsType(name) || IsOfBody(name)) return;
    std::string value(std::string_view(field.value.value));
    if (value.empty()) {
        if (!HasValues(field.value.parameters)) return;
        if (!EqualsCaseless(name, "Content-Disposition")) {
            FailField(ErrorCode::badField, name, "has parameters, but no value");
        }
        value = "attachment";
    }
    items_.push_back({std::string(name), Write(name, value, field.value.parameters)});
}

// ------------------------------------------------------------------------- how they are written --

/// The parameters of a map, as texts.
/// @param raw  receives those that are raw.
ParameterList PartFields::Decode(const ParameterMap& map, std::vector<std::string>& raw) const {
    ParameterList list;
    std::string last;
    for (const ParameterMap::Node& node : map) {
        const std::string_view key = node.key;
        const std::string name(key.substr(0, wasRead_ ? key.size() : key.find('*')));
        std::string value(std::string_view(node.value.value));
        if (node.value.raw) {
            raw.push_back(std::string(key) + "=" + value);
            continue;
        }
        if (value.empty() || (!last.empty() && EqualsCaseless(name, last))) continue;
        last = name;
        if (!wasRead_ && (name.size() != key.size() || KivGuiBase::IsAsciiText(value))) {
            value = Whole([&] {
                const Decoding::ParameterResult decoded =
                    Decoding::Parameter(map, AnsiStr(std::string_view(name)));
                return decoded.found ? std::string(std::string_view(decoded.value)) : value;
            });
        }
        const bool isName = EqualsCaseless(name, "filename") || EqualsCaseless(name, "name");
        if (isName) value = ReplaceUnsafeCharacters(value);
        list.parameters.push_back({name, std::move(value)});
    }
    return list;
}

/// A field of the map, whose value is not empty.
std::string PartFields::Write(std::string_view name, std::string value,
                              const ParameterMap& map) const {
    if (HoldsParameters(name)) {
        std::vector<std::string> raw;
        const ParameterList list = Decode(map, raw);
        return AddRawParameters(WriteParameterField(name, value, list.parameters, kLineEnd), raw,
                                kLineEnd);
    }
    // The exact rules divide each value at its first ";".
    for (const ParameterMap::Node& parameter : map) {
        value.append("; ").append(std::string_view(parameter.key));
        if (parameter.value.value.IsEmpty()) continue;
        value.append("=").append(parameter.value.raw ? std::string(parameter.value.value)
                                                     : QuoteIfNeeded(parameter.value.value));
    }
    if (!wasRead_ && HasEncodedWord(value)) {
        value = Whole([&] {
            const AnsiStr text{std::string_view(value)};
            return std::string(std::string_view(HoldsAddresses(name) ? Decoding::AddressWords(text)
                                                                     : Decoding::Words(text)));
        });
    }
    return WriteField(name, value, kLineEnd);
}

// --------------------------------------------------------------------------------- what is asked --

std::string PartFields::GetReadType() const {
    const HeaderMap::Node* const field = read_.Find("Content-Type");
    return field != nullptr ? std::string(std::string_view(field->value.value)) : std::string();
}

std::string PartFields::FindDomain() const {
    constexpr ByteSet kDomainBytes = kAlphanumericBytes.WithAll("-.");
    const HeaderMap::Node* const from = part_.headers.Find("From");
    if (from != nullptr) {
        for (const Address& address : AddressList::Parse(std::string_view(from->value.value))) {
            const std::string& text = address.GetAddress();
            std::string domain = text.substr(std::min(text.rfind('@'), text.size() - 1) + 1);
            const bool isDomain = !domain.empty() && std::ranges::all_of(domain, [&](char c) {
                return kDomainBytes.Has(c);
            });
            if (isDomain) return domain;
        }
    }
    return "localhost.invalid";
}

bool PartFields::Has(std::string_view name) const {
    return std::ranges::any_of(items_,
                               [&](const Item& item) { return EqualsCaseless(item.name, name); });
}

void PartFields::Add(std::string_view name, std::string text) {
    const auto first = std::ranges::find_if(
        items_, [](const Item& item) { return GetKind(item.name) != Kind::other; });
    if (static_cast<size_t>(first - items_.begin()) <= typePlace_) {
        items_.insert(first, {std::string(name), std::move(text)});
    } else {
        items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(typePlace_),
                      {std::string(name), std::move(text)});
    }
    ++typePlace_;
}

std::string PartFields::Join(Kind kind, size_t begin, size_t end) const {
    std::string text;
    for (size_t i = begin; i < end; ++i) {
        if (kind == Kind::all || GetKind(items_[i].name) == kind) text += items_[i].text;
    }
    return text;
}

}  // namespace MIME
