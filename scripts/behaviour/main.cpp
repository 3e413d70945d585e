// Prints what the library makes of many inputs, a line for each case: its label and a hash of all that
// came out. Two builds behave the same when their lines are the same; compare_builds.sh compares them.
//
//   dump_behaviour [--inputs N] [--words FILE] [--dump LABEL] FILE-OR-FOLDER...
//
// Every case depends on its label and the arguments alone, so that --dump can print one of them whole.
// Temporary files are made in TMPDIR, which must be empty, and removed after each case.

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dump.h"
#include "generate.h"
#include "kivgui/charset.h"
#include "kivgui/convert.h"
#include "kivgui/error.h"
#include "kivgui/file.h"
#include "kivgui/memory_file.h"
#include "mime/decoding.h"
#include "mime/mime.h"

namespace Behaviour {

namespace {

namespace fs = std::filesystem;
using MIME::AnsiStr;
using std::string;
using std::string_view;

string g_wanted;  // the label to be dumped; empty when all are hashed
fs::path g_temporary;
fs::path g_output;  // beside the temporary files, for what is written

bool IsWanted(string_view group) {
    return g_wanted.empty() || string_view(g_wanted).substr(0, group.size()) == group;
}

/// Runs a case and prints its line, or when it is the wanted one its dump.
void RunCase(const string& label, const std::function<void(Dump&)>& body) {
    if (!g_wanted.empty() && g_wanted != label) return;
    Dump dump;
    body(dump);
    if (g_wanted.empty()) {
        std::printf("%s %016llx\n", label.c_str(), dump.GetHash());
        return;
    }
    for (const char c : dump.GetText()) {
        if (c == '\n' || (c >= 32 && c < 127)) {
            std::putchar(c);
        } else {
            std::printf("\\x%02X", static_cast<unsigned char>(c));
        }
    }
}

unsigned CountFiles() {
    return static_cast<unsigned>(std::distance(fs::directory_iterator(g_temporary), {}));
}

void RemoveFiles() {
    for (const auto& entry : fs::directory_iterator(g_temporary)) fs::remove(entry.path());
}

AnsiStr ToAnsi(string_view text) {
    return AnsiStr(text.data(), static_cast<unsigned>(text.size()));
}

// ------------------------------------------------------------------------------------ trees --

/// What the writers make of a tree.
void AddWritings(Dump& dump, MIME::Part& part) {
    const MIME::File target{AnsiStr(g_output.c_str())};
    const auto write = [&](AnsiStr* contentType) {
        KivGuiBase::SetLastError(0);
        const bool written = part.Write(target, contentType);
        dump.Add("written", written);
        if (!written) dump.Add("last error", KivGuiBase::GetLastError());
        dump.Add("text", MaskBoundaries(ReadBytes(g_output.string())));
    };
    write(nullptr);
    AnsiStr contentType;
    write(&contentType);
    dump.Add("type apart", MaskBoundaries(string(string_view(contentType))));
    for (const bool contentOnly : {false, true}) {
        dump.Add("serialized", MaskBoundaries(string(string_view(part.Serialize(contentOnly)))));
    }
}

template <class Options>
void PutBodiesInMemory(Options& options) {
    if constexpr (requires { options.bodiesInMemory; }) {
        options.bodiesInMemory = true;
    } else {
        options.bodies = decltype(options.bodies)::memory;
    }
}

/// Reads a file or a text with options. Revisions that take no separate Content-Type together with
/// options are not asked for it: see RunReadings.
template <class Part, class... Source>
bool ReadWithOptions(Part& part, AnsiStr& error, const MIME::ReadOptions& options,
                     MIME::ReadReport* report, const char* type, const Source&... source) {
    if constexpr (requires { part.Read(source..., error, options, report, type); }) {
        return part.Read(source..., error, options, report, type);
    } else {
        return part.Read(source..., error, options, report);
    }
}

/// Body files stay when their tree is destroyed, so that CountFiles sees what a failed reading left.
template <class Options>
void KeepFiles(Options& options) {
    if constexpr (requires { options.ownFiles; }) options.ownFiles = false;
}

/// Limits that some messages pass and others do not.
MIME::ReadOptions DrawLimits(Random& random, MIME::ReadOptions options) {
    if (random.OneIn(2)) options.maxDepth = 1 + random.Below(4);
    if (random.OneIn(2)) options.maxParts = 1 + random.Below(6);
    if (random.OneIn(2)) options.maxFields = 1 + random.Below(6);
    if (random.OneIn(2)) options.maxHeaderBytes = 1 + random.Below(300);
    if (random.OneIn(2)) options.maxDecodedBytes = 1 + random.Below(1000);
    options.removeFilesOnFailure = random.OneIn(2);
    KeepFiles(options);
    if (random.OneIn(2)) options.memoryLimit = random.Below(300);
    return options;
}

using ReadMessage = std::function<bool(MIME::Part&, AnsiStr&, MIME::ReadReport*)>;

void RunReading(const string& label, const ReadMessage& read) {
    RunCase(label, [&](Dump& dump) {
        auto part = std::make_unique<MIME::Part>();
        AnsiStr error;
        MIME::ReadReport report;
        KivGuiBase::SetLastError(0);
        const bool done = read(*part, error, &report);
        dump.Add("read", done).Add("error", error).Add("files", CountFiles());
        if (!done && error.IsEmpty()) dump.Add("last error", KivGuiBase::GetLastError());
        dump.AddReport(report);
        dump.AddTree(*part);
        AddWritings(dump, *part);
        part.reset();
        RemoveFiles();
    });
}

/// Reads one message under both rules, with bodies in files and in memory. With `path` half of the
/// readings take the file.
void RunReadings(const string& label, const Input& input, const string& path, Random* limits) {
    const char* type = input.isApart ? input.contentType.c_str() : nullptr;
    const MIME::File file{AnsiStr(path.c_str())};
    MIME::ReadOptions exact;
    MIME::ReadOptions mail = MIME::ReadOptions::Mail();
    if (limits != nullptr) {
        exact = DrawLimits(*limits, exact);
        mail = DrawLimits(*limits, mail);
    }
    const auto readText = [&](const MIME::ReadOptions& options) -> ReadMessage {
        return
            [&input, &options, type](MIME::Part& part, AnsiStr& error, MIME::ReadReport* report) {
                return ReadWithOptions(part, error, options, report, type, input.text.data(),
                                       input.text.size());
            };
    };
    const auto readFile = [&](const MIME::ReadOptions& options) -> ReadMessage {
        return [&file, &options, type](MIME::Part& part, AnsiStr& error, MIME::ReadReport* report) {
            return ReadWithOptions(part, error, options, report, type, file);
        };
    };
    if (limits != nullptr && !input.isApart) {
        RunReading(label + "/exact-limits", readText(exact));
    } else {
        RunReading(
            label + "/exact-files", [&](MIME::Part& part, AnsiStr& error, MIME::ReadReport*) {
                return path.empty() ? part.Read(input.text.data(), input.text.size(), error, type)
                                    : part.Read(file, error, type);
            });
    }
#if defined(BEHAVIOUR_OLD_OPTIONS)
    if (input.isApart) return;
#endif
    RunReading(label + "/mail-files", readText(mail));
    PutBodiesInMemory(exact);
    PutBodiesInMemory(mail);
    RunReading(label + "/exact-memory", readText(exact));
    RunReading(label + "/mail-memory", path.empty() ? readText(mail) : readFile(mail));
}

void RunFile(const string& label, const string& path) {
    if (!IsWanted(label)) return;
    Input input;
    input.text = ReadBytes(path);
    RunReadings(label, input, path, nullptr);
    // A body whose type is beside it, or the text behind the header block with an invented type.
    const fs::path typePath = fs::path(path).replace_extension(".type");
    if (fs::exists(typePath)) {
        input.contentType = ReadBytes(typePath.string());
    } else if (input.text.size() % 8 == 0) {
        input.contentType = "multipart/mixed; boundary=a";
    } else {
        return;
    }
    input.isApart = true;
    RunReadings(label + "/apart", input, "", nullptr);
}

void RunInput(unsigned number, const std::vector<string>& samples) {
    const string label = "input/" + std::to_string(number);
    if (!IsWanted(label)) return;
    Random random(number);
    const Input input = MakeInput(random, samples);
    RunReadings(label, input, "", number % 6 == 0 ? &random : nullptr);
}

/// Bodies around the sizes of buffers, and messages that nest deeper than the mail rules allow.
void RunLarge() {
    if (!IsWanted("large/")) return;
    for (const unsigned size :
         {4999u, 5000u, 5001u, 65536u, 131071u, 131073u, 400000u, 0x400000u, 0x400001u, 6000000u}) {
        Random random(size);
        string bytes(size, 'x');
        for (char& c : bytes)
            c = static_cast<char>(random.OneIn(60) ? '\n' : 33 + random.Below(90));
        for (const string encoding : {"binary", "base64", "quoted-printable", "length"}) {
            Input input;
            input.text = "Content-Type: multipart/mixed; boundary=a\r\n\r\n--a\r\n";
            if (encoding == "length") {
                input.text += "Content-Length: " + std::to_string(size) + "\r\n";
            } else {
                input.text += "Content-Transfer-Encoding: " + encoding + "\r\n";
            }
            input.text += "\r\n" +
                          (encoding == "base64" ? EncodeBase64(bytes, 76, "\r\n") : bytes) +
                          "\r\n--a--\r\n";
            RunReadings("large/" + encoding + "-" + std::to_string(size), input, "", nullptr);
        }
    }
    for (const unsigned depth : {100u, 255u, 256u, 257u, 2000u}) {
        Input input;
        for (unsigned i = 0; i < depth; ++i) {
            const string boundary = "b" + std::to_string(i) + "x";
            input.text += "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" +
                          boundary + "\r\n";
        }
        input.text += "\r\nbody";
        for (unsigned i = depth; i-- > 0;) input.text += "\r\n--b" + std::to_string(i) + "x--";
        RunReadings("large/depth-" + std::to_string(depth), input, "", nullptr);
    }
}

/// A tree as a host builds it. What it holds is drawn, sensible or not.
class TreeMaker {
public:
    explicit TreeMaker(Random& random) : random_(random) {}

