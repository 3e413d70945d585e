#include "mime/writing/parameter_list.h"

#include <algorithm>
#include <map>
#include <set>

#include "kivgui/ascii.h"
#include "kivgui/quoted_string.h"
#include "mime/foundation/char_class.h"
#include "mime/writing/field_lines.h"

// The reader for mail takes any text apart, and so passes over what it does not understand. Here the form
// is checked first, and the reader then gives the values.

namespace MIME {

using KivGuiBase::MakeLowerAscii;
using KivGuiBase::TrimSpace;

namespace {

constexpr ByteSet kTokens = ByteSet().With(0x21, 0x7E).Without("()<>@,;:\\\"/[]?=");

class ListReader {
public:
    ListReader(std::string_view field, std::string_view text) : field_(field), rest_(text) {}

    /// Checks the form, and gives the names of parameters, in order.
    std::vector<std::string> ReadNames() {
        SkipTo(rest_.find(';'));
        while (!rest_.empty()) {
            rest_.remove_prefix(1);
            rest_ = TrimSpace(rest_);
            if (!rest_.empty()) TakeParameter();
        }
        return std::move(names_);
    }

private:
    [[noreturn]] void Fail(std::string_view why) const {
        FailField(ErrorCode::badField, field_, rest_, why);
    }

    void SkipTo(size_t at) noexcept { rest_.remove_prefix(std::min(at, rest_.size())); }

    void TakeParameter() {
        const size_t equals = rest_.find('=');
        const std::string_view name = TrimSpace(rest_.substr(0, equals));
        if (equals == std::string_view::npos || !IsToken(name)) Fail("is not a parameter");
        AddName(name);
        const std::string_view value = TrimSpace(rest_.substr(equals + 1));
        rest_ = value;
        if (value.starts_with('"')) {
            const KivGuiBase::QuotedString quoted = KivGuiBase::ScanQuotedString(value);
            if (!quoted.isClosed) Fail("has a quote without its partner");
            SkipTo(quoted.length);
        } else {
            SkipTo(value.find_first_of("; \t\"(),"));
            if (rest_.size() == value.size()) Fail("is a parameter without a value");
        }
        rest_ = TrimSpace(rest_);
        if (!rest_.empty() && rest_.front() != ';') Fail("is not a parameter");
    }

    /// "name", or one of its forms "name*", "name*0", "name*0*", ... (RFC 2231), whose numbers are in
    /// order, so that the reader takes them all.
    void AddName(std::string_view full) {
        std::string_view form = full.substr(std::min(full.find('*'), full.size()));
        const std::string_view name = full.substr(0, full.size() - form.size());
        if (form.size() > 2 && form.ends_with('*')) form.remove_suffix(1);
        unsigned& sections = sections_[MakeLowerAscii(name)];
        const std::string wanted = form.size() > 1 ? "*" + std::to_string(sections++) : "";
        const bool isNew = forms_.insert(MakeLowerAscii(full)).second;
        if (!isNew) Fail("is there twice");
        if (form.size() > 1 && form != wanted) Fail("is a section out of order");
        if (sections_.size() > names_.size()) names_.emplace_back(name);
    }

    std::string_view field_;
    std::string_view rest_;
    std::vector<std::string> names_;
    std::map<std::string, unsigned> sections_;  ///< how many each name has had
    std::set<std::string> forms_;               ///< names as they are
};

}  // namespace

bool IsToken(std::string_view text) noexcept {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return kTokens.Has(c); });
}

ParameterList ReadParameterList(std::string_view field, std::string_view text) {
    text = TrimSpace(text);
    const std::vector<std::string> names = ListReader(field, text).ReadNames();
    std::map<std::string, std::string> values;
    for (Parameter& decoded : Field{field, text}.GetParameters()) {
        values.emplace(MakeLowerAscii(decoded.name), std::move(decoded.value));
    }
    ParameterList list{std::string(TrimSpace(text.substr(0, text.find(';')))), {}};
    for (const std::string& name : names) {
        const auto found = values.find(MakeLowerAscii(name));
        if (found == values.end()) FailField(ErrorCode::badField, field, name, "cannot be read");
        list.parameters.push_back({name, found->second});
    }
    return list;
}

}  // namespace MIME
