// Header text from any bytes: what an encoder makes of them keeps its limits, cannot end its field, and
// is read back as what went in. The first byte chooses, texts follow.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/byte_source.h"
#include "fuzz/check.h"
#include "fuzz/tree_check.h"
#include "kivgui/utf8.h"
#include "mime/mime.h"

namespace {

using MIME::AnsiStr;
using MIME::Encoding;
using MIME::HeaderMap;
using MIME::MailboxParser;
using MIME::Part;
using MIME::Fuzz::ByteSource;
using MIME::Fuzz::Check;
using MIME::Fuzz::CheckEqual;

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

/// Calls `visit` with each line; the text must be lines that end in CR LF.
template <class Visit>
void ForEachLine(std::string_view text, Visit visit) {
    while (!text.empty()) {
        const size_t end = text.find("\r\n");
        Check(end != std::string_view::npos, "every line ends");
        visit(text.substr(0, end));
        text.remove_prefix(end + 2);
    }
}

void ReadFields(Part& part, std::string_view fields, MIME::Rules rules) {
    std::string text(fields);
    MIME::ReadOptions options;
    options.rules = rules;
    options.bodies = MIME::Bodies::memory;
    // The exact rules want a multipart entity.
    text += rules == MIME::Rules::mail
                ? "\r\n"
                : "Content-Type: multipart/x; boundary=b\r\n\r\n--b\r\n\r\n\r\n--b--\r\n";
    AnsiStr error;
    const bool isRead = part.Read(text.data(), text.size(), error, options);
    CheckEqual(error, "", "the fields can be read");
    Check(isRead, "the fields can be read, with a message otherwise");
}

// --------------------------------------------------------------------------- encoded words --

/// RFC 2047, 2 and 5: not too long, one character set, no character divided.
void CheckWordForms(std::string_view words, bool isUtf8) {
    constexpr size_t kMaxWord = 75;
    while (!words.empty()) {
        const std::string_view word = words.substr(0, words.find(' '));
        Check(word.size() <= kMaxWord && word.starts_with("=?utf-8?Q?") && word.ends_with("?="),
              "words have their form");
        if (isUtf8) {
            const AnsiStr decoded = MIME::Decoding::Words(AnsiStr(word));
            Check(std::string_view(decoded).find("\xEF\xBF\xBD") == std::string_view::npos,
                  "no character is divided between words");
        }
        words.remove_prefix(std::min(word.size() + 1, words.size()));
    }
}

void CheckWords(ByteSource& source) {
    const bool force = source.TakeNumber() % 2 != 0;
    const AnsiStr text(source.TakeText());
    const std::string_view plain = text.GetStr();
    const AnsiStr words = Encoding::QEncode(text, force);
    if (!force && words == text) return;
    const bool hasReplacement = plain.find("\xEF\xBF\xBD") != std::string_view::npos;
    CheckWordForms(words, KivGuiBase::IsUtf8(plain) && !hasReplacement);
    // Text that is not plain is what GetTextReadBack takes for encoded; here all of it is.
    const std::optional<std::string> expected =
        MIME::Fuzz::GetTextReadBack(AnsiStr("\xC3\xA9") + AnsiStr(plain));
    CheckEqual("\xC3\xA9" + std::string(MIME::Decoding::Words(words)), *expected,
               "words are decoded to what was encoded");
}

// --------------------------------------------------------------------------------- folding --

/// RFC 5322, 2.1.1: lines of 78 characters, or as long as their only word.
void CheckLine(std::string_view line) {
    constexpr size_t kSoftLimit = 78 + 1;  // with the space of a fold
    constexpr size_t kHardLimit = 998 + 1;
    Check(line.size() <= kHardLimit, "no line is too long");
    if (line.size() <= kSoftLimit) return;
    const auto inside = std::find_if(line.begin() + 2, line.end(), IsBlank);
    Check(inside == line.end(), "lines end where they can");
}

/// Without line ends, and without blanks when folding had to add some.
std::string Reduce(std::string_view text, bool keepsBlanks) {
    std::string reduced;
    for (const char c : text) {
        if (c != '\r' && c != '\n' && (keepsBlanks || !IsBlank(c))) reduced += c;
    }
    return reduced;
}

void CheckFolding(ByteSource& source) {
    const AnsiStr text(source.TakeText());
    const std::string_view plain = text.GetStr();
    const AnsiStr folded = Encoding::FoldHeader(text);
    Check(folded.IsEmpty() == plain.empty(), "there are lines when there is text");
    bool isFirst = true;
    ForEachLine(folded, [&isFirst](std::string_view line) {
        Check(isFirst || (!line.empty() && IsBlank(line.front())),
              "further lines begin with a blank");
        Check(line.find_first_of("\r\n") == std::string_view::npos, "there are no other line ends");
        CheckLine(line);
        isFirst = false;
    });
    size_t run = 0;
    size_t longest = 0;
    for (const char c : plain) longest = std::max(longest, run = IsBlank(c) ? 0 : run + 1);
    const bool isExact = longest < 900 && plain.find_first_of("\r\n") == std::string_view::npos;
    CheckEqual(Reduce(folded, isExact), Reduce(plain, isExact), "unfolding undoes folding");
}

// ------------------------------------------------------------------------------ parameters --

void CheckParameter(ByteSource& source) {
    constexpr size_t kMaxLine = 79;  // docs/writing.md: with the space of a fold and the ";"
    const bool useEncodedWords = source.TakeNumber() % 2 != 0;
    std::string name = "n";
    for (const char c : source.TakeText()) {
        if (name.size() < 51 && Encoding::IsAtom(AnsiStr(&c, 1)) && c != '*' && c != '%' &&
            c != '\'')
            name += c;
    }
    AnsiStr value(source.TakeText());
    const std::string_view plain = value.GetStr();
    const bool isAscii = std::none_of(plain.begin(), plain.end(), [](char c) { return c & 0x80; });
    if (isAscii && plain.find_first_of("\r\n") != std::string_view::npos) return;
    const AnsiStr parameter = Encoding::EncodeParameter(AnsiStr(name), value, useEncodedWords);
    Check(!parameter.IsEmpty(), "a parameter can be written");
    const std::string field = (useEncodedWords ? "Content-Type: a/b;" : "Content-Disposition: a;") +
                              std::string(parameter);
    const AnsiStr folded = Encoding::FoldHeader(AnsiStr(field));
    ForEachLine(folded, [&](std::string_view line) {
        Check(useEncodedWords || line.size() <= kMaxLine, "sections fit lines");
    });
    Part part;
    ReadFields(part, folded, MIME::Rules::mail);
    const AnsiStr read = part.headers.GetParameter(
        useEncodedWords ? "Content-Type" : "Content-Disposition", AnsiStr(name));
    if (!MIME::Fuzz::IsParameterReadBack(read, value)) {
        CheckEqual(read, plain, "values of parameters come back");
    }
}

/// The plain form, by the exact rules, with ";" and all.
void CheckQuoting(ByteSource& source) {
    std::string value(source.TakeText());
    value = value.substr(0, value.find('\0'));
    for (size_t at = 0; (at = value.find("\r\n", at)) != std::string::npos;) value.erase(at + 1, 1);
    const AnsiStr quoted = Encoding::Quote(AnsiStr(value));
    Check(std::string_view(quoted).starts_with('"') && std::string_view(quoted).ends_with('"'),
          "quotes surround it");
    Part part;
    ReadFields(part, "X: y; n=" + std::string(quoted) + "\r\n", MIME::Rules::exact);
    CheckEqual(part.headers.GetParameter("X", "n"), value, "quoted-strings come back");
    if (value.empty() || !Encoding::IsAtom(AnsiStr(value))) return;
    Part bare;
    ReadFields(bare, "X: " + value + "; n=" + value + "\r\n", MIME::Rules::exact);
    CheckEqual(bare.headers.GetParameter("X", "n"), value, "atoms need no quotes");
    CheckEqual(bare.headers.Find("X")->value.value, value, "atoms are values");
}

// ------------------------------------------------------------------------------- mailboxes --

/// Any text: the walk ends, and what it finds is found again in what it makes.
void CheckMailboxes(ByteSource& source) {
    const AnsiStr text(source.TakeText());
    HeaderMap headers;
    headers.FindOrInsert("To")->value.value = text;
    const AnsiStr block = headers.Serialize(false, false);
    size_t count = 0;
    bool isClean = true;  // addresses are the host's to answer for
    for (MailboxParser mailboxes(text); mailboxes.ToNext(); ++count) {
        Check(!mailboxes.address.IsEmpty() && !mailboxes.GetMailbox().IsEmpty(),
              "a mailbox has an address");
        const std::string_view address = mailboxes.address;
        isClean = isClean && Encoding::IsAtom(AnsiStr(Reduce(address, true))) &&
                  address.find_first_of("\r\n=?") == std::string_view::npos;
    }
    Check(count <= text.GetLength(), "mailboxes are in the text");
    if (count == 0 || !isClean) return;
    MailboxParser walk(text);
    while (walk.ToNext()) continue;
    if (walk.IsMalformed()) return;
    Part part;
    ReadFields(part, block, MIME::Rules::mail);
    MIME::Fuzz::CheckMailboxesReadBack(part.headers.Find("To")->value.value, text);
}

/// Names and addresses apart.
void CheckBuiltMailboxes(ByteSource& source) {
    AnsiStr value;
    while (!source.IsAtEnd()) {
        const AnsiStr name(source.TakeText());
        if (!value.IsEmpty()) value += ", ";
        value += Encoding::Quote(name) + AnsiStr(" <a@b.example>");
    }
    if (value.IsEmpty()) return;
    HeaderMap headers;
    headers.FindOrInsert("From")->value.value = value;
    Part part;
    ReadFields(part, headers.Serialize(false, false), MIME::Rules::mail);
    MIME::Fuzz::CheckMailboxesReadBack(part.headers.Find("From")->value.value, value);
}

// ------------------------------------------------------------------------------ whole blocks --

/// Whatever values and parameters hold, the block has no more fields than the map.
void CheckBlock(ByteSource& source) {
    constexpr const char* kNames[] = {
        "From", "Subject", "Content-Type", "Content-Disposition", "Mime-Version", "X-1"};
    constexpr const char* kParameters[] = {"name", "filename", "x"};
    HeaderMap headers;
    while (!source.IsAtEnd()) {
        MIME::HeaderValue& field =
            headers.FindOrInsert(kNames[source.TakeNumber() % std::size(kNames)])->value;
        field.value = source.TakeText();
        const char* name = kParameters[source.TakeNumber() % std::size(kParameters)];
        field.parameters.FindOrInsert(name)->value.value = AnsiStr(source.TakeText());
    }
    size_t fields = 0;
    for (const HeaderMap::Node& field : headers) fields += field.value.value.IsEmpty() ? 0 : 1;
    size_t begun = 0;
    const AnsiStr block = headers.Serialize(false, false);
    ForEachLine(block, [&begun](std::string_view line) {
        Check(!line.empty(), "no line is empty");
        if (!IsBlank(line.front())) ++begun;
    });
    Check(begun == fields, "each field is one field");
    Part part;
    ReadFields(part, block, MIME::Rules::mail);
    Check(part.fields.GetCount() == fields, "the reader finds as many");
}

void CheckFileName(ByteSource& source) {
    const AnsiStr filename(source.TakeText());
    const AnsiStr subject(source.TakeText());
    for (const unsigned flags : {0U, 1U, 2U, 3U}) {
        const bool isDerived = MIME::IsFilenameDerivedFromSubject(
            filename, subject, (flags & 1) != 0, (flags & 2) != 0);
        const bool isSame = MIME::IsFilenameDerivedFromSubject(filename, filename, (flags & 1) != 0,
                                                               (flags & 2) != 0);
        // Square brackets around a name are left out, so that "[]]" is compared as "]".
        const bool isBare = *filename.GetStr() != '\0' && *filename.GetStr() != '[';
        Check(isSame || !isBare, "a name is derived from itself");
        static_cast<void>(isDerived);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr void (*kChecks[])(ByteSource&) = {CheckWords,   CheckFolding,   CheckParameter,
                                                CheckQuoting, CheckMailboxes, CheckBuiltMailboxes,
                                                CheckBlock,   CheckFileName};
    ByteSource source(data, size);
    kChecks[source.TakeNumber() % std::size(kChecks)](source);
    return 0;
}
