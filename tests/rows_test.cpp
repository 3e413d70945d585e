// What single functions make of texts: data/rows/NAME.rows has the rows of the function NAME. A row is
// a line that says why it is there, its input in lines after "< " and its result in lines after "> ";
// line breaks between lines are LF. Bytes that do not show are escaped as in C, and \{70 x} is a text
// of 70 "x". "#" begins a comment.
//
// When a result differs the file with the new one is written into the build tree.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "kivgui/charset.h"
#include "kivgui/convert.h"
#include "kivgui/token_iterator.h"
#include "kivgui/utf8.h"
#include "mime/encoding/uuencode.h"
#include "mime/html.h"
#include "mime/mail.h"
#include "mime/mail/address.h"
#include "mime/mail/date.h"
#include "mime/mail/file_error.h"
#include "mime/mail/mbox.h"
#include "mime/mail/text_charset.h"
#include "mime/mime.h"
#include "mime/writing/attachment_type.h"
#include "mime/writing/body_encoder.h"
#include "mime/writing/field_text.h"
#include "mime/writing/write_failure.h"
#include "parser/reading.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

namespace fs = std::filesystem;
using Test::Escape;
using Test::Reading;
using Test::ReadWholeFile;
using Test::ShowFields;
using Test::ToString;
using Test::WriteWholeFile;

using Function = std::function<std::string(const std::string& in)>;

/// Name and value of "NAME=VALUE", or the two halves of a text at another separator.
std::pair<std::string, std::string> Split(const std::string& text, const char* separator = "=") {
    const size_t at = text.find(separator);
    return {text.substr(0, at),
            at == std::string::npos ? "" : text.substr(at + std::strlen(separator))};
}

std::vector<std::string> SplitLines(std::string text) {
    std::vector<std::string> lines;
    for (; !text.empty(); text = Split(text, "\n").second) lines.push_back(Split(text, "\n").first);
    return lines;
}

/// "\nWHAT COUNT@FIRST" for a deviation that was found.
std::string Note(const char* what, unsigned long long count, unsigned long long first) {
    if (count == 0) return "";
    return std::string("\n") + what + " " + std::to_string(count) + "@" + std::to_string(first);
}

std::string Show(const Decoding::BodyResult& got) {
    return ToString(got.body) + Note("malformed", got.malformed, got.firstMalformed) +
           Note("blanks", got.blanks, got.firstBlank) +
           Note("missing padding", got.missingPadding, got.firstMissingPadding) +
           Note("after padding", got.afterPadding, got.firstAfterPadding);
}

std::string DecodeParameter(const std::string& in) {
    ParameterMap map;
    for (const std::string& line : SplitLines(in)) {
        const auto [name, value] = Split(line);
        map.FindOrInsert(AnsiStr(name))->value.value = AnsiStr(value);
    }
    const Decoding::ParameterResult got = Decoding::Parameter(map, "filename");
    return (got.found ? ToString(got.value) : "none") + (got.conflicting ? "\nconflicting" : "") +
           (got.hadEncodedWord ? "\nencoded word" : "");
}

std::string EncodeParameter(const std::string& in) {
    const auto [name, value] = Split(in);
    const std::string sections(Encoding::EncodeParameter(AnsiStr(name), AnsiStr(value), false));
    const std::string words(Encoding::EncodeParameter(AnsiStr(name), AnsiStr(value), true));
    return sections == words ? sections : sections + "\n" + words;
}

std::string DecodeQuotedPrintableLine(const std::string& in) {
    Blob out;
    EXPECT_TRUE(Encoding::QPDecodeLine({in.data(), static_cast<unsigned>(in.size())}, out));
    return {out.GetData(), out.GetSize()};
}

std::string ListMailboxes(const std::string& in) {
    MailboxParser parser((AnsiStr(in)));
    std::string shown;
    while (parser.ToNext()) {
        shown += ToString(parser.GetMailbox()) + " [" + ToString(parser.name) + "] [" +
                 ToString(parser.address) + "]\n";
    }
    return shown + (parser.IsMalformed() ? "malformed" : "end");
}

