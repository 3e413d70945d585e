// Puts texts through the encoders, the decoders and the conversions of the base layer.

#include <algorithm>
#include <cctype>

#include "cases.h"
#include "generate.h"
#include "kivgui/charset.h"
#include "kivgui/convert.h"
#include "kivgui/error.h"
#include "kivgui/file.h"
#include "mime/decoding.h"
#include "mime/mime.h"

namespace Behaviour {

namespace {

using MIME::AnsiStr;
using std::string;
using std::string_view;

void AddMailboxes(Dump& dump, const AnsiStr& text) {
    MIME::MailboxParser mailboxes(text);
    while (mailboxes.ToNext()) {
        dump.Add("address", mailboxes.address).Add("name", mailboxes.name);
        dump.Add("mailbox", mailboxes.GetMailbox());
    }
    dump.Add("malformed", mailboxes.IsMalformed());
}

void AddEncodings(Dump& dump, const string& text, const string& other) {
    using MIME::Encoding;
    const AnsiStr whole = ToAnsi(text);
    const auto size = static_cast<unsigned>(text.size());
    dump.Add("QPEncode", Encoding::QPEncode(whole))
        .Add("QPEncode", Encoding::QPEncode(text.data(), size));
    MIME::Blob line;
    dump.Add("QPDecodeLine", Encoding::QPDecodeLine({text.data(), size}, line));
    dump.Add("line", string_view(line.IsEmpty() ? "" : line.GetData(), line.GetSize()));
    dump.Add("FoldHeader", Encoding::FoldHeader(whole)).Add("IsAtom", Encoding::IsAtom(whole));
    dump.Add("Quote", Encoding::Quote(whole));
    for (const bool flag : {false, true}) {
        dump.Add("QEncode", Encoding::QEncode(whole, flag));
        dump.Add("EncodeParameter", Encoding::EncodeParameter(ToAnsi(other), whole, flag));
        dump.Add("EncodeParameter", Encoding::EncodeParameter("filename", whole, flag));
        for (const bool extensions : {false, true}) {
            dump.Add("derived",
                     MIME::IsFilenameDerivedFromSubject(whole, ToAnsi(other), extensions, flag));
            dump.Add("derived", MIME::IsFilenameDerivedFromSubject(
                                    KivGuiBase::MakeSafeFileName(whole), whole, extensions, flag));
        }
    }
    AddMailboxes(dump, whole);
    AddMailboxes(dump, ToAnsi(other));
}

void AddBody(Dump& dump, const MIME::Decoding::BodyResult& result) {
    dump.Add("body", result.body).Add("complete", result.complete);
    const auto addPlace = [&](const char* name, unsigned long long count,
                              unsigned long long first) {
        dump.Add(name, count);
        if (count != 0) dump.Add("first", first);
    };
    addPlace("malformed", result.malformed, result.firstMalformed);
    addPlace("blanks", result.blanks, result.firstBlank);
    addPlace("missing padding", result.missingPadding, result.firstMissingPadding);
    addPlace("after padding", result.afterPadding, result.firstAfterPadding);
}

void AddParameter(Dump& dump, const string& text, const string& other, Random& random) {
    constexpr string_view kForms[] = {"filename",   "filename*",   "filename*0", "filename*0*",
                                      "filename*1", "filename*1*", "filename*2", "FILENAME*01"};
    constexpr string_view kPrefixes[] = {"", "", "utf-8''", "iso-8859-1'de'", "x-none''", "'"};
    MIME::ParameterMap parameters;
    for (unsigned left = 1 + random.Below(4); left > 0; --left) {
        auto* parameter = parameters.FindOrInsert(ToAnsi(random.Pick(kForms)));
        string value = random.Pick(kPrefixes) + (random.OneIn(2) ? text : other);
        if (random.OneIn(2)) value += "%C3%BC%e4%4";
        parameter->value.value = ToAnsi(value);
        parameter->value.raw = random.OneIn(6);
    }
    if (random.OneIn(4)) {
        for (unsigned i = random.Below(2), end = random.Below(14); i < end; ++i) {
            const string name = "filename*" + std::to_string(i) + (random.OneIn(2) ? "*" : "");
            parameters.FindOrInsert(ToAnsi(name))->value.value =
                ToAnsi("part%20" + std::to_string(i));
        }
    }
    const auto result = MIME::Decoding::Parameter(parameters, "FileName");
    dump.Add("value", result.value).Add("found", result.found);
    dump.Add("conflicting", result.conflicting).Add("word", result.hadEncodedWord);
    for (const bool words : {false, true}) dump.Add("parameters", parameters.Serialize(words));
}

void AddDecodings(Dump& dump, const string& text) {
    using MIME::Decoding;
    const AnsiStr whole = ToAnsi(text);
    const auto size = static_cast<unsigned>(text.size());
    dump.Add("Words", Decoding::Words(whole)).Add("AddressWords", Decoding::AddressWords(whole));
    AddBody(dump, Decoding::QuotedPrintable(text.data(), size));
    AddBody(dump, Decoding::Base64(text.data(), size));
    for (const bool flag : {false, true})
        dump.Add("flowed", Decoding::FlowedToParagraphs(whole, flag));
}

constexpr string_view kCharsets[] = {"",
                                     "us-ascii",
                                     "utf-8",
                                     "UTF8",
                                     "utf-7",
                                     "utf-16",
                                     "utf-16le",
                                     "utf-16be",
                                     "utf-32",
                                     "utf-32le",
                                     "iso-8859-1",
                                     "latin1",
                                     "ISO_8859-15",
                                     "windows-1252",
                                     "cp1252",
                                     "windows-1251",
                                     "koi8-r",
                                     "gb2312",
                                     "gbk",
                                     "gb18030",
                                     "big5",
                                     "euc-kr",
                                     "ks_c_5601-1987",
                                     "shift_jis",
                                     "x-sjis",
                                     "iso-2022-jp",
                                     "euc-jp",
                                     "iso-8859-8-i",
                                     "macintosh",
                                     "unknown",
                                     "x-unknown",
                                     "a b",
                                     "utf-8\n",
                                     "ansi_x3.4-1968",
                                     "cp65001"};

void AddCharset(Dump& dump, const string& bytes, const string& charset) {
    const KivGuiBase::CharsetResult base = KivGuiBase::ConvertToUtf8(bytes, charset);
    dump.Add(charset, base.text).Add("known", base.known).Add("replaced", base.replaced);
    const auto result =
        MIME::Decoding::ToUtf8(bytes.data(), static_cast<unsigned>(bytes.size()), ToAnsi(charset));
    dump.Add("text", result.text).Add("known", result.known).Add("replaced", result.replaced);
}

void AddConversions(Dump& dump, const string& text, Random& random) {
    const AnsiStr whole = ToAnsi(text);
    const auto size = static_cast<unsigned>(text.size());
    const unsigned lineLength = random.Below(12) * random.Below(8);
    const char* separator = random.OneIn(2) ? "\r\n" : random.OneIn(2) ? "-" : "";
    const AnsiStr encoded = KivGuiBase::Binary2B64Str(text.data(), size, lineLength, separator);
    dump.Add("base64", encoded);
    dump.Add("base16", KivGuiBase::Binary2B16Str(text.data(), size, lineLength, separator));
    string cut(string_view(encoded).substr(0, random.Below(encoded.GetLength() + 1)));
    for (const AnsiStr& digits : {encoded, whole, ToAnsi(cut), ToAnsi(cut + "=")}) {
        string buffer(text.size() + 4, '\0');
        unsigned count = static_cast<unsigned>(buffer.size()) - random.Below(4);
        const bool decoded = KivGuiBase::B64Str2Binary(digits, buffer.data(), count, separator);
        dump.Add("decoded", decoded);
        if (decoded) dump.Add("bytes", buffer.substr(0, count));
    }
    constexpr string_view kNumbers[] = {"0",
                                        "-1",
                                        "+7",
                                        "18446744073709551615",
                                        "18446744073709551616",
                                        "9223372036854775808",
                                        "-9223372036854775808",
                                        "",
                                        "-",
                                        " 4"};
    const string number = random.OneIn(2) ? random.Pick(kNumbers) + text
                                          : std::to_string(random.Next() >> random.Below(64)) + "x";
    const char* end = nullptr;
    int64_t value = 0;
    uint64_t plain = 0;
    const unsigned limit = random.Below(24);
    dump.Add("hyper", static_cast<unsigned>(
                          KivGuiBase::Str2Hyper(number.c_str(), &end, &value, true, limit)));
    dump.Add("value", static_cast<unsigned long long>(value));
    if (end != nullptr) dump.Add("end", static_cast<unsigned long long>(end - number.c_str()));
    dump.Add("uhyper", static_cast<unsigned>(
                           KivGuiBase::Str2UHyper(number.c_str(), &end, &plain, false, limit)));
    dump.Add("value", plain);
    char digits[16];
    dump.Add("UInt2Str",
             KivGuiBase::UInt2Str(digits,
                                  static_cast<unsigned>(random.Next() >> (32 + random.Below(32)))));
    dump.Add("FmtArgs", KivGuiBase::FmtArgs("%s|%5u", whole.GetStr(), size));
    dump.Add("CleanStr", KivGuiBase::CleanStr(whole))
        .Add("unquoted", KivGuiBase::ExtendedUnQuote(whole));
    dump.Add("unquoted", KivGuiBase::ExtendedUnQuote(ToAnsi("\"" + text + "\"")));
    for (const unsigned maxLength : {255u, 1u, 8u, random.Below(100)}) {
        dump.Add("safe name", KivGuiBase::MakeSafeFileName(whole, maxLength));
    }
}

void AddExtension(Dump& dump, const string& extension) {
    const AnsiStr text = ToAnsi(extension);
    MIME::ContentType type;
    MIME::Type::keys key{};
    MIME::SubType::keys subKey{};
    AnsiStr typeText;
    const bool known = MIME::GetTypeFromExt(text, type);
    const bool isSame = MIME::GetTypesFromExt(text, key, subKey) == known && key == type.type &&
                        subKey == type.subType;
    const bool textKnown = MIME::GetTypeStrFromExt(text, typeText);
    if (!known && !textKnown && isSame) return;
    dump.Add(extension, typeText)
        .Add("known", known)
        .Add("text known", textKnown)
        .Add("same", isSame);
    dump.Add("type", type.type).Add("subtype", type.subType).Add("text", type.str);
}

void AddExtensions(Dump& dump, string& extension) {
    AddExtension(dump, extension);
    if (extension.size() == 4) return;
    for (const char c : string_view("abcdefghijklmnopqrstuvwxyz0123456789+-_")) {
        extension += c;
        AddExtensions(dump, extension);
        extension.pop_back();
    }
}

}  // namespace

void RunText(unsigned number) {
    const string suffix = "/" + std::to_string(number);
    Random random(~uint64_t{number});
    const auto draw = [&] {
        if (random.OneIn(30)) {  // around the longest line (RFC 5322, 2.1.1)
            return MakeHeaderText(random) + string(985 + random.Below(30), 'w') + " " +
                   MakeBytes(random, 90);
        }
        switch (random.Below(7)) {
            case 0:
                return MakeHeaderText(random);
            case 1:
                return MakeAddressText(random);
            case 2:
                return MakeBodyText(random);
            case 3:
                return MakeFileName(random);
            case 4:
                return MakeLongLines(random);
            case 5:
                return EncodeBase64(MakeBytes(random, 100), 1 + random.Below(80), "\r\n");
            default:
                return MakeBytes(random, random.OneIn(20) ? 5000 : 150);
        }
    };
    const string text = draw();
    const string other = draw();
    RunCase("encode" + suffix, [&](Dump& dump) { AddEncodings(dump, text, other); });
    RunCase("decode" + suffix, [&](Dump& dump) {
        AddDecodings(dump, text);
        Random own(number);
        AddParameter(dump, text, other, own);
    });
    RunCase("convert" + suffix, [&](Dump& dump) {
        Random own(number);
        AddConversions(dump, text, own);
        AddCharset(dump, text, own.Pick(kCharsets));
    });
}

void RunVocabulary(const std::vector<string>& words) {
    constexpr unsigned kKeys = 3000;  // more than there are
    RunCase("vocabulary/keys", [&](Dump& dump) {
        for (unsigned key = 0; key < kKeys; ++key) {
            dump.Add("type", MIME::Type::GetStr(static_cast<MIME::Type::keys>(key)));
            dump.Add("subtype", MIME::SubType::GetStr(static_cast<MIME::SubType::keys>(key)));
            dump.Add("header", MIME::Header::GetStr(static_cast<MIME::Header::keys>(key)));
            dump.Add("encoding", MIME::TransferEncoding::GetStr(
                                     static_cast<MIME::TransferEncoding::keys>(key)));
            const auto kind = static_cast<MIME::Deviation::keys>(key);
            dump.Add("deviation", MIME::Deviation::GetName(kind))
                .Add("text", MIME::Deviation::GetStr(kind));
            dump.Add("severity", static_cast<unsigned>(MIME::Deviation::GetSeverity(kind)));
        }
    });
    RunCase("vocabulary/types", [&](Dump& dump) {
        for (unsigned type = 0; type < 20; ++type) {
            for (unsigned subType = 0; subType < kKeys; ++subType) {
                const AnsiStr text = MIME::CanonicType(static_cast<MIME::Type::keys>(type),
                                                       static_cast<MIME::SubType::keys>(subType));
                AnsiStr extension;
                const bool known = MIME::GetExtFromTypeStr(text, extension);
                if (known) dump.Add(string_view(text), extension);
            }
        }
    });
    for (char c = 'a'; c <= 'z'; ++c) {
        RunCase(string("vocabulary/extensions-") + c, [&](Dump& dump) {
            string extension(1, c);
            AddExtensions(dump, extension);
        });
    }
    RunCase("vocabulary/words", [&](Dump& dump) {
        for (const string& word : words) {
            AddExtension(dump, word);
            AddExtension(dump, "." + word);
            string upper = word;
            std::transform(upper.begin(), upper.end(), upper.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
            AddExtension(dump, upper);
            for (const string& type : {word, upper, "application/" + word}) {
                AnsiStr extension;
                const bool known = MIME::GetExtFromTypeStr(ToAnsi(type), extension);
                dump.Add(type, extension).Add("known", known);
            }
        }
    });
    RunCase("vocabulary/charsets", [&](Dump& dump) {
        string all;
        for (unsigned byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
        for (const string_view charset : kCharsets) AddCharset(dump, all, string(charset));
        Random random(1);
        for (unsigned i = 0; i < 3000; ++i) {
            const string bytes = MakeBytes(random, 24);
            AddCharset(dump, bytes, random.Pick(kCharsets));
        }
    });
    RunCase("vocabulary/errors", [&](Dump& dump) {
        for (unsigned code = 0; code < 2000; ++code)
            dump.Add("error", KivGuiBase::GetErrorMessage(code, 0, 1));
        for (const unsigned high :
             {0x80020000u, 0x80070000u, 0x80090000u, 0x80092000u, 0x800B0000u}) {
            for (unsigned code = 0; code < 0x200; ++code) {
                dump.Add("error", KivGuiBase::GetErrorMessage(high + code, 0, 1));
            }
        }
    });
}

}  // namespace Behaviour
