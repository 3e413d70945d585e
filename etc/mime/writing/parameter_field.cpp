#include <algorithm>
#include <set>

#include "kivgui/ascii.h"
#include "kivgui/hex.h"
#include "kivgui/utf8.h"
#include "mime/foundation/char_class.h"
#include "mime/writing/encoded_words.h"
#include "mime/writing/field_lines.h"
#include "mime/writing/field_text.h"
#include "mime/writing/parameter_list.h"

// A parameter is written in the plainest form that all programs read alike:
//
//   charset=utf-8                         a token without the characters of RFC 2231
//   filename="a b.txt"                    a quoted-string without backslashes, which some do not remove
//   filename*=utf-8''%C3%BC.txt           RFC 2231, in sections when it is long
//   name="=?utf-8?Q?=C3=BC=2Etxt?="       encoded words, which RFC 2047, 5 (3) forbids there: but in
//                                         Content-Type that is what programs read and write

namespace MIME {

using KivGuiBase::EqualsCaseless;

namespace {

constexpr std::string_view kCharset = "utf-8''";

/// attribute-char (RFC 2231, 7).
constexpr ByteSet kExtendedBytes = kAlphanumericBytes.WithAll("!#$&+-.^_`{|}~");

class ParameterLines {
public:
    ParameterLines(std::string_view field, std::string_view value, size_t parameters,
                   std::string_view lineEnd)
        : field_(field), lines_(field, lineEnd), left_(parameters) {
        AddLast(std::string(value), left_ == 0);
    }

    void Add(const Parameter& parameter) {
        --left_;
        CheckParameter(parameter);
        const std::string& value = parameter.value;
        const std::string plain =
            parameter.name + "=" + (IsBare(value) ? value : '"' + value + '"');
        const bool isBoundary = EqualsCaseless(parameter.name, "boundary");
        const bool isShort = plain.size() < FieldLines::GetFullRoom();
        constexpr size_t kMaxBoundary = 70;  // RFC 2046, 5.1.1
        if (IsQuotable(value) && (isShort || (isBoundary && value.size() <= kMaxBoundary))) {
            AddLast(plain, left_ == 0);
        } else if (isBoundary) {
            Fail(parameter, "cannot be a boundary");
        } else if (EqualsCaseless(field_, "Content-Type") &&
                   EqualsCaseless(parameter.name, "name") && !IsMisread(value)) {
            AddEncodedWords(parameter);
        } else {
            AddExtended(parameter);
        }
    }

    std::string Finish() { return lines_.Finish(); }

private:
    [[noreturn]] void Fail(const Parameter& parameter, std::string_view why) const {
        FailField(ErrorCode::badField, field_, parameter.name, why);
    }

    void CheckParameter(const Parameter& parameter) {
        constexpr size_t kMaxName = 40;  // its sections fit a line
        if (!IsToken(parameter.name) || parameter.name.size() > kMaxName ||
            parameter.name.find_first_of("*'%") != std::string::npos) {
            Fail(parameter, "is not the name of a parameter");
        }
        if (!names_.insert(KivGuiBase::MakeLowerAscii(parameter.name)).second) {
            Fail(parameter, "is there twice");
        }
        if (HasControls(parameter.value)) Fail(parameter, "has control characters");
        if (!KivGuiBase::IsUtf8(parameter.value)) Fail(parameter, "is not UTF-8");
    }

    static bool IsBare(std::string_view value) noexcept {
        return IsToken(value) && value.find_first_of("*'%") == std::string_view::npos;
    }

    static bool IsQuotable(std::string_view value) noexcept {
        return KivGuiBase::IsAsciiText(value) &&
               value.find_first_of("\"\\\t") == std::string_view::npos &&
               value.find("=?") == std::string_view::npos;
    }

    /// Some programs decode encoded words before they remove quotes, and do so twice.
    static bool IsMisread(std::string_view value) noexcept {
        return value.find_first_of("\"\\") != std::string_view::npos ||
               value.find("=?") != std::string_view::npos;
    }