/// What is in an address list: a line for each address, and what its text, read again, must keep.
std::string ListAddresses(const std::string& in) {
    const AddressList list = AddressList::Parse(in);
    EXPECT_EQ(AddressList::Parse(list.GetStr()), list) << list;
    std::string shown;
    for (const Address& address : list) {
        const std::string group = address.GetGroup().empty() ? "" : " {" + address.GetGroup() + "}";
        shown += "[" + address.GetName() + "] [" + address.GetAddress() + "]" + group + "\n";
    }
    for (const std::string& group : list.GetGroups()) shown += "group " + group + "\n";
    for (const AddressList::Problem& problem : list.GetProblems()) {
        EXPECT_EQ(in.substr(problem.offset, problem.text.size()), problem.text);
        shown += std::to_string(problem.offset) + " " + std::string(problem.why) + "\n";
    }
    return shown.substr(0, shown.size() - std::min<size_t>(shown.size(), 1));
}

/// A date in UTC, and as it was written.
std::string ReadDate(const std::string& in) {
    std::optional<Date> date = Date::Parse(in);
    if (!date) return "none";
    const std::string shown = date->Format();
    EXPECT_EQ(Date::Parse(shown), date);
    date->offset = {};
    return date->Format().substr(5, 20) + " UTC, " + shown;
}

std::string NameFileInError(const std::string& in) {
    return MakeFileError(ErrorCode::cannotOpen, Test::ToPath(in), 0).GetText();
}

/// "SENDER|DATE", or "none" with what would be the sender.
std::string TakeFromLineApart(const std::string& in) {
    FromLine parsed;
    const bool isFromLine = FromLine::Parse(in, parsed);
    return (isFromLine ? "" : "none [") + std::string(parsed.sender) + (isFromLine ? "|" : "]") +
           std::string(parsed.date);
}

/// The messages with a line "OFFSET:FROM LINE:" before each, and how each is without quoting.
std::string ListMbox(const std::string& in) {
    MboxReader reader(in);
    MboxMessage message;
    std::string shown;
    while (reader.Next(message)) {
        const std::string text(message.text), unquoted = UnquoteMbox(text);
        shown += std::to_string(message.text.data() - in.data()) + ":" +
                 std::string(message.fromLine) + ":\n" + text + "|\n" +
                 (text == unquoted ? "" : "unquoted:\n" + unquoted + "|\n");
    }
    return shown + "end";
}

std::string CompareWithSubject(const std::string& in) {
    const auto [file, subject] = Split(in, "\n");
    std::string shown;
    for (const bool extensions : {false, true}) {
        for (const bool ignoreCase : {false, true}) {
            shown += IsFilenameDerivedFromSubject(AnsiStr(file), AnsiStr(subject), extensions,
                                                  ignoreCase)
                         ? " yes"
                         : " no";
        }
    }
    return shown.substr(1);
}

std::string ConvertCharset(const std::string& in) {
    const auto [charset, bytes] = Split(in, "\n");
    const KivGuiBase::CharsetResult got = KivGuiBase::ConvertToUtf8(bytes, charset);
    if (!got.known) return "unknown" + ToString(got.text);
    return ToString(got.text) +
           (got.replaced == 0 ? "" : "\nreplaced " + std::to_string(got.replaced));
}

std::string DecodeLabelledText(const std::string& in) {
    const auto [label, bytes] = Split(in, "\n");
    const DecodedText got = DecodeText(bytes, label);
    EXPECT_TRUE(KivGuiBase::IsUtf8(got.text));
    return got.charset + ": " + got.text +
           (got.replaced == 0 ? "" : "\nreplaced " + std::to_string(got.replaced));
}

