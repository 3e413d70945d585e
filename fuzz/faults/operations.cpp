// What is tried: every public entry that can meet a failure, most with arguments so small that every
// point of it can be tried.

#include <memory>

#include "faults/faults.h"
#include "kivgui/host/event.h"
#include "kivgui/kivgui.h"
#include "kivsec/signing.h"
#include "support/temp_folder.h"

namespace MIME::Faults {

namespace {

using namespace KivGuiBase;

constexpr char kLong[] =
    "Gr\xC3\xBC\xC3\x9F\x65 aus K\xC3\xB6ln, wie immer mit mehr W\xC3\xB6rtern, als in eine Zeile "
    "eines Feldes passen k\xC3\xB6nnen; am Ende ein \xE6\x97\xA5\xE6\x9C\xAC.txt";
const AnsiStr kName = "filename";
const AnsiStr kPassPhrase = KivOssSec::Test::GetPassPhrase();

constexpr char kExactMessage[] =
    "MIME-Version: 1.0\r\nSubject: exact\r\n"
    "Content-Type: multipart/related; boundary=\"a b\"; start=\"<root@a>\"\r\n\r\n"
    "--a b\r\nContent-Type: image/png\r\nContent-Transfer-Encoding: base64\r\n\r\nYWJj\r\nZGVm\r\n"
    "--a b\r\nContent-Type: multipart/mixed; boundary=c\r\n\r\n"
    "--c\r\nContent-Disposition: attachment; filename=\"x/y.txt\"\r\n"
    "Content-Transfer-Encoding: quoted-printable\r\n\r\ngr=C3=BC=C3=9Fe=\r\n!\r\n"
    "--c\r\nContent-Length: 4\r\n\r\nabcd\r\n--c--\r\n"
    "--a b\r\nContent-Type: text/html; charset=utf-8\r\nContent-ID: <root@a>\r\n"
    "Content-Transfer-Encoding: 8bit\r\n\r\n<p>\r\n--a b--\r\n";

constexpr char kMailMessage[] =
    "From a@b Fri\r\nFrom: =?utf-8?Q?Doe=2C_J?= <a@b>\r\nSubject: =?utf-8?Q?Gr=C3=BC=C3?=\r\n"
    " =?utf-8?Q?=9Fe?= und mehr\r\nX: 1\r\nX: 2\r\n"
    "Content-Type: multipart/mixed (c); boundary*0=\"a\"; boundary*1*=%62\r\n\r\npreamble\r\n"
    "--ab\r\nContent-Type: message/rfc822\r\n\r\nSubject: inner\r\n\r\nbody\r\n"
    "--ab\r\nContent-Type: multipart/digest; boundary=c\r\n\r\n"
    "--c\r\n\r\nSubject: digest\r\nContent-Transfer-Encoding: base64\r\n\r\nYW Jj=\r\n--c--\r\n"
    "--ab\r\nContent-Disposition: attachment; filename*=utf-8''%C3%A9.txt\r\n"
    "Content-Transfer-Encoding: quoted-printable\r\n\r\ngr=C3=BC=C3=9Fe= \r\nx=\r\n"
    "--ab\r\nContent-Type: multipart/mixed; boundary=never\r\n\r\n--d\r\n--ab--\r\nepilogue";

/// More than 4 MiB: it is not kept in memory, and a file of it is mapped.
std::string MakeLarge(const char* line) {
    std::string text;
    while (text.size() < 0x420000) text += line;
    return text;
}

bool Keep(State& s, const AnsiStr& text) {
    s.texts[0] = text;
    return !text.IsEmpty();
}

bool KeepType(State& s, const ContentType& type) {
    return Keep(s, type.GetStr());
}

bool KeepBody(State& s, const Decoding::BodyResult& result) {
    s.texts[0] = result.body;
    s.numbers = {result.malformed, result.blanks, result.missingPadding, result.afterPadding};
    return result.complete;
}

bool KeepParameter(State& s, const Decoding::ParameterResult& result) {
    s.numbers = {result.found, result.conflicting, result.hadEncodedWord};
    return Keep(s, result.value);
}

bool WalkMailboxes(State& s) {
    MailboxParser parser(s.in);
    bool isGood = true;
    for (AnsiStr* text = s.texts.data(); parser.ToNext(); text += 3) {
        text[0] = parser.GetMailbox();
        text[1] = parser.name;
        text[2] = parser.address;
        isGood = isGood && !text[0].IsEmpty();
    }
    return isGood && !parser.IsMalformed();
}

/// A value that was not set is a failure; two entries of one key are a wrong result.
bool SetTwice(State& s) {
    EventDetails details;
    details.Set(s.in, Val());
    details.Set(s.in, Val(s.in));
    s.numbers[0] = details.GetCount();
    if (details.GetCount() != 1) return details.GetCount() != 0;
    return Keep(s, details.GetValue(0).GetString());
}

bool AddChild(State& s) {
    Disarm();
    auto child = std::make_unique<Part>();
    Arm();
    s.tree->AddPart(child.get());
    if (s.tree->parts.IsEmpty()) return false;
    static_cast<void>(child.release());
    return true;
}

bool SetContent(State& s, Type::keys type) {
    MemoryFile content;
    return content.Open(s.body, MemoryFile::Mode::read) &&
           s.tree->SetContent(content, {AnsiStr(), type, SubType::invalid});
}

bool CopyOwnedFile(State& s) {
    Data& data = s.source.parts[1]->data;
    data.ownsFile = true;
    s.tree->data = data;
    data.ownsFile = false;
    return !s.tree->data.file.IsEmpty();
}

bool WriteTwice(State& s) {
    WriteStream stream(s.output, WriteStreamMode::create);
    return stream.Write(s.in.GetStr()) && stream.Write(s.in.GetStr()) && stream.Close();
}

const ParameterMap& GetParameters(const State& s) {
    return s.source.headers.begin()->value.parameters;
}

void AddReadings(std::vector<Operation>& all, const std::string& folder) {
    ReadOptions exact, mail = ReadOptions::Mail(), inMemory = mail, clean, kept = mail, few = mail;
    clean.ownFiles = clean.removeFilesOnFailure = true;
    inMemory.bodies = Bodies::memory;
    inMemory.memoryLimit = 5;  // some bodies move to a file
    kept.ownFiles = false;
    few.maxParts = 5;
    const std::string begin = "Content-Type: multipart/mixed; boundary=a\r\n\r\n--a\r\n";
    const struct {
        unsigned traits;
        const char* name;
        std::string text;
        const ReadOptions& options;
        const char* type = nullptr;
    } kReadings[] = {
        {kLeavesFiles, "Read, exact", kExactMessage, exact},
        {kLeavesFiles, "Read, exact, type apart", "--a\r\n\r\n1\r\n--a--", exact,
         "multipart/mixed; boundary=a"},
        {kPlain, "Read, exact, owned", kExactMessage, clean},
        {kPlain, "Read, mail", kMailMessage, mail},
        {kPlain, "Read, mail, type apart", "1", mail, "text/plain; charset=x"},
        {kLeavesFiles, "Read, mail, kept", kMailMessage, kept},
        {kPlain, "Read, mail, in memory", kMailMessage, inMemory},
        {kPlain, "Read, mail, too many parts", kMailMessage, few},
        {kLarge, "Read, exact, large", begin + "\r\n" + MakeLarge("line\r\n") + "--a--", clean},
        {kLarge, "Read, mail, large",
         begin + "Content-Transfer-Encoding: base64\r\n\r\n" + MakeLarge("YWJj\r\n"), mail},
    };
    for (const auto& one : kReadings) {
        const auto [options, type] = std::pair(one.options, one.type);
        all.push_back({one.traits, one.name, one.text, [=](State& s) {
                           return s.tree->Read(s.in.GetStr(), s.in.GetLength(), s.texts[0], options,
                                               &s.report, type);
                       }});
        const std::string path = folder + "/" + one.name;
        Test::WriteWholeFile(path, one.text);
        all.push_back({one.traits, one.name + std::string(", file"), path, [=](State& s) {
                           return s.tree->Read(File(s.in), s.texts[0], options, nullptr, type);
                       }});
    }
}

void SetField(Part& part, const char* name, const AnsiStr& value) {
    HeaderValue& field = part.headers.FindOrInsert(name)->value;
    field.value = value;
    field.parameters.FindOrInsert("filename")->value.value = kLong;
    field.parameters.FindOrInsert("filename*0*")->value.value = "utf-8''%C3";
    field.parameters.FindOrInsert("filename*1*")->value.value = "%A9.txt";
}

}  // namespace

std::vector<Operation> GetOperations(const std::string& folder) {
    Test::WriteWholeFile(folder + "/body", kLong);
    Test::WriteWholeFile(folder + "/large", MakeLarge("a line of a large body\r\n"));
    std::vector<Operation> all;
    for (const unsigned traits : {kCold, kPlain}) {
        const std::string when = traits == kCold ? "first look-up, " : "later look-up, ";
        const auto add = [&](const char* name, const char* in, bool (*run)(State & s)) {
            all.push_back({traits, when + name, in, run});
        };
        add("GetTypeFromExt", "JPG", [](State& s) {
            ContentType type;
            return GetTypeFromExt(s.in, type) && KeepType(s, type);
        });
        add("GetTypesFromExt", "JPG", [](State& s) {
            ContentType type;
            return GetTypesFromExt(s.in, type.type, type.subType) && KeepType(s, type);
        });
        add("GetTypeStrFromExt", ".docx",
            [](State& s) { return GetTypeStrFromExt(s.in, s.texts[0]); });
        add("GetExtFromTypeStr", "text/html",
            [](State& s) { return GetExtFromTypeStr(s.in, s.texts[0]); });
        add("ToUtf8 by the system", "koi8-r",
            [](State& s) { return Keep(s, Decoding::ToUtf8("\xD0\xD2\xC9", 3, s.in).text); });
    }
#define FAULT_OPERATION(traits, name, in, expression) \
    all.push_back({traits, name, in, [](State& s) { return expression; }});
#include "faults/operations.inc"
    AddReadings(all, folder);
    AddMailOperations(all, folder);
    AddWritingOperations(all, folder);
    return all;
}

/// The source is a multipart with two children, the body of one in a file.
void Prepare(State& state, const Operation& operation, const std::string& folder) {
    state.in = AnsiStr(operation.in);
    state.body = File(AnsiStr(folder + (operation.traits & kLarge ? "/large" : "/body")));
    state.output = File(AnsiStr(folder + "/output"));
    Part& top = state.source;
    top.info.contentType = {AnsiStr(), Type::multipart, SubType::mixed};
    top.info.transferEncoding = TransferEncoding::binary;
    top.data.topLevel = true;
    for (int i = 0; i < 2; ++i) top.AddPart(new Part);
    SetField(top, "Content-Type", "multipart/mixed");
    top.headers.FindOrInsert("Content-Type")->value.parameters.FindOrInsert("boundary")->value = {
        top.info.boundary};
    top.headers.FindOrInsert("Subject")->value.value = kLong;
    top.headers.FindOrInsert("To")->value.value = "\"Zo\xC3\xAB, Q\" <zoe@a.net>, b@a.net";
    for (Part* child : top.parts) {
        child->info.contentType = {AnsiStr(), Type::text, SubType::plain};
        child->info.charset = "utf-8";
        child->info.transferEncoding = TransferEncoding::quoted_printable;
        SetField(*child, "Content-Disposition", "attachment");
        SetField(*child, "Content-Type", "text/plain");
    }
    top.parts[0]->data.content = kLong;
    top.parts[1]->info.transferEncoding = TransferEncoding::base64;
    top.parts[1]->data.file = state.body;
}

}  // namespace MIME::Faults