    void AddLast(std::string text, bool isLast) {
        lines_.Add(isLast ? std::move(text) : text + ';');
    }

    void AddEncodedWords(const Parameter& parameter) {
        constexpr size_t kEnd = 2;  // the quote and the ";"
        std::string begin = parameter.name + "=\"";
        lines_.Break();
        std::vector<std::string> words =
            MakeEncodedWords(parameter.value, FieldLines::GetFullRoom() - begin.size() - kEnd,
                             FieldLines::GetFullRoom() - kEnd);
        words.front().insert(0, begin);
        words.back() += '"';
        for (const std::string& word : words) {
            const bool isEnd = &word == &words.back();
            AddLast(word, !isEnd || left_ == 0);
        }
    }

    void AddExtended(const Parameter& parameter) {
        std::string_view rest = parameter.value;
        std::string whole = parameter.name + "*=" + std::string(kCharset);
        TakeExtended(rest, whole);
        if (rest.empty()) return AddLast(whole, left_ == 0);
        rest = parameter.value;
        for (size_t number = 0; !rest.empty(); ++number) {
            std::string section = parameter.name + "*" + std::to_string(number) + "*=";
            if (number == 0) section += kCharset;
            TakeExtended(rest, section);
            AddLast(section, rest.empty() && left_ == 0);
        }
    }

    /// Moves whole characters from the start of `rest` to the section, as many as fit its line, at
    /// least one.
    static void TakeExtended(std::string_view& rest, std::string& section) {
        for (bool isFirst = true; !rest.empty(); isFirst = false) {
            const size_t length = KivGuiBase::MeasureUtf8(rest);
            const bool isPlain = kExtendedBytes.Has(rest.front());
            const size_t size = isPlain ? 1 : length * KivGuiBase::kHexEscapeLength;
            if (!isFirst && section.size() + size >= FieldLines::GetFullRoom()) return;
            for (const char c : rest.substr(0, length)) {
                char escape[KivGuiBase::kHexEscapeLength];
                KivGuiBase::WriteHexEscape('%', c, escape);
                section.append(isPlain ? &c : escape, isPlain ? 1 : sizeof escape);
            }
            rest.remove_prefix(length);
        }
    }

    std::string_view field_;
    FieldLines lines_;
    size_t left_;  ///< parameters that follow
    std::set<std::string> names_;
};

}  // namespace

std::string WriteParameterField(std::string_view name, std::string_view value,
                                std::span<const Parameter> parameters, std::string_view lineEnd) {
    CheckFieldName(name);
    const bool isType = EqualsCaseless(name, "Content-Type");
    const size_t slash = isType ? value.find('/') : std::string_view::npos;
    const bool isWhole = isType == (slash != std::string_view::npos);
    if (!isWhole || !IsToken(value.substr(0, slash)) || value.size() > FieldLines::kMaxWord ||
        (isType && !IsToken(value.substr(slash + 1)))) {
        FailField(ErrorCode::badField, name, value,
                  isType ? "is not a media type" : "is not a single word");
    }
    ParameterLines lines(name, value, parameters.size(), lineEnd);
    for (const Parameter& parameter : parameters) lines.Add(parameter);
    return lines.Finish();
}

std::string AddRawParameters(std::string field, std::span<const std::string> parameters,
                             std::string_view lineEnd) {
    for (const std::string& parameter : parameters) {
        const bool isSafe = !HasControls(parameter) && parameter.size() <= FieldLines::kMaxWord &&
                            IsToken(std::string_view(parameter).substr(0, parameter.find('=')));
        if (!isSafe) {
            FailField(ErrorCode::badField, field.substr(0, field.find(':')), parameter,
                      "is a raw parameter that cannot be written");
        }
        field.resize(field.size() - lineEnd.size());
        field.append(";").append(lineEnd).append(" ").append(parameter).append(lineEnd);
    }
    return field;
}

}  // namespace MIME
