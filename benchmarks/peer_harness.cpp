// Runs the library over a folder of messages, in the form in which several MIME libraries are compared on
// the same messages (harness.h).
//
//   a  read every message with the exact rules; each decoded body is written to a new file
//   m  the same with the mail rules
//   p  parse every message as a mail; nothing is decoded
//   b  parse every message as a mail; each body is decoded into memory
//   e  write trees whose bodies are held decoded in files, one new file per message
//   w  the same with bodies held in memory
//   h  decode 1,000,000 header fields
//   s  print the sha256 of all decoded bodies in document order, untimed
//   t  the same of what b decodes
//
// The least work that the same bytes need, without the library, to compare with:
//   A  each decoded body is written to a new file with one write
//   P  each message is searched for a delimiter that never comes
//   B  each message is copied into memory that is there already
//   E  each message is written to a new file with one write
//   H  each value of 1,000,000 header fields is copied into memory that is there already

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "harness.h"
#include "mime/decoding.h"
#include "mime/mail.h"
#include "mime/mime.h"

namespace {

using Harness::Counts;
using Harness::Fail;
using Harness::Run;

std::unique_ptr<MIME::Part> Read(const std::string& message,
                                 MIME::Bodies bodies = MIME::Bodies::files) {
    auto tree = std::make_unique<MIME::Part>();
    MIME::AnsiStr error;
    MIME::ReadOptions options;
    options.bodies = bodies;
    options.memoryLimit = MIME::AnsiStr::kMaxLength;
    if (!tree->Read(message.data(), message.size(), error, options)) Fail(error.GetStr());
    return tree;
}

Counts ReadAsMail(const std::string& message) {
    static const auto options = [] {
        auto mail = MIME::ReadOptions::Mail();
        mail.ownFiles = false;  // deleting them is not timed
        return mail;
    }();
    MIME::Part tree;
    MIME::AnsiStr error;
    if (!tree.Read(message.data(), message.size(), error, options)) Fail(error.GetStr());
    return {};
}

/// Calls `use` with every part that has a body file, in document order.
void ForEachLeaf(const MIME::Part& top, const std::function<void(const MIME::Part&)>& use) {
    std::vector<const MIME::Part*> waiting{&top};
    while (!waiting.empty()) {
        const MIME::Part* part = waiting.back();
        waiting.pop_back();
        for (unsigned i = part->parts.GetCount(); i-- > 0;) waiting.push_back(part->parts[i]);
        if (!part->data.file.IsEmpty()) use(*part);
    }
}

MIME::Mail Parse(const std::string& message) {
    MIME::Result<MIME::Mail> mail = MIME::Mail::Parse(std::string_view(message));
    if (!mail) Fail(std::string(mail.error().GetText()));
    return std::move(*mail);
}

/// Parses a message and looks at the place of every entity.
Counts ParseOnly(const std::string& message) {
    const MIME::Mail mail = Parse(message);
    Counts counts;
    for (const MIME::Entity& entity : mail.GetEntities()) {
        if (entity.HasChildren()) continue;
        counts.Add(entity.GetBodyRange().size);
    }
    return counts;
}

/// Calls `use` with every decoded body, in document order.
void ForEachBody(const std::string& message, const std::function<void(const std::string&)>& use) {
    const MIME::Mail mail = Parse(message);
    for (const MIME::Entity& entity : mail.GetEntities()) {
        if (!entity.HasChildren()) use(entity.Decode());
    }
}

/// Decodes all bodies.
Counts DecodeAll(const std::string& message) {
    Counts counts;
    ForEachBody(message, [&](const std::string& body) {
        counts.Add(body.size());
        Harness::Touch(body);
    });
    return counts;
}

void DecodeField(const Harness::HeaderField& field) {
    switch (field.kind) {
        case Harness::HeaderField::Kind::text:
            Harness::Touch(MIME::Decoding::Words(MIME::AnsiStr(field.value)));
            break;
        case Harness::HeaderField::Kind::addresses:
            for (const MIME::Address& address : MIME::AddressList::Parse(field.value)) {
                Harness::Touch(address.GetAddress());
            }
            break;
        case Harness::HeaderField::Kind::date:
            if (MIME::Date::Parse(field.value)) Harness::Touch(field.value);
    }
}

void DigestFiles(Run& run) {
    run.Digest([&](const auto& use) {
        for (const auto& message : run.GetMessages()) {
            ForEachLeaf(*Read(message), [&](const MIME::Part& leaf) {
                const std::filesystem::path path = leaf.data.file.GetPath().GetStr();
                use(Harness::ReadWholeFile(path));
                std::filesystem::remove(path);
            });
        }
    });
}

void DigestBodies(Run& run) {
    run.Digest([&](const auto& use) {
        for (const auto& message : run.GetMessages()) ForEachBody(message, use);
    });
}

void WriteTrees(Run& run, MIME::Bodies held) {
    std::vector<std::unique_ptr<MIME::Part>> trees;
    const Harness::WorkFolder bodies(run.GetFolder().parent_path());
    for (const auto& message : run.GetMessages()) trees.push_back(Read(message, held));
    run.Measure([&] {
        size_t number = 0;
        for (const auto& tree : trees) {
            if (!tree->Write(MIME::File(run.GetFileName(number++).c_str()))) Fail("write failed");
        }
        return Counts();
    });
}

// ------------------------------------------------------------------------------ the limits --

void StoreTexts(Run& run, const std::vector<std::string>& texts) {
    run.Measure([&] {
        size_t number = 0;
        for (const std::string& text : texts) {
            std::ofstream file;
            file.rdbuf()->pubsetbuf(nullptr, 0);
            file.open(run.GetFileName(number++), std::ios::binary);
            if (!file.write(text.data(), static_cast<std::streamsize>(text.size()))) {
                Fail("write failed");
            }
        }
        return Counts();
    });
}

void StoreBodies(Run& run) {
    std::vector<std::string> bodies;
    for (const auto& message : run.GetMessages()) {
        ForEachBody(message, [&](const std::string& body) { bodies.push_back(body); });
    }
    StoreTexts(run, bodies);
}

void CopyMessages(Run& run) {
    size_t longest = 0;
    for (const auto& message : run.GetMessages()) longest = std::max(longest, message.size());
    std::string memory(longest, '\0');
    run.MeasureEach([&](const std::string& message) {
        std::memcpy(memory.data(), message.data(), message.size());
        Harness::Touch(memory);
        return Counts{1, message.size()};
    });
}

void CopyFields(Run& run) {
    std::string memory;
    run.MeasureFields([&](const Harness::HeaderField& field) {
        memory.assign(field.value);
        Harness::Touch(memory);
    });
}

Counts SearchMessage(const std::string& message) {
    constexpr std::string_view kNever = "\r\n--=_Never_0123456789abcdef01234567";
    if (memmem(message.data(), message.size(), kNever.data(), kNever.size()) != nullptr) {
        Fail("a message has the delimiter that no message has");
    }
    return {1, message.size()};
}

struct Task {
    const char* name;
    std::function<void(Run& run)> perform;
};

const Task kTasks[] = {
    {"a",
     [](Run& run) {
         run.MeasureEach([](const std::string& message) { return Read(message), Counts(); });
     }},
    {"m", [](Run& run) { run.MeasureEach(ReadAsMail); }},
    {"p", [](Run& run) { run.MeasureEach(ParseOnly); }},
    {"b", [](Run& run) { run.MeasureEach(DecodeAll); }},
    {"e", [](Run& run) { WriteTrees(run, MIME::Bodies::files); }},
    {"w", [](Run& run) { WriteTrees(run, MIME::Bodies::memory); }},
    {"h", [](Run& run) { run.MeasureFields(DecodeField); }},
    {"s", DigestFiles},
    {"t", DigestBodies},
    {"A", StoreBodies},
    {"P", [](Run& run) { run.MeasureEach(SearchMessage); }},
    {"B", CopyMessages},
    {"E", [](Run& run) { StoreTexts(run, run.GetMessages()); }},
    {"H", CopyFields},
};

}  // namespace

int main(int argc, char** argv) {
    Run run(argc, argv, "kivmime", "a m p b e w h s t; limits: A P B E H");
    for (const Task& task : kTasks) {
        if (task.name == run.GetTask()) return task.perform(run), 0;
    }
    run.Skip();
    return 0;
}