/// How a body of a form is sent that is inside the boundaries "b" and "=20".
std::string ShowPlan(const std::string& in) {
    static const std::map<std::string, BodyForm> forms = {
        {"text", BodyForm::text}, {"bytes", BodyForm::bytes}, {"verbatim", BodyForm::verbatim}};
    const auto [form, body] = Split(in, "\n");
    const Result<BodyPlan> plan = Caught<BodyPlan>([&form = form, &body = body] {
        return PlanBody(*MakeViewSource(body), forms.at(form),
                        std::vector<std::string>{"b", "=20"});
    });
    if (!plan) return plan.error().GetText();
    return ToString(TransferEncoding::GetStr(plan->encoding)) +
           (plan->protectsDashes ? " protects dashes" : "") +
           (plan->isAscii  ? ""
            : plan->isUtf8 ? " UTF-8"
                           : " other charset");
}

/// The text in quoted-printable, with LF line ends.
std::string QuoteBody(const std::string& in) {
    std::string quoted;
    EncodeBody(*MakeViewSource(in), {.encoding = TransferEncoding::quoted_printable}, "\n",
               [&](std::string_view piece) { quoted += piece; });
    return quoted;
}

std::string DecodeHeaderBytes(const std::string& in) {
    const auto [fallback, raw] = Split(in, "\n");
    return DecodeRawHeader(raw, {fallback});
}

/// Each block on a line, its decoded bytes on the next; then the text that is left.
std::string ListUuBlocks(const std::string& in) {
    std::string shown;
    std::string rest;
    size_t end = 0;
    for (const UuBlock& block : FindUuencoded(in)) {
        const std::string file = DecodeUuencoded(in, block);
        EXPECT_EQ(file.size(), block.decodedSize);
        shown += "[" + block.name + "] " + std::to_string(block.mode) + " malformed " +
                 std::to_string(block.malformedLines) + (block.isComplete ? "" : " no end") + "\n" +
                 file + "\n";
        rest += in.substr(end, block.begin - end);
        end = block.end;
    }
    return shown + "rest: " + rest + in.substr(end);
}

std::string ListTokens(const std::string& in) {
    std::string shown;
    KivGuiBase::TokenIterator tokens(AnsiStr(in), ";,");
    while (tokens.ToNext()) shown += "[" + std::string(tokens.token) + "]";
    return shown;
}

/// The fields of a whole header block by the exact rules.
std::string ReadExactFields(const std::string& in) {
    const Reading got(in + "\r\nx");
    EXPECT_EQ(got.error, "boundary missing");
    return ShowFields(got.part.headers);
}

/// What is left of a header block that fails.
std::string ReadExactHeaderBlock(const std::string& in) {
    const Reading got(in);
    return got.error + ": " + ShowFields(got.part.headers);
}

/// What the exact rules make of a Content-Type that is kept apart.
std::string ReadExactType(const std::string& in) {
    const Reading got("--q--\r\n", in.c_str());
    const Info& info = got.part.info;
    return got.error + "[" + ToString(info.boundary) + "] " + ToString(info.contentType.GetStr());
}

/// The order in which a multipart/related with these further parameters has its children.
std::string ReadExactStart(const std::string& in) {
    std::string text;
    for (const char* id : {"<1>", "<2>", "<1>", "<R>", "<1>"}) {
        const char number = static_cast<char>('1' + std::count(text.begin(), text.end(), ':'));
        text += std::string("--a\r\nContent-ID: ") + id + "\r\n\r\n" + number + "\r\n";
    }
    return Reading(text + "--a--", ("multipart/related; boundary=a" + in).c_str()).Show();
}

/// The name of the body's file; "N" stands for what makes each name new.
std::string NameExactBody(const std::string& in) {
    const Reading got("--a\r\n" + in + "\r\nx\r\n--a--", "multipart/mixed; boundary=a");
    return std::regex_replace(got.folder.List().at(0), std::regex("-[0-9A-Z]{16,}"), "-N");
}

