// What is tried: every public entry that can meet a failure, most with arguments so small that every
// point of it can be tried.

#include <memory>

#include "faults/faults.h"
#include "kivgui/kivgui.h"
#include "kivsec/signing.h"
#include "support/temp_folder.h"

namespace MIME::Faults {

namespace {

using namespace KivGuiBase;

constexpr char kLongName[] =
    "Gr\xC3\xBC\xC3\x9F\x65 aus K\xC3\xB6ln, wie immer mit mehr W\xC3\xB6rtern, als in eine Zeile "
    "eines Feldes passen k\xC3\xB6nnen; am Ende ein \xE6\x97\xA5\xE6\x9C\xAC.txt";

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

/// A body of more than 4 MiB, which is neither kept in memory nor mapped in one piece.
std::string MakeLarge(const char* line) {
    std::string text;
    while (text.size() < 0x420000) text += line;
    return text;
}

bool Keep(State& state, const AnsiStr& text) {
    state.texts[0] = text;
    return !text.IsEmpty();
}

// ---- The look-ups -----------------------------------------------------------------------------

std::vector<Operation> GetLookups(const char* when, unsigned traits) {
    std::vector<Operation> lookups = {
        {"GetTypeFromExt", "JPG",
         [](State& s) {
             ContentType type;
             return GetTypeFromExt(s.in, type) && Keep(s, type.GetStr());
         }},
        {"GetTypesFromExt", "JPG",
         [](State& s) {
             ContentType type;
             return GetTypesFromExt(s.in, type.type, type.subType) && Keep(s, type.GetStr());
         }},
        {"GetTypeStrFromExt", ".docx", [](State& s) { return GetTypeStrFromExt(s.in, s.texts[0]); }},
        {"GetExtFromTypeStr", "image/png",
         [](State& s) { return GetExtFromTypeStr(s.in, s.texts[0]); }},
        {"ToUtf8 by the system", "koi8-r",
         [](State& s) { return Keep(s, Decoding::ToUtf8("\xD0\xD2\xC9\xD7", 4, s.in).text); }},
    };
    for (Operation& lookup : lookups) {
        lookup.name = when + lookup.name;
        lookup.traits = traits;
        lookup.limit = traits & kCold ? 100 : 0;  // each builds tables of thousands of rows
    }
    return lookups;
}

// ---- Texts ------------------------------------------------------------------------------------

bool WalkMailboxes(State& state) {
    MailboxParser parser(state.in);
    bool isGood = true;
    for (AnsiStr* text = state.texts.data(); parser.ToNext(); text += 3) {
        text[0] = parser.GetMailbox();
        text[1] = parser.name;
        text[2] = parser.address;
        isGood = isGood && !text[0].IsEmpty();
    }
    return isGood && !parser.IsMalformed();
}

bool KeepBody(State& state, const Decoding::BodyResult& result) {
    state.texts[0] = result.body;
    return result.complete;
}

const AnsiStr kFileName = "filename";

const std::vector<Operation> kTextOperations = {
    {"QPEncode", kLongName, [](State& s) { return Keep(s, Encoding::QPEncode(s.in)); }},
    {"QPDecodeLine", "gr=C3=BC=C3=9Fe",
     [](State& s) {
         Blob line;
         return Encoding::QPDecodeLine({s.in.GetStr(), s.in.GetLength()}, line) &&
                line.GetSize() == 9;
     }},
    {"QEncode", kLongName, [](State& s) { return Keep(s, Encoding::QEncode(s.in, false)); }},
    {"EncodeParameter, sections", kLongName,
     [](State& s) { return Keep(s, Encoding::EncodeParameter(kFileName, s.in, false)); }},
    {"EncodeParameter, words", kLongName,
     [](State& s) { return Keep(s, Encoding::EncodeParameter(kFileName, s.in, true)); }},
    {"FoldHeader", kLongName, [](State& s) { return Keep(s, Encoding::FoldHeader(s.in)); }},
    {"Quote", "a \"b\" \\ c", [](State& s) { return Keep(s, Encoding::Quote(s.in)); }},
    {"Words", "=?utf-8?Q?a=C3?= =?utf-8?Q?=9Fe?= =?iso-8859-1?b?6Q==?= =?koi8-r?Q?=D0?= a",
     [](State& s) { return Keep(s, Decoding::Words(s.in)); }},
    {"AddressWords", "=?utf-8?Q?Doe=2C_J?= <a@b>, \"=?utf-8?Q?=C3=A9?=\" <c@d> (=?utf-8?Q?=C3?=)",
     [](State& s) { return Keep(s, Decoding::AddressWords(s.in)); }},
    {"Decoding::Parameter", "",
     [](State& s) {
         const ParameterMap& map = s.source.headers.begin()->value.parameters;
         return Keep(s, Decoding::Parameter(map, kFileName).value);
     }},
    {"Decoding::QuotedPrintable", "gr=C3=BC=C3=9Fe= \r\n=x ",
     [](State& s) {
         return KeepBody(s, Decoding::QuotedPrintable(s.in.GetStr(), s.in.GetLength()));
     }},
    {"Decoding::Base64", "YWJj ZA=!=ZQ",
     [](State& s) { return KeepBody(s, Decoding::Base64(s.in.GetStr(), s.in.GetLength())); }},
    {"ToUtf8", "windows-1252",
     [](State& s) { return Keep(s, Decoding::ToUtf8("gr\xFC\xDF\x80", 5, s.in).text); }},
    {"FlowedToParagraphs", "> a \r\n> b\r\n c \r\nd",
     [](State& s) { return Keep(s, Decoding::FlowedToParagraphs(s.in, true)); }},
    {"MailboxParser", "\"Zo\xC3\xAB \\\"Q\\\"\" <zoe@b>, Ada L <ada@b>, , c@d", WalkMailboxes},
    {"IsFilenameDerivedFromSubject", "[a_b C.txt",
     [subject = AnsiStr("a/b c.TXT")](State& s) {
         return IsFilenameDerivedFromSubject(s.in, subject, true, true);
     }},
    {"MakeSafeFileName", ".a/b:c.a name that is neither short nor safe. ",
     [](State& s) { return Keep(s, MakeSafeFileName(s.in)); }},
    {"File, temporary", "na/me.txt",
     [](State& s) { return Keep(s, File(FileType::temporary, s.in, true).GetPath()); }},
    {"File, temporary with extension", "name",
     [](State& s) { return Keep(s, File(FileType::temporary, s.in, s.in, true).GetPath()); }},
    {"GenerateBoundary", "",
     [](State& s) {
         s.tree->info.GenerateBoundary();
         return !s.tree->info.boundary.IsEmpty();
     }},
    {"Binary2B64Str", kLongName,
     [](State& s) { return Keep(s, Binary2B64Str(s.in.GetStr(), s.in.GetLength(), 8, "\r\n")); }},
    {"FmtArgs", "x", [](State& s) { return Keep(s, FmtArgs("%s %d", s.in.GetStr(), 1)); }},
    {"CleanStr", " text ", [](State& s) { return Keep(s, CleanStr(s.in)); }},
    {"ExtendedUnQuote", "\"a \\\" b\"", [](State& s) { return Keep(s, ExtendedUnQuote(s.in)); }},
    {"operator+", "text", [](State& s) { return Keep(s, s.in + s.in); }},
    {"CanonicType", "", [](State& s) { return Keep(s, CanonicType(Type::text, SubType::plain)); }},
    {"Header::GetStr", "", [](State& s) { return Keep(s, Header::GetStr(Header::Subject)); }},
    {"GetErrorMessage", "", [](State& s) { return Keep(s, GetErrorMessage(2, 0, 1)); }},
    {"ReadOptions::Mail", "", [](State&) { return ReadOptions::Mail().maxDepth == 256; }},
};

// ---- Trees ------------------------------------------------------------------------------------

/// A multipart with two children, the body of one in a file.
void Fill(Part& part, const AnsiStr& bodyPath) {
    const auto set = [](Part& owner, const char* name, const AnsiStr& value) {
        HeaderValue& field = owner.headers.FindOrInsert(name)->value;
        field.value = value;
        field.parameters.FindOrInsert("filename")->value.value = kLongName;
        field.parameters.FindOrInsert("filename*0*")->value.value = "utf-8''%C3";
        field.parameters.FindOrInsert("filename*1*")->value.value = "%A9.txt";
    };
    part.info.contentType = {AnsiStr(), Type::multipart, SubType::mixed};
    part.info.transferEncoding = TransferEncoding::binary;
    part.data.topLevel = true;
    for (int i = 0; i < 2; ++i) part.AddPart(new Part);
    set(part, "Content-Type", part.info.contentType.GetStr());
    part.headers.FindOrInsert("Content-Type")->value.parameters.FindOrInsert("boundary")->value = {
        part.info.boundary};
    part.headers.FindOrInsert("Subject")->value.value = kLongName;
    part.headers.FindOrInsert("To")->value.value = "\"Zo\xC3\xAB, Q\" <zoe@a.net>, b@a.net";
    for (Part* child : part.parts) {
        child->info.contentType = {AnsiStr(), Type::text, SubType::plain};
        child->info.charset = "utf-8";
        child->info.transferEncoding = TransferEncoding::quoted_printable;
        set(*child, "Content-Disposition", "attachment");
        set(*child, "Content-Type", "text/plain");
    }
    part.parts[0]->data.content = kLongName;
    part.parts[1]->info.transferEncoding = TransferEncoding::base64;
    part.parts[1]->data.file = File(bodyPath);
}

void AddReadings(std::vector<Operation>& all, const std::string& folder) {
    ReadOptions exact, mail = ReadOptions::Mail(), inMemory = mail, clean = exact, kept = mail;
    inMemory.bodies = Bodies::memory;
    inMemory.memoryLimit = 5;  // some bodies move to a file
    clean.ownFiles = clean.removeFilesOnFailure = true;
    kept.ownFiles = false;
    const auto add = [&](const char* name, const std::string& text, const ReadOptions& options,
                         const char* type = nullptr) {
        const auto run = [=](State& s) {
            return s.tree->Read(s.in.GetStr(), s.in.GetLength(), s.texts[0], options, &s.report,
                                type);
        };
        all.push_back({name, text, run, options.ownFiles ? 0u : unsigned{kLeavesFiles}});
        const std::string path = folder + "/" + name + ".eml";
        Test::WriteWholeFile(path, text);
        const auto readFile = [options, type, file = File(AnsiStr(path))](State& s) {
            return s.tree->Read(file, s.texts[0], options, nullptr, type);
        };
        all.push_back({name + std::string(", from a file"), "", readFile, all.back().traits});
    };
    add("Read, exact", kExactMessage, exact);
    add("Read, exact, type apart", "--a\r\n\r\n1\r\n--a--", exact, "multipart/mixed; boundary=a");
    add("Read, exact, owned", kExactMessage, clean);
    add("Read, mail", kMailMessage, mail);
    add("Read, mail, type apart", "1", mail, "text/plain; charset=x");
    add("Read, mail, kept", kMailMessage, kept);
    add("Read, mail, in memory", kMailMessage, inMemory);
    add("Read, mail, refused", std::string(kMailMessage) + std::string(300, '\n'),
        [&] { ReadOptions few = mail; few.maxParts = 5; return few; }());
    const size_t first = all.size();
    const std::string begin = "Content-Type: multipart/mixed; boundary=a\r\n\r\n--a\r\n";
    add("Read, exact, large", begin + "\r\n" + MakeLarge("line\r\n") + "--a--", clean);
    add("Read, mail, large",
        begin + "Content-Transfer-Encoding: base64\r\n\r\n" + MakeLarge("YWJj\r\n") + "--a--", mail);
    for (size_t i = first; i < all.size(); ++i) all[i].limit = 20;
}

void AddChanges(std::vector<Operation>& all, const std::string& folder) {
    const AnsiStr body = AnsiStr(folder + "/body");
    const auto setContent = [body](Type::keys type) {
        return [body, type](State& s) {
            MemoryFile source;
            return source.Open(File(body), MemoryFile::Mode::read) &&
                   s.tree->SetContent(source, {AnsiStr(), type, SubType::invalid});
        };
    };
    all.insert(
        all.end(),
        {{"HeaderMap::CopyFrom", "",
          [](State& s) { return s.tree->headers.CopyFrom(s.source.headers); }, kGoesOn},
         {"FindOrInsert", "X-Name",
          [](State& s) { return s.tree->headers.FindOrInsert(s.in) != nullptr; },
          kGoesOn | kAtomic},
         {"FindOrInsert of a key", "",
          [](State& s) { return s.tree->headers.FindOrInsert(Header::Subject) != nullptr; },
          kGoesOn | kAtomic},
         {"AddPart", "",
          [](State& s) {
              Disarm();
              auto child = std::make_unique<Part>();
              Arm();
              s.tree->AddPart(child.get());
              if (s.tree->parts.IsEmpty()) return false;
              static_cast<void>(child.release());
              return true;
          }},
         {"SetContent, text", "", setContent(Type::text), kGoesOn | kAtomic},
         {"SetContent, binary", "", setContent(Type::image), kGoesOn | kAtomic},
         {"Data::operator=, owned file", "",
          [](State& s) {
              Data& source = s.source.parts[1]->data;
              source.ownsFile = true;
              s.tree->data = source;
              source.ownsFile = false;
              return !s.tree->data.file.IsEmpty();
          },
          0, 0, folder + "/body"}});
}

void AddWritings(std::vector<Operation>& all, const std::string& folder) {
    const std::string body = folder + "/body", large = folder + "/large", out = folder + "/out";
    const File outFile{AnsiStr(out)}, bodyFile{AnsiStr(body)};
    const auto write = [=](State& s) { return s.source.Write(outFile, nullptr); };
    const auto writeApart = [=](State& s) { return s.source.Write(outFile, &s.texts[0]); };
    all.insert(
        all.end(),
        {{"Part::Serialize", "", [](State& s) { return Keep(s, s.source.Serialize(false)); }},
         {"Part::Serialize, content only", "",
          [](State& s) { return Keep(s, s.source.parts[0]->Serialize(true)); }},
         {"HeaderMap::Serialize", "",
          [](State& s) { return Keep(s, s.source.headers.Serialize(false, false)); }},
         {"HeaderMap::Serialize, no content", "",
          [](State& s) { return Keep(s, s.source.headers.Serialize(false, true)); }},
         {"ParameterMap::Serialize", "",
          [](State& s) {
              return Keep(s, s.source.headers.begin()->value.parameters.Serialize(false));
          }},
         {"ParameterMap::Serialize, words", "",
          [](State& s) {
              return Keep(s, s.source.headers.begin()->value.parameters.Serialize(true));
          }},
         {"Part::Write", "", write, 0, 0, body, out},
         {"Part::Write, type apart", "", writeApart, 0, 0, body, out},
         {"Part::Write, large", "", write, 0, 20, large, out},
         {"ReadStream", "",
          [=](State& s) {
              ReadStream stream(bodyFile, ReadStreamMode::read);
              return stream.Read(s.texts[0]);
          }},
         {"WriteStream", kLongName,
          [=](State& s) {
              WriteStream stream(outFile, WriteStreamMode::create);
              return stream.Write(s.in.GetStr()) && stream.Write(s.in.GetStr()) && stream.Close();
          },
          0, 0, "", out},
         {"File::Copy", "",
          [=](State&) { return bodyFile.Copy(outFile, true) && bodyFile.Copy(outFile, true); }, 0,
          0, "", out},
         {"File::GetSize", "", [=](State&) { return bodyFile.GetSize() > 0; }}});
    for (const char* key : {"rsa.pem", "ec-locked.pem", "pss.p12"}) {
        const auto sign = [file = KivOssSec::Test::GetKeyFile(key),
                           pass = KivOssSec::Test::GetPassPhrase()](State& s) {
            return Keep(s, s.source.Sign(file, pass));
        };
        all.push_back({std::string("Message::Sign, ") + key, "", sign, kSigns, 100});
    }
}

}  // namespace

std::vector<Operation> GetOperations(const std::string& folder) {
    Test::WriteWholeFile(folder + "/body", kLongName);
    Test::WriteWholeFile(folder + "/large", MakeLarge("a line of a large body\r\n"));
    std::vector<Operation> all = GetLookups("first look-up, ", kCold);
    for (Operation& lookup : GetLookups("later look-up, ", 0)) all.push_back(lookup);
    all.insert(all.end(), kTextOperations.begin(), kTextOperations.end());
    AddReadings(all, folder);
    AddChanges(all, folder);
    AddWritings(all, folder);
    return all;
}

void Prepare(State& state, const Operation& operation) {
    state.in = AnsiStr(operation.in);
    Fill(state.source, AnsiStr(operation.body));
}

}  // namespace MIME::Faults