    void Fill(MIME::Part& part, unsigned depth) {
        const unsigned fieldCount = random_.Below(5);
        for (unsigned i = 0; i < fieldCount; ++i) AddField(part.headers);
        part.info.transferEncoding = static_cast<MIME::TransferEncoding::keys>(random_.Below(6));
        part.info.contentType = DrawType();
        if (random_.OneIn(4)) part.info.charset = random_.OneIn(4) ? "x y" : "utf-8";
        part.data.topLevel = random_.OneIn(2);
        part.info.isMessage = random_.OneIn(12);
        if (random_.OneIn(30))
            part.rawText = ToAnsi("Subject: raw\r\n\r\n" + MakeBodyText(random_));
        if (depth < 4 && random_.OneIn(depth + 1)) {
            AddChildren(part, depth);
        } else {
            AddBody(part);
        }
    }

private:
    MIME::ContentType DrawType() {
        MIME::ContentType type;
        if (random_.OneIn(3)) type.str = ToAnsi(MakeContentType(random_));
        type.type = static_cast<MIME::Type::keys>(random_.Below(12));
        type.subType = static_cast<MIME::SubType::keys>(random_.Below(60));
        return type;
    }

    void AddField(MIME::HeaderMap& headers) {
        constexpr string_view kNames[] = {"Subject",
                                          "From",
                                          "To",
                                          "Cc",
                                          "Content-Type",
                                          "Content-ID",
                                          "Content-Disposition",
                                          "Content-Transfer-Encoding",
                                          "Mime-Version",
                                          "X-Odd",
                                          "Content-Length",
                                          "Sender"};
        auto& value = headers.FindOrInsert(ToAnsi(random_.Pick(kNames)))->value;
        value.value = ToAnsi(random_.OneIn(2) ? MakeAddressText(random_) : MakeHeaderText(random_));
        for (unsigned left = random_.Below(3); left > 0; --left) {
            constexpr string_view kParameters[] = {"name", "filename", "charset", "boundary", "x"};
            auto& parameter =
                value.parameters.FindOrInsert(ToAnsi(random_.Pick(kParameters)))->value;
            parameter.value = ToAnsi(MakeFileName(random_));
            parameter.raw = random_.OneIn(4);
        }
    }