/// How both writers write these fields.
std::string WriteFields(const std::string& in) {
    Reading read(std::regex_replace(in, std::regex("\n"), "\r\n") + "\r\n\r\nx");
    Part part;
    for (const HeaderMap::Node& field : read.part.headers) {
        if (!in.starts_with(ToString(field.key)) &&
            in.find("\n" + ToString(field.key)) == std::string::npos)
            continue;
        part.headers.FindOrInsert(field.key)->value.value = field.value.value;
        part.headers.Find(field.key)->value.parameters.CopyFrom(field.value.parameters);
    }
    EXPECT_TRUE(part.Write(File(AnsiStr(read.folder.At("out")))));
    const HeaderMap& headers = part.headers;
    return "Write\n" + ReadWholeFile(read.folder.At("out")) + "\nSerialize\n" +
           ToString(headers.Serialize(false, false)) + "\nContent- fields\n" +
           ToString(headers.Serialize(true, false)) + "\nothers\n" +
           ToString(headers.Serialize(false, true));
}

/// Both directions: the extension of a type, or the type of an extension with the numbers of its keys.
std::string LookUpType(const std::string& in) {
    AnsiStr text(in);  // argument and result may be one string
    if (in.find('/') != std::string::npos) {
        const bool found = GetExtFromTypeStr(text, text);
        return found ? ToString(text) : "not known" + ToString(text);
    }
    ContentType type{"left over", Type::invalid, SubType::invalid};
    const bool found = GetTypeFromExt(text, type);
    EXPECT_TRUE(type.str.IsEmpty());
    const bool foundText = GetTypeStrFromExt(text, text);
    return ToString(text) + (foundText ? " " : " not known ") + std::to_string(type.type) + "/" +
           std::to_string(type.subType) + (found ? "" : " not known");
}

/// A number with a sign and one without, each with what follows it.
std::string ReadNumbers(const std::string& in) {
    int64_t number = 4711;
    uint64_t positive = 4711;
    const char* end = "no number";
    const bool isSigned = KivGuiBase::Str2Hyper(in.c_str(), &end, &number, false, 20) == 0;
    const bool isPositive = KivGuiBase::Str2UHyper(in.c_str(), nullptr, &positive, false, 20) == 0;
    EXPECT_TRUE((isSigned || number == 4711) && (isPositive || positive == 4711));
    return (isSigned ? std::to_string(number) : "none") + " " +
           (isPositive ? std::to_string(positive) : "none") + " [" + end + "]";
}

/// Reads the body of a multipart entity by the exact rules, after a beginning that all rows share.
Function ReadExactly(const std::string& begin) {
    return [begin](const std::string& in) {
        const Reading got(begin + in, "multipart/related; boundary=a");
        EXPECT_EQ(got.error.empty(), got.read);
        return got.Show();
    };
}

const std::string kEncoding = "--a\r\nContent-Transfer-Encoding: ";

std::string ReadExactCopy(const std::string& in) {
    std::string shown;
    for (const char* name : {"7BIT", "8bit", "Binary"}) {
        const std::string one = ReadExactly(kEncoding + name + "\r\n\r\n")(in);
        EXPECT_TRUE(shown.empty() || shown == one) << name;
        shown = one;
    }
    return shown;
}

/// A function of a text that gives a text.
template <class Call>
Function Of(Call call) {
    return [call](const std::string& in) { return ToString(call(AnsiStr(in))); };
}

/// A decoder of bodies.
Function OfBody(Decoding::BodyResult (*decode)(const char*, unsigned)) {
    return [decode](const std::string& in) {
        return Show(decode(in.data(), static_cast<unsigned>(in.size())));
    };
}

std::string QuoteText(const std::string& in) {
    const AnsiStr text(in);
    return ToString(Encoding::Quote(text)) + (Encoding::IsAtom(text) ? " atom" : "");
}

std::string JoinFlowed(const std::string& in) {
    return ToString(Decoding::FlowedToParagraphs(AnsiStr(in), false)) + "|" +
           ToString(Decoding::FlowedToParagraphs(AnsiStr(in), true));
}

