// Reads messages and builds trees, and dumps them with all that the writers make of them.

#include <iterator>
#include <memory>

#include "cases.h"
#include "generate.h"
#include "kivgui/error.h"
#include "kivgui/memory_file.h"
#include "mime/mime.h"

namespace Behaviour {

namespace {

namespace fs = std::filesystem;
using MIME::AnsiStr;
using std::string;
using std::string_view;

unsigned CountFiles() {
    return static_cast<unsigned>(std::distance(fs::directory_iterator(g_settings.temporary), {}));
}

void RemoveFiles() {
    for (const auto& entry : fs::directory_iterator(g_settings.temporary)) fs::remove(entry.path());
}

/// What the writers make of a tree.
void AddWritings(Dump& dump, MIME::Part& part) {
    const MIME::File target{AnsiStr(g_settings.output.c_str())};
    const auto write = [&](AnsiStr* contentType) {
        KivGuiBase::SetLastError(0);
        const bool written = part.Write(target, contentType);
        dump.Add("written", written);
        if (!written) dump.Add("last error", KivGuiBase::GetLastError());
        dump.Add("text", MaskBoundaries(ReadBytes(g_settings.output.string())));
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
        const string body = random_.OneIn(3)   ? MakeBodyText(random_)
                            : random_.OneIn(2) ? MakeLongLines(random_)
                                               : MakeBytes(random_, 300);
        if (random_.OneIn(3)) {
            const string path =
                (g_settings.temporary / ("body" + std::to_string(++files_))).string();
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

}  // namespace

void RunFile(const string& label, const string& path) {
    if (!IsWanted(label)) return;
    Input input;
    input.text = ReadBytes(path);
    RunReadings(label, input, path, nullptr);
    // A body whose type is beside it, or the text after the header block with an invented type.
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

}  // namespace Behaviour