    void AddChildren(MIME::Part& part, unsigned depth) {
        for (unsigned left = 1 + random_.Below(3); left > 0; --left) {
            auto* child = new MIME::Part;
            Fill(*child, depth + 1);
            part.AddPart(child);
        }
        if (!random_.OneIn(4))
            part.info.boundary = ToAnsi("=_b" + std::to_string(random_.Below(100)));
    }

    void AddBody(MIME::Part& part) {
        const string body = random_.OneIn(2) ? MakeBodyText(random_) : MakeBytes(random_, 300);
        if (random_.OneIn(3)) {
            const string path = (g_temporary / ("body" + std::to_string(++files_))).string();
            WriteBytes(path, body);
            const MIME::File file{AnsiStr(path.c_str())};
            MIME::MemoryFile view;
            if (random_.OneIn(2)) {
                part.data.file = file;
            } else if (view.Open(file, MIME::MemoryFile::Mode::read)) {
                part.SetContent(view, DrawType());
            }
            return;
        }
        part.data.content = ToAnsi(body);
        part.data.encoded = random_.OneIn(3);
    }

    Random& random_;
    unsigned files_ = 0;
};

void RunBuilt(unsigned number) {
    RunCase("built/" + std::to_string(number), [&](Dump& dump) {
        Random random(number);
        auto part = std::make_unique<MIME::Part>();
        TreeMaker(random).Fill(*part, 0);
        AddWritings(dump, *part);
        dump.AddTree(*part);  // SetContent and writing may have changed it
        MIME::HeaderMap copy;
        dump.Add("copied", copy.CopyFrom(part->headers));
        for (const auto& field : copy) {
            for (const bool words : {false, true})
                dump.Add("parameters", field.value.parameters.Serialize(words));
        }
        for (const unsigned flags : {0u, 1u, 2u, 3u}) {
            dump.Add("fields", copy.Serialize((flags & 1) != 0, (flags & 2) != 0));
        }
        part.reset();
        RemoveFiles();
    });
}

// ------------------------------------------------------------------------------- text codecs --

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
    addPlace("behind padding", result.behindPadding, result.firstBehindPadding);
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

void RunText(unsigned number) {
    const string suffix = "/" + std::to_string(number);
    Random random(~uint64_t{number});
    const auto draw = [&] {
        if (random.OneIn(30)) {  // around the longest line (RFC 5322, 2.1.1)
            return MakeHeaderText(random) + string(985 + random.Below(30), 'w') + " " +
                   MakeBytes(random, 90);
        }
        switch (random.Below(6)) {
            case 0:
                return MakeHeaderText(random);
            case 1:
                return MakeAddressText(random);
            case 2:
                return MakeBodyText(random);
            case 3:
                return MakeFileName(random);
            case 4:
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

// -------------------------------------------------------------------------------- vocabulary --

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

// --------------------------------------------------------------------------------------- main --

/// Every plain file of the folders, with a label that does not depend on where the folder is.
std::vector<std::pair<string, string>> FindFiles(const std::vector<string>& roots) {
    std::vector<std::pair<string, string>> files;
    for (const string& root : roots) {
        if (!fs::is_directory(root)) {
            files.emplace_back(fs::path(root).filename().string(), root);
            continue;
        }
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            if (!entry.is_regular_file()) continue;
            files.emplace_back(fs::relative(entry.path(), root).string(), entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<string> ReadSamples(const std::vector<std::pair<string, string>>& files) {
    constexpr uintmax_t kMaxSample = 30000;
    std::vector<string> samples;
    for (const auto& file : files) {
        if (fs::file_size(file.second) <= kMaxSample) samples.push_back(ReadBytes(file.second));
    }
    return samples;
}

std::vector<string> ReadLines(const string& path) {
    std::vector<string> lines;
    std::ifstream in(path);
    for (string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

int Main(int argc, char** argv) {
    unsigned inputs = 100000;
    std::vector<string> words;
    std::vector<string> roots;
    for (int i = 1; i < argc; ++i) {
        const string_view option = argv[i];
        const bool hasValue = option.substr(0, 2) == "--" && i + 1 < argc;
        if (!hasValue) {
            roots.emplace_back(option);
        } else if (option == "--inputs") {
            inputs = static_cast<unsigned>(std::atoi(argv[++i]));
        } else if (option == "--words") {
            words = ReadLines(argv[++i]);
        } else if (option == "--dump") {
            g_wanted = argv[++i];
        } else {
            std::fprintf(stderr, "unknown option %s\n", argv[i]);
            return 2;
        }
    }
    const char* temporary = std::getenv("TMPDIR");
    if (temporary == nullptr || !fs::is_empty(temporary)) {
        std::fprintf(stderr, "TMPDIR must name an empty folder\n");
        return 2;
    }
    g_temporary = temporary;
    g_output = g_temporary.string() + ".out";

    const auto files = FindFiles(roots);
    const std::vector<string> samples = ReadSamples(files);
    RunVocabulary(words);
    RunLarge();
    for (const auto& [label, path] : files) RunFile("file/" + label, path);
    for (unsigned i = 0; i < inputs; ++i) RunInput(i, samples);
    for (unsigned i = 0; i < inputs / 4; ++i) RunBuilt(i);
    for (unsigned i = 0; i < inputs / 2; ++i) RunText(i);
    fs::remove(g_output);
    return 0;
}

}  // namespace

}  // namespace Behaviour

int main(int argc, char** argv) {
    return Behaviour::Main(argc, argv);
}