/// The field, which is one for our reader, or why there is none.
std::string ShowWritten(const std::function<std::string()>& write) {
    const Result<std::string> field = Caught<std::string>(write);
    if (!field) {
        const Error& error = field.error();
        return std::string(GetText(error.GetCode())) + ": " + error.GetText() + "\n";
    }
    EXPECT_EQ(Mail::Parse(*field + "\n")->GetTop().GetFields().size(), 1U);
    return *field;
}

std::string WriteOneField(const std::string& in) {
    const auto parts = Split(in, ": ");
    return ShowWritten([&] { return WriteField(parts.first, parts.second, "\n"); });
}

/// The field of a media type and that of a disposition with the same parameter.
std::string WriteParameter(const std::string& in) {
    const auto [name, value] = Split(in);
    const std::vector<Parameter> all = {{name, value}, {"size", "1"}};
    const auto write = [&](const char* field, const char* text) {
        return ShowWritten([&] { return WriteParameterField(field, text, all, "\n"); });
    };
    return write("Content-Type", "x/y") + write("Content-Disposition", "inline");
}

/// The name under which a file is sent, and its type.
std::string NameSentFile(const std::string& in) {
    return MakeSentName(in) + " " + GetAttachmentType(in);
}

const std::map<std::string, Function>& GetFunctions() {
    static const std::map<std::string, Function> functions = {
        {"addresses", ListAddresses},
        {"body_plans", ShowPlan},
        {"charset", ConvertCharset},
        {"charset_multibyte", ConvertCharset},
        {"dates", ReadDate},
        {"decode_address_words", Of(&Decoding::AddressWords)},
        {"decode_base64", OfBody(&Decoding::Base64)},
        {"decode_flowed", JoinFlowed},
        {"decode_parameter", DecodeParameter},
        {"decode_quoted_printable", OfBody(&Decoding::QuotedPrintable)},
        {"decode_quoted_printable_line", DecodeQuotedPrintableLine},
        {"decode_raw_header", DecodeHeaderBytes},
        {"decode_text", DecodeLabelledText},
        {"decode_text_multibyte", DecodeLabelledText},
        {"decode_words", Of(&Decoding::Words)},
        {"decode_words_multibyte", Of(&Decoding::Words)},
        {"encode_parameter", EncodeParameter},
        {"encode_quoted_printable", Of([](const AnsiStr& in) { return Encoding::QPEncode(in); })},
        {"encode_words", Of([](const AnsiStr& in) { return Encoding::QEncode(in, false); })},
        {"encode_words_always", Of([](const AnsiStr& in) { return Encoding::QEncode(in, true); })},
        {"exact_base64", ReadExactly(kEncoding + "base64\r\n\r\n")},
        {"exact_body_names", NameExactBody},
        {"exact_content_length", ReadExactly("--a\r\nContent-Length: ")},
        {"exact_content_types", ReadExactType},
        {"exact_copied_bodies", ReadExactCopy},
        {"exact_fields", ReadExactFields},
        {"exact_header_blocks", ReadExactHeaderBlock},
        {"exact_quoted_printable", ReadExactly(kEncoding + "Quoted-Printable\r\n\r\n")},
        {"exact_second_parts", ReadExactly("--a\r\n\r\n1\r\n--a\r\n")},
        {"exact_start", ReadExactStart},
        {"exact_trees", ReadExactly("")},
        {"fields", WriteFields},
        {"file_error", NameFileInError},
        {"fold_header", Of([](const AnsiStr& in) { return Encoding::FoldHeader(in); })},
#ifdef MIME_TEST_HTML
        {"html", HtmlToText},
#endif
        {"mailboxes", ListMailboxes},
        {"mbox", ListMbox},
        {"mbox_from_lines", TakeFromLineApart},
        {"numbers", ReadNumbers},
        {"quote", QuoteText},
        {"quoted_bodies", QuoteBody},
        {"safe_file_name", Of([](const AnsiStr& in) { return KivGuiBase::MakeSafeFileName(in); })},
        {"sent_files", NameSentFile},
        {"subject_filename", CompareWithSubject},
        {"tokens", ListTokens},
        {"types", LookUpType},
        {"unquote", Of([](const AnsiStr& in) { return KivGuiBase::ExtendedUnQuote(in); })},
        {"uuencode", ListUuBlocks},
        {"write_field", WriteOneField},
        {"write_parameter", WriteParameter},
    };
    return functions;
}

