// Messages are made the way they are read: header block, delimiters, children. At each step a fault
// is put in with a probability that is chosen once for a message, so that a part of the messages has
// none, and the exact rules read them to the end.

#include "generate.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace Behaviour {

namespace {

using std::string;
using std::string_view;
using namespace std::string_view_literals;

// Tables of tokens, filled line by line.
// clang-format off
constexpr string_view kWords[] = {
    "a", "word", "two words", "x=y", "3.14", "caf\xC3\xA9", "\xE4\xF6", "\xF0\x9F\x98\x80", "\t",
    "  ", "long-word-long-word-long-word-long-word-long-word-long-word-long-word-long-word", "-",
    "--", ".", "From ", "\xEF\xBB\xBF", "\xC3", "\xED\xA0\x80", "\xE0\x80\x80", "end"};

constexpr string_view kHeaderTokens[] = {
    "=?utf-8?Q?Gr=C3=BC=C3=9Fe?=", "=?utf-8?B?w7zDnw==?=", "=?iso-8859-1?q?caf=E9_x?=",
    "=?utf-8?Q?cut=C3?=", "=?utf-8?Q?=9F?=", "=?x-none?Q?kept?=", "=?utf-8?X?no?=",
    "=?utf-8*de?Q?lang?=", "=?windows-1252?B?gJP=?=", "=?utf-8?B?!!?=", "=?utf-8?Q?a=0D=0Ab?=",
    "=?", "?=", "=?utf-8?Q?", "\"quoted\"", "\"open", "\"a \\\" b\"", "(comment (nested))",
    "(open", "; name=\"q\" (a ; b)", "; name=\"q\" junk(c; d); y=2", "; z=bare (c) text",
    "; (c) w = 1", ";", "; name=value", "; filename=\"a b.txt\"", "; filename*=utf-8''%e4%f6.txt",
    "; filename*0*=iso-8859-1''%E4; filename*1=rest.bin", "; filename*1=no-start",
    "; charset=utf-8", "; name=\"=?utf-8?Q?n=C3=A4me.txt?=\"", "; x=\"open", "; =empty",
    "; a=1; a=2", ",", ":", "<", ">", "<user@example.org>", "user@example.org", "\r\n ", "\r\n\t",
    "\n ", "\r", " ", "  ", "\\"};

constexpr string_view kAddressTokens[] = {
    "user@example.org", "<user@example.org>", "Name <a@b>", "\"Doe, John\" <john@example.org>",
    "=?utf-8?Q?Doe=2C_J=C3=B6rg?= <j@example.org>", "\"=?utf-8?B?w7w=?=\" <b@c>", "(comment)",
    "Group: a@b, c@d;", ",", ", ", ";", ":", "<", ">", "\"", "\"open", "\\", "@", " ", "\t",
    "\r\n ", "<>", "<a@[127.0.0.1]>", "<\"a > b\"@c>", "\"x y\"@d", "<\"open@e>",
    "caf\xC3\xA9 <e@f>", "\xE4", "a.b", "undisclosed-recipients:;"};

constexpr string_view kBodyTokens[] = {
    "\r\n", "\n", "\r", "\r\n\r\n", "=", "=\r\n", "=\n", "= \r\n", "=3D", "=3d", "=0D=0A",
    "=C3=BC", "=g1", "=A", " \r\n", "\t\r\n", "AAAA", "AA==", "AAA=", "A", "QUJD\r\n", "Zm9v YmFy",
    "=== ", ">quoted\r\n", ">> deeper \r\n", " stuffed\r\n", "flowed \r\n", "-- \r\n", "--a\r\n",
    "--a--", "\r\n--b\r\n", "From here\r\n", "begin 644 x.bin\r\nM\r\n`\r\nend\r\n"};

constexpr string_view kNameTokens[] = {
    "report", "Re: ", "Fwd: ", "[list] ", "caf\xC3\xA9", "\xE4", ".", "..", "/", "\\", ":", "?",
    "*", "|", "<", ">", "\"", "_", "-", " ", "CON", "nul", "com1.txt", ".txt", ".tar.gz", ".eml",
    "[", "]",
    "a-rather-long-name-a-rather-long-name-a-rather-long-name-a-rather-long-name-a-rather-long-" "name-",
    ".an-extension-of-more-than-sixty-four-bytes-an-extension-of-more-than-sixty-four-bytes",
    "\x01", "~", "2024", "\xF0\x9F\x98\x80", "\xC3", "(1)", "Invoice 42", "AUX."};

constexpr string_view kEncodings[] = {
    "7bit", "8bit", "binary", "base64", "quoted-printable"};

constexpr string_view kOddEncodings[] = {
    "x-uuencode", "BASE64", " base64 (comment)", "\"7bit\"", "quoted-printable;", "none", "7 bit",
    "", "uuencode"};

constexpr string_view kLeafTypes[] = {
    "text/plain", "text/plain; charset=utf-8", "text/html; charset=\"iso-8859-1\"", "image/png",
    "application/octet-stream", "application/x-gzip", "TEXT/Plain; Format=Flowed; DelSp=yes",
    "application/pdf; name=\"a b.pdf\"", "text/plain; name*0=a; name*1=b.txt", "x/unknown", "text",
    "text/", "/plain", "text/plain; charset", "message/delivery-status", "message/partial",
    "text/plain (comment)", "text/plain (a; b) ; charset=utf-8 (c) ; name=\"d\" (e;f) ; g=h",
    "text / plain", "text/plain; name=\"a\\\"b\"; charset=\"us-ascii\" x", "\"text/plain\"",
    "text/plain; name==?utf-8?Q?a?="};

constexpr string_view kMultipartTypes[] = {
    "multipart/mixed", "multipart/alternative", "multipart/digest", "multipart/related",
    "Multipart/Mixed", "multipart/signed; protocol=\"application/pkcs7-signature\"",
    "multipart/x-odd"};

constexpr string_view kFieldNames[] = {
    "Subject", "From", "To", "Cc", "Date", "Message-ID", "Received", "X-Mailer", "Mime-Version",
    "Reply-To", "Bcc", "Content-Description", "content-id", "SUBJECT", "Content-Language", "X"};

// clang-format on

template <class List>
string Mix(Random& random, const List& tokens, unsigned maxTokens) {
    string text;
    for (unsigned left = random.Below(maxTokens + 1); left > 0; --left) {
        switch (random.Below(8)) {
            case 0:
                text += random.Pick(kWords);
                break;
            case 1:
                text +=
                    static_cast<char>(random.OneIn(8) ? random.Below(256) : 32 + random.Below(95));
                break;
            case 2:
                text += " ";
                [[fallthrough]];
            default:
                text += random.Pick(tokens);
        }
    }
    return text;
}

void ReplaceAll(string& text, string_view from, string_view to) {
    for (size_t at = 0; (at = text.find(from, at)) != string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
}

string EncodeQuotedPrintable(string_view bytes, string_view lineEnd) {
    string out;
    unsigned column = 0;
    for (const char c : bytes) {
        if (c == '\n') {
            out += lineEnd;
            column = 0;
            continue;
        }
        if (c == '\r') continue;
        if (column > 70) {
            out += "=" + string(lineEnd);
            column = 0;
        }
        const auto byte = static_cast<unsigned char>(c);
        if (byte == '=' || byte < 32 || byte > 126) {
            out += {'=', "0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
            column += 3;
        } else {
            out += c;
            ++column;
        }
    }
    return out;
}

class MessageMaker {
public:
    explicit MessageMaker(Random& random) : random_(random) {
        constexpr unsigned kRates[] = {0, 0, 4, 15, 60, 200};  // of 1,000
        faultRate_ = kRates[random.Below(std::size(kRates))];
        isMail_ = random.OneIn(2);
        if (isMail_ && random.OneIn(3)) lineEnd_ = "\n";
    }

    Input Make() {
        Input input;
        string top = MakeMultipart(0);
        input.isApart = random_.OneIn(16);
        if (input.isApart) {
            input.contentType = type_;
            input.text = top;
            return input;
        }
        input.text = MakeTopFields() + fields_ + End() + top;
        if (isMail_ && random_.OneIn(4)) input.text = MakeTopFields() + MakeLeaf();
        if (random_.OneIn(20)) input.text = "\xEF\xBB\xBF" + input.text;
        if (random_.OneIn(20)) input.text = "\r\n\r\n" + input.text;
        if (random_.OneIn(isMail_ ? 10 : 100)) {
            input.text = "From sender Thu Jan  1 00:00:00 1970" + End() + input.text;
        }
        return input;
    }

private:
    bool Fault() { return random_.Below(1000) < faultRate_; }
    bool IsOdd(unsigned count) { return isMail_ ? random_.OneIn(count) : Fault(); }

    string End() {
        if (!Fault()) return lineEnd_;
        constexpr string_view kEnds[] = {"\r\n", "\n", "\r", " \r\n", "\r\r\n", "\n\n", "\0\r\n"sv};
        return random_.Pick(kEnds);
    }

    string MakeField(const string& name, const string& value) {
        if (Fault()) return name + " : " + value + End();
        if (Fault()) return value + End();
        if (Fault()) return name + ":" + value + string("\0", 1) + End();
        string field = name + ": " + value + End();
        if (IsOdd(6)) {
            const size_t blank = field.find(' ', name.size() + 2);
            if (blank != string::npos) field.insert(blank, End());
        }
        if (Fault()) field += field;
        if (Fault()) field += MakeField(name, MakeHeaderText(random_));
        return field;
    }

    string MakePlainFields() {
        string fields;
        for (unsigned left = random_.Below(4); left > 0; --left) {
            const string name = random_.Pick(kFieldNames);
            string value = random_.OneIn(3) ? MakeAddressText(random_) : MakeHeaderText(random_);
            if (!isMail_ && !Fault()) {
                for (const string_view breaking : {"\r"sv, "\n"sv, "\0"sv}) {
                    ReplaceAll(value, breaking, " ");
                }
            }
            fields += MakeField(name, value);
        }
        return fields;
    }

    string MakeTopFields() {
        string fields = MakePlainFields();
        if (!random_.OneIn(4)) fields += MakeField("MIME-Version", "1.0");
        return fields;
    }

    string MakeBoundary() {
        const string outer = boundaries_.empty() ? "a" : boundaries_.back();
        if (Fault()) return outer;
        if (Fault()) return outer + "b";
        if (Fault() && outer.size() > 1) return outer.substr(0, outer.size() - 1);
        if (Fault()) return random_.OneIn(2) ? "" : "a b ";
        constexpr string_view kStems[] = {"=_b", "----next", "b'()+_,-./:=?", "B",
                                          "a-boundary-that-is-rather-long-a-boundary-that-is-rat"};
        return random_.Pick(kStems) + std::to_string(++boundaryCount_) + "x";
    }

    string QuoteBoundary(const string& boundary) {
        const bool isToken = boundary.find_first_of(" ()=?:,/'") == string::npos;
        return isToken && random_.OneIn(2) ? boundary : "\"" + boundary + "\"";
    }

    /// A multipart entity's body; leaves its Content- fields in `fields_` and its type in `type_`.
    string MakeMultipart(unsigned depth) {
        const string boundary = MakeBoundary();
        string type = random_.Pick(kMultipartTypes);
        string startId;
        if (!Fault()) type += "; boundary=" + QuoteBoundary(boundary);
        if (random_.OneIn(6)) {
            startId = "<id" + std::to_string(random_.Below(3)) + ">";
            type += "; start=\"" + startId + "\"";
        }
        string fields = MakeField("Content-Type", type);
        if (IsOdd(12)) {
            fields += MakeField("Content-Transfer-Encoding", random_.Pick(kEncodings));
        }
        boundaries_.push_back(boundary);
        string body = MakeMultipartBody(depth, boundary);
        boundaries_.pop_back();
        fields_ = fields;
        type_ = type;
        return body;
    }

    string MakeMultipartBody(unsigned depth, const string& boundary) {
        const string delimiter = "--" + boundary;
        string body;
        if (random_.OneIn(3)) body += "This is a preamble." + End();
        if (IsOdd(20)) body += MakeBodyText(random_) + End();
        unsigned count = random_.Below(4) + (Fault() ? 0 : 1);
        if (random_.OneIn(200)) count += 40;
        for (; count > 0; --count) {
            if (Fault()) continue;
            body += delimiter + (random_.OneIn(10) ? " \t" : "") + (Fault() ? "tail" : "") + End();
            if (Fault()) body += delimiter + End();
            if (Fault()) body += "text " + delimiter + End();
            body += MakeEntity(depth + 1) + End();
            if (Fault()) body += "--" + boundaries_.front() + End();
        }
        if (!Fault()) body += delimiter + "--" + (random_.OneIn(10) ? " " : "") + End();
        if (random_.OneIn(4)) body += "This is an epilogue." + End();
        return body;
    }

    string MakeEntity(unsigned depth) {
        const unsigned kind = random_.Below(10);
        if (kind < 2 && depth < 6) {
            const string body = MakeMultipart(depth);
            return MakePlainFields() + fields_ + End() + body;
        }
        if (kind == 2 && depth < 6) return MakeMessage(depth);
        return MakeLeaf();
    }

    string MakeMessage(unsigned depth) {
        string fields =
            MakeField("Content-Type", random_.OneIn(4) ? "message/global" : "message/rfc822");
        if (IsOdd(6)) {
            fields += MakeField("Content-Transfer-Encoding", random_.Pick(kEncodings));
        }
        return fields + End() + MakeTopFields() + MakeEntity(depth + 1);
    }

    /// Fields and body of an entity without children.
    string MakeLeaf() {
        string fields;
        if (random_.OneIn(8))
            fields += "Content-ID: <id" + std::to_string(random_.Below(3)) + ">" + End();
        if (!random_.OneIn(4)) fields += MakeField("Content-Type", random_.Pick(kLeafTypes));
        fields += MakePlainFields();
        if (random_.OneIn(4)) fields += MakeField("Content-Disposition", MakeDisposition());
        string encoding = random_.OneIn(5) ? "" : random_.Pick(kEncodings);
        if (Fault()) encoding = random_.Pick(kOddEncodings);
        if (!encoding.empty()) fields += MakeField("Content-Transfer-Encoding", encoding);
        string body = MakeLeafBody(encoding);
        if (random_.OneIn(encoding == "base64" || encoding == "quoted-printable" ? 20 : 4)) {
            const auto wrong = static_cast<int>(random_.Below(5)) - 2;
            const size_t length = body.size() + static_cast<size_t>(Fault() ? wrong : 0);
            fields +=
                MakeField("Content-Length", std::to_string(length) + (Fault() ? " bytes" : ""));
        }
        return fields + (Fault() ? "" : End()) + body;
    }

    string MakeDisposition() {
        string value = random_.OneIn(2) ? "attachment" : "inline";
        switch (random_.Below(5)) {
            case 0:
                return value;
            case 1:
                return value + "; filename=\"" + MakeFileName(random_) + "\"";
            case 2:
                return value + "; filename*=utf-8''%C3%A4%20.txt; filename=\"plain.txt\"";
            case 3:
                return value + "; filename=simple.pdf; size=12";
            default:
                return value + MakeHeaderText(random_);
        }
    }

    string MakeLeafBody(const string& encoding) {
        string content = MakeContent();
        if (encoding == "base64") {
            string body = EncodeBase64(content, 4 * (1 + random_.Below(25)), lineEnd_);
            if (Fault()) body = EncodeBase64(content, 1 + random_.Below(90), lineEnd_);
            return Break(body);
        }
        if (encoding == "quoted-printable") return Break(EncodeQuotedPrintable(content, lineEnd_));
        if (encoding != "binary") {
            ReplaceAll(content, "\r", "");
            ReplaceAll(content, "\n", lineEnd_);
            if (!Fault()) ReplaceAll(content, "\0"sv, "0");
        }
        return content;
    }

    string MakeContent() {
        if (random_.OneIn(3)) return MakeBytes(random_, 200);
        if (random_.OneIn(4)) return MakeLongLines(random_);
        if (random_.OneIn(300)) return MakeBytes(random_, 30000);
        string text;
        for (unsigned left = random_.Below(6); left > 0; --left) {
            text += Mix(random_, kWords, 8) + "\r\n";
        }
        if (random_.OneIn(200)) {
            for (int i = 0; i < 300; ++i)
                text += "A line of a longer text, number " + std::to_string(i) + "\r\n";
        }
        return Fault() ? MakeBodyText(random_) : text;
    }

    string Break(string body) {
        if (!Fault() || body.empty()) return body;
        constexpr string_view kBreaks[] = {"=",    "==",    " ",  "\t", "!",
                                           "\0"sv, "=\r\n", "\n", "-",  "="};
        body.insert(random_.Below(body.size()), random_.Pick(kBreaks));
        if (Fault()) body.resize(random_.Below(body.size()));
        return body;
    }

    Random& random_;
    unsigned faultRate_ = 0;
    bool isMail_ = false;
    string lineEnd_ = "\r\n";
    std::vector<string> boundaries_;  ///< of the enclosing entities
    unsigned boundaryCount_ = 0;
    string fields_;
    string type_;
};

/// A part of the text that is likely to mean something: up to three whole lines.
string TakeLines(Random& random, const string& text) {
    if (text.empty()) return text;
    const size_t start = text.find('\n', random.Below(text.size()));
    if (start == string::npos) return "\r\n";
    size_t end = start + 1;
    for (unsigned left = 1 + random.Below(3); left > 0 && end < text.size(); --left) {
        end = std::min(text.find('\n', end), text.size() - 1) + 1;
    }
    return text.substr(start + 1, end - start - 1);
}

void Mutate(Random& random, string& text) {
    const auto place = [&] { return random.Below(text.size() + 1); };
    switch (random.Below(9)) {
        case 0:
            text.resize(place());
            break;
        case 1:
            text.erase(place(), 1 + random.Below(3));
            break;
        case 2:
            text.insert(place(), random.Pick(kHeaderTokens));
            break;
        case 3:
            text.insert(place(), random.Pick(kBodyTokens));
            break;
        case 4:
            text.insert(place(), TakeLines(random, text));
            break;
        case 5: {
            const string lines = TakeLines(random, text);
            const size_t at = text.find(lines);
            text.erase(at != string::npos ? at : 0, lines.size());
            break;
        }
        case 6:
            text.insert(place(), 1, static_cast<char>(random.Below(256)));
            break;
        case 7:
            if (!text.empty())
                text[random.Below(text.size())] ^= static_cast<char>(1 << random.Below(8));
            break;
        default:
            text.insert(place(), random.OneIn(4) ? "\0"sv : random.OneIn(2) ? "\r\n"sv : "\n"sv);
    }
}

}  // namespace

string MakeHeaderText(Random& random) {
    return Mix(random, kHeaderTokens, 6);
}
string MakeAddressText(Random& random) {
    return Mix(random, kAddressTokens, 6);
}
string MakeBodyText(Random& random) {
    return Mix(random, kBodyTokens, 24);
}
string MakeFileName(Random& random) {
    return Mix(random, kNameTokens, 6);
}

string MakeBytes(Random& random, unsigned maxSize) {
    string bytes(random.Below(maxSize + 1), '\0');
    const bool isWild = random.OneIn(2);
    for (char& c : bytes) c = static_cast<char>(isWild ? random.Below(256) : 32 + random.Below(95));
    return bytes;
}

string MakeLongLines(Random& random) {
    constexpr string_view kEnds[] = {"\r\n", "\r\n", "\r\n", "\n", "\r", ""};
    constexpr string_view kOdd[] = {"=", " ", "\t", ".", "\xC3", "\x01"};
    string text;
    for (unsigned left = 1 + random.Below(5); left > 0; --left) {
        const unsigned length = random.OneIn(4) ? random.Below(160) : 68 + random.Below(12);
        for (unsigned i = 0; i < length; ++i) {
            const bool isOdd = random.OneIn(i + 6 < length ? 40 : 3);
            text += isOdd ? random.Pick(kOdd) : "x";
        }
        text += random.Pick(kEnds);
    }
    return text;
}

string MakeContentType(Random& random) {
    return random.Pick(kLeafTypes) + (random.OneIn(2) ? MakeHeaderText(random) : "");
}

string EncodeBase64(string_view bytes, unsigned lineLength, string_view lineEnd) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    string digits;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const auto byte = [&](size_t at) {
            return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0u;
        };
        const unsigned group = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
        for (int shift = 18; shift >= 0; shift -= 6) digits += kDigits[group >> shift & 63];
        if (i + 1 >= bytes.size()) digits[digits.size() - 2] = '=';
        if (i + 2 >= bytes.size()) digits.back() = '=';
    }
    string out;
    for (size_t i = 0; i < digits.size(); i += lineLength) {
        out += digits.substr(i, lineLength);
        out += lineEnd;
    }
    return out;
}

Input MakeInput(Random& random, const std::vector<string>& samples) {
    Input input;
    if (random.OneIn(4) && !samples.empty()) {
        input.text = random.Pick(samples);
        if (random.OneIn(3)) {
            ReplaceAll(input.text, "\r\n", "\n");
            ReplaceAll(input.text, "\n", "\r\n");
        }
        for (unsigned left = 1 + random.Below(6); left > 0; --left) Mutate(random, input.text);
        return input;
    }
    input = MessageMaker(random).Make();
    if (random.OneIn(5)) {
        for (unsigned left = 1 + random.Below(3); left > 0; --left) Mutate(random, input.text);
    }
    return input;
}

}  // namespace Behaviour
