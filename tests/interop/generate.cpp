// interop_generate messages FOLDER    writes messages as NAME.eml, with what must be found in them
//                                     as NAME.json
// interop_generate encoders SEED N    prints N lines for each encoder: its name, the input and the
//                                     output in hexadecimal

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <string_view>

#include "message_plan.h"

namespace Interop {
namespace {

using MIME::AnsiStr;
using MIME::Encoding;
namespace SubType = MIME::SubType;
namespace TransferEncoding = MIME::TransferEncoding;

constexpr auto kBase64 = TransferEncoding::base64;
constexpr auto kQuotedPrintable = TransferEncoding::quoted_printable;
constexpr auto kBit7 = TransferEncoding::bit7;
constexpr auto kBit8 = TransferEncoding::bit8;
constexpr auto kBinary = TransferEncoding::binary;

const MIME::ContentType kOctets = {{}, MIME::Type::application, SubType::octet_stream};

std::string Repeat(std::string_view text, unsigned count) {
    std::string repeated;
    for (unsigned i = 0; i < count; ++i) repeated += text;
    return repeated;
}

std::string AllBytes() {
    std::string bytes;
    for (unsigned i = 0; i < 256; ++i) bytes += static_cast<char>(i);
    return bytes;
}

Node Leaf(const std::string& body, TransferEncoding::keys encoding = kBit7) {
    return {Text(SubType::plain), encoding, body, encoding == kBit7 ? "us-ascii" : "utf-8"};
}

Node File(const std::string& name) {
    return {kOctets, kBase64, "the file " + name, {}, name};
}

Node Group(SubType::keys subType, std::vector<Node> children) {
    return {Multipart(subType), kBit7, {}, {}, {}, false, std::move(children)};
}

// ------------------------------------------------------------------------------------ messages --

Plan Fields() {
    Plan plan{"fields", Leaf("One part.\r\n")};
    plan.subject = "Größere Änderungen: 東京, Ελλάδα, emoji 😀 und mehr, als in eine Zeile passt; " +
                   Repeat("noch etwas ", 30) + "Schluß";
    plan.from = {{"Jürgen Groß <juergen@example.net>", "Jürgen Groß", "juergen@example.net"}};
    plan.to = {
        {"bo@example.net", "", "bo@example.net"},
        {"Admin <root@example.net>", "Admin", "root@example.net"},
        {"Mary Ann Lee <lee@example.net>", "Mary Ann Lee", "lee@example.net"},
        {"\"Smith, Jane (x)\" <jane@example.net>", "Smith, Jane (x)", "jane@example.net"},
        {R"("A \"B\" \\ C" <abc@example.net>)", R"(A "B" \ C)", "abc@example.net"},
        {"東京タワー <tokyo@example.net>", "東京タワー", "tokyo@example.net"},
        {Repeat("Sehr langer Name für eine Person ", 6) + "<long@example.net>",
         Repeat("Sehr langer Name für eine Person ", 5) + "Sehr langer Name für eine Person",
         "long@example.net"},
    };
    return plan;
}

/// A subject in ASCII, which is folded and not encoded.
Plan LongAsciiSubject(const std::string& name, const std::string& subject) {
    Plan plan{name, Leaf("")};
    plan.subject = subject;
    return plan;
}

Plan FileNames() {
    Plan plan{"file_names", Group(SubType::mixed, {Leaf("See below.\r\n")})};
    const std::string names[] = {
        "plain",
        "note.txt",
        "with spaces.txt",
        "semi;colon, comma.txt",
        R"(quo"te\back.txt)",
        "per%20cent.txt",
        "it's*star.txt",
        ".hidden",
        "tab\tin it.txt",
        "trailing space ",
        "Grüße.txt",
        "東京.txt",
        "😀.png",
        "a = b.txt",
        Repeat("long ascii name ", 12) + ".txt",
        Repeat("nospaceatall", 20) + ".txt",
        Repeat("Größe ", 40) + ".pdf",
        Repeat("東京", 60) + ".pdf",
        Repeat("\"quoted\\", 20) + ".txt",
    };
    for (const std::string& name : names) plan.top.children.push_back(File(name));
    return plan;
}

const std::string kDots = ".\r\n..\r\n.leading\r\nFrom the start\r\n>From quoted\r\nFrom \r\n";

std::vector<Node> EncodedBodies() {
    const std::string umlauts = "Grüße, 東京 😀\r\n=C3=BC\r\n";
    const std::string wide = Repeat("x", 998) + "\r\n" + Repeat("y", 998) + "\r\n";
    const std::string tooWide = Repeat("z", 1000) + "\r\n" + Repeat("ü", 2000) + "\r\n";
    const std::string spaces = "trailing space \r\ntrailing tab\t\r\n \r\n";
    std::vector<Node> bodies;
    for (const std::string& text : {std::string("One line, no end"), kDots, wide, spaces}) {
        for (const auto encoding : {kBase64, kQuotedPrintable, kBit7, kBit8, kBinary}) {
            bodies.push_back(Leaf(text, encoding));
        }
    }
    for (const std::string& text : {umlauts, tooWide}) {
        for (const auto encoding : {kBase64, kQuotedPrintable, kBit8, kBinary}) {
            bodies.push_back(Leaf(text, encoding));
        }
    }
    bodies.push_back({kOctets, kBase64, AllBytes() + AllBytes()});
    bodies.push_back({kOctets, kQuotedPrintable, AllBytes() + "\r\n \t\r\n" + AllBytes()});
    bodies.push_back({kOctets, kBinary, AllBytes() + AllBytes()});
    return bodies;
}

std::vector<Node> EmptyBodies() {
    std::vector<Node> bodies;
    for (const auto encoding : {kBase64, kQuotedPrintable, kBit7, kBit8, kBinary}) {
        bodies.push_back(Leaf("", encoding));
        bodies.push_back(Leaf("\r\n", encoding));
    }
    return bodies;
}

Plan NestedAlternatives() {
    const Node page = {Text(SubType::html), kQuotedPrintable, "<p>Grüße</p>\r\n", "utf-8"};
    const Node related = Group(SubType::related, {page, File("dot.png")});
    const Node inner = Group(SubType::alternative, {Leaf("inner\r\n"), related});
    const Node outer = Group(SubType::alternative, {Leaf("outer\r\n"), inner});
    return {"alternatives", Group(SubType::mixed, {outer, inner, File("last.bin")})};
}

Plan Deep(unsigned depth) {
    Node node = Leaf("the bottom\r\n");
    for (unsigned i = 0; i < depth; ++i) node = Group(SubType::mixed, {node, Leaf("beside")});
    return {"deep_" + std::to_string(depth), node};
}

Plan Streamed(const std::string& name, std::vector<Node> bodies, bool inFiles) {
    Plan plan{name, Group(SubType::mixed, std::move(bodies))};
    for (Node& body : plan.top.children) body.inFile = inFiles;
    plan.subject = "Plain";
    plan.streamed = true;
    return plan;
}

std::vector<Plan> MakePlans() {
    std::vector<Node> files = {File("plain"), File("two words.txt"), File(R"(quo"te\.txt)")};
    return {
        Fields(),
        LongAsciiSubject("subject_words", Repeat("several words ", 40) + "end"),
        LongAsciiSubject("subject_spaces", "two  spaces   three" + Repeat("  twice", 30)),
        LongAsciiSubject("subject_wide", "a word of 400: " + Repeat("w", 400) + " end"),
        FileNames(),
        {"encodings", Group(SubType::mixed, EncodedBodies())},
        {"empty", Group(SubType::mixed, EmptyBodies())},
        {"one_quoted_printable", Leaf(kDots + "Grüße\r\n", kQuotedPrintable)},
        {"one_base64", {kOctets, kBase64, AllBytes()}},
        {"one_8bit", Leaf("Grüße\r\n", kBit8)},
        NestedAlternatives(),
        Deep(90),
        Streamed("streamed", EncodedBodies(), false),
        Streamed("streamed_files", EncodedBodies(), true),
        Streamed("streamed_names", std::move(files), true),
        Streamed("streamed_empty", EmptyBodies(), false),
    };
}

/// Writes a message and its description. @return false when that fails.
bool WriteMessage(const Plan& plan, const std::string& folder) {
    const std::string path = folder + "/" + plan.name + ".eml";
    const std::unique_ptr<MIME::Part> tree = MakeTree(plan, folder);
    if (plan.streamed) {
        if (!tree->Write(MIME::File(AnsiStr(path)))) return false;
    } else {
        const AnsiStr text = tree->Serialize(false);
        std::ofstream(path, std::ios::binary) << std::string_view(text);
        if (text.IsEmpty()) return false;
    }
    std::ofstream description(folder + "/" + plan.name + ".json");
    description << Describe(plan).dump(1, ' ', true) << '\n';
    return description.good();
}

int WriteMessages(const std::string& folder) {
    for (const Plan& plan : MakePlans()) {
        if (WriteMessage(plan, folder)) continue;
        std::fprintf(stderr, "cannot write %s\n", plan.name.c_str());
        return 1;
    }
    return 0;
}

// ------------------------------------------------------------------------------------ encoders --

/// Seeded texts that are rich in what encoders treat differently.
class RandomTexts {
public:
    explicit RandomTexts(unsigned seed) : engine_(seed) {}

    unsigned Draw(unsigned below) { return static_cast<unsigned>(engine_() % below); }

    std::string Join(const std::vector<std::string>& pieces) {
        std::string text;
        for (unsigned count = Draw(Draw(10) == 0 ? 400 : 40); count > 0; --count) {
            text += pieces[Draw(static_cast<unsigned>(pieces.size()))];
        }
        return text;
    }

    /// Well-formed UTF-8 on one line.
    std::string Line() {
        switch (Draw(3)) {
            case 0:
                return Join({"a", "Z", "7", "word", " ", ".", "_", "?", "=", "\"", "\\"});
            case 1:
                return Join({"ü", "é", "東", "😀", "x", " ", "%41", "=", "_", "'", "*"});
            default:
                return Join({"plainword", "quite-a-long-word-without-spaces", "ß", "(", ";"});
        }
    }

    /// Anything but NUL.
    std::string Bytes() {
        std::string text;
        for (unsigned count = Draw(200); count > 0; --count) {
            text += static_cast<char>(1 + Draw(255));
        }
        return text;
    }

    /// Text with line ends of every kind, white space before them, and odd bytes.
    std::string Body() {
        return Draw(4) == 0
                   ? Bytes()
                   : Join({"\r\n", "\r\n", "\n", "\r", " ", "\t", "=", ".", "text ", "Grüße",
                           std::string(1, '\0'), "\xFF", "From ", "averylongword"});
    }

private:
    std::mt19937 engine_;
};

void PrintHex(std::string_view bytes) {
    std::putchar('\t');
    for (const char c : bytes) std::printf("%02x", static_cast<unsigned char>(c));
}

void PrintCase(const char* encoder, std::string_view in, std::string_view out) {
    std::fputs(encoder, stdout);
    PrintHex(in);
    PrintHex(out);
    std::putchar('\n');
}

AnsiStr MakeDisposition(const AnsiStr& value, bool useEncodedWords) {
    return Encoding::FoldHeader(AnsiStr("Content-Disposition: attachment;") +
                                Encoding::EncodeParameter("filename", value, useEncodedWords));
}

int PrintCases(unsigned seed, unsigned count) {
    RandomTexts random(seed);
    for (unsigned i = 0; i < count; ++i) {
        const AnsiStr line(random.Line());
        const AnsiStr bytes(random.Bytes());
        const AnsiStr body(random.Body());
        PrintCase("QEncode", line, Encoding::QEncode(line, false));
        PrintCase("QEncode", bytes, Encoding::QEncode(bytes, true));
        PrintCase("Subject", line,
                  Encoding::FoldHeader(AnsiStr("Subject: ") + Encoding::QEncode(line, true)));
        PrintCase("EncodeParameter", line, MakeDisposition(line, false));
        PrintCase("EncodeParameterWords", line, MakeDisposition(line, true));
        PrintCase("QPEncode", body, Encoding::QPEncode(body));
    }
    return 0;
}

}  // namespace
}  // namespace Interop

int main(int argc, char** argv) {
    const std::string_view what = argc > 1 ? argv[1] : "";
    if (what == "messages" && argc == 3) return Interop::WriteMessages(argv[2]);
    if (what == "encoders" && argc == 4) {
        return Interop::PrintCases(static_cast<unsigned>(std::atoi(argv[2])),
                                   static_cast<unsigned>(std::atoi(argv[3])));
    }
    std::fputs("usage: interop_generate messages FOLDER | encoders SEED N\n", stderr);
    return 2;
}