// -------------------------------------------------------------------------------------- the rows --

std::string Unescape(const std::string& shown) {
    std::string text;
    for (size_t i = 0; i < shown.size(); ++i) {
        if (shown[i] != '\\' || i + 1 == shown.size()) {
            text += shown[i];
            continue;
        }
        const char c = shown[++i];
        if (c == 'x') {
            text += static_cast<char>(std::stoi(shown.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else if (c == '{') {
            const std::string run = shown.substr(i + 1, shown.find('}', i) - i - 1);
            const auto [count, unit] = Split(run, " ");
            for (int left = std::stoi(count); left > 0; --left) text += Unescape(unit);
            i += run.size() + 1;
        } else {
            const size_t named = std::string_view("rnt").find(c);
            text += named == std::string_view::npos ? c : "\r\n\t"[named];
        }
    }
    return text;
}

struct Row {
    std::string why;    ///< with the comments before it
    std::string lines;  ///< the rest as it is in the file
    std::vector<std::string> in, out;
};

std::vector<Row> ParseRows(const std::string& text) {
    std::vector<Row> rows(1);
    for (const std::string& line : SplitLines(text)) {
        const bool isIn = line.starts_with('<');
        if (!isIn && !line.starts_with('>')) {
            if (!rows.back().in.empty()) rows.emplace_back();
            rows.back().why += line + "\n";
        } else {
            rows.back().lines += line + "\n";
            (isIn ? rows.back().in : rows.back().out)
                .push_back(line.size() > 2 ? line.substr(2) : "");
        }
    }
    return rows;
}

std::string JoinLines(const std::vector<std::string>& shown) {
    std::string text;
    for (const std::string& line : shown) {
        text += (&line == &shown[0] ? "" : "\n") + Unescape(line);
    }
    return text;
}

/// The text as lines of a row, which end at each LF that is not part of a CR LF.
std::string ShowLines(const char* mark, std::string_view text) {
    std::string shown = mark;
    size_t end = text.find('\n');
    while (end != std::string_view::npos && end > 0 && text[end - 1] == '\r') {
        end = text.find('\n', end + 1);
    }
    shown += Escape(text.substr(0, end)) + "\n";
    return end == std::string_view::npos ? shown : shown + ShowLines(mark, text.substr(end + 1));
}

class RowsTest : public testing::TestWithParam<std::string> {};

TEST_P(RowsTest, Gives) {
    const std::string name = GetParam() + ".rows";
    const fs::path path = fs::path(MIME_TEST_DATA_DIR) / "rows" / name;
    const Function& function = GetFunctions().at(GetParam());
    std::string renewed;
    for (const Row& row : ParseRows(ReadWholeFile(path.string()))) {
        const std::string in = JoinLines(row.in);
        const std::string got = function(in);
        const bool isRight = got == JoinLines(row.out);
        EXPECT_TRUE(isRight) << row.why << row.lines << "but gives\n" << ShowLines("> ", got);
        renewed += row.why + (isRight ? row.lines : ShowLines("< ", in) + ShowLines("> ", got));
    }
    if (!HasFailure()) return;
    const fs::path output = fs::path(MIME_TEST_OUTPUT_DIR) / name;
    WriteWholeFile(output.string(), renewed);
    ADD_FAILURE() << path << " differs from " << output;
}

std::vector<std::string> GetNames() {
    std::vector<std::string> names;
    for (const auto& [name, function] : GetFunctions()) names.push_back(name);
    return names;
}

INSTANTIATE_TEST_SUITE_P(Data, RowsTest, testing::ValuesIn(GetNames()),
                         [](const auto& test) { return test.param; });

}  // namespace
}  // namespace MIME
