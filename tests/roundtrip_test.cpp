#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "kivgui/convert.h"
#include "mime/mime.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;
using Test::ReadWholeFile;
using Test::TempFolder;
using Test::WriteWholeFile;

AnsiStr ToStr(const std::string& text) {
    return AnsiStr(std::string_view(text));
}

/// Makes trees that can be written and read back: of any shape, with every transfer encoding,
/// bodies in memory and in files. The body of a leaf is kept beside the tree.
class TreeMaker {
public:
    TreeMaker(uint64_t seed, const TempFolder& folder) : random_(seed), folder_(folder) {}

    void MakeMultipart(Part& part, unsigned depth) {
        const std::string boundary = "=_b " + std::to_string(number_++) + "_";
        SetFields(part);
        part.info.boundary = ToStr(boundary);
        part.info.transferEncoding = TransferEncoding::binary;
        HeaderValue& type = part.headers.FindOrInsert(Header::Content_Type)->value;
        type.value = random_.Below(2) == 0 ? "multipart/mixed" : "Multipart/related";
        type.parameters.FindOrInsert("boundary")->value.value = part.info.boundary;
        for (size_t count = 1 + random_.Below(3); count > 0; --count) {
            Part* child = new Part;
            part.AddPart(child);
            if (depth > 0 && random_.Below(3) == 0) {
                MakeMultipart(*child, depth - 1);
            } else {
                MakeLeaf(*child);
            }
        }
    }

    /// The bodies of the leaves in document order, as reading gives them back.
    const std::vector<std::string>& GetBodies() const { return bodies_; }

private:
    void SetFields(Part& part) {
        // What a field without parameters can hold: anything but CR, NUL and ";".
        constexpr std::string_view kText = "abc \t\"\\\n\xC3=?:,<>()";
        constexpr const char* kNames[] = {"Subject", "X-1", "from", "Content-Description"};
        for (const char* name : kNames) {
            if (random_.Below(2) == 0) continue;
            part.headers.FindOrInsert(name)->value.value = ToStr(random_.Text(9, kText));
        }
        if (random_.Below(2) == 0) return;
        HeaderValue& field = part.headers.FindOrInsert("Content-Disposition")->value;
        field.value = "attachment";
        field.parameters.FindOrInsert("filename")->value.value =
            ToStr(random_.Text(random_.Below(6), "ab;\"\\/. \xC3"));
        field.parameters.FindOrInsert("size")->value.value = "17";
    }

    void MakeLeaf(Part& part) {
        constexpr TransferEncoding::keys kEncodings[] = {
            TransferEncoding::base64, TransferEncoding::quoted_printable, TransferEncoding::bit7,
            TransferEncoding::bit8, TransferEncoding::binary};
        SetFields(part);
        part.headers.FindOrInsert(Header::Content_Type)->value.value = "text/plain";
        part.info.transferEncoding = kEncodings[random_.Below(std::size(kEncodings))];
        part.headers.FindOrInsert(Header::Content_Transfer_Encoding)->value.value =
            TransferEncoding::GetStr(part.info.transferEncoding);
        const std::string body = MakeBody();
        PutBody(part.data, body, part.info.transferEncoding);
        bodies_.push_back(body);
        // Reading ends the last line of a quoted-printable body; a file may have that from there.
        if (part.info.transferEncoding == TransferEncoding::quoted_printable &&
            (part.data.file.IsEmpty() || !(body.empty() || body.ends_with("\r\n")))) {
            bodies_.back() += "\r\n";
        }
    }

    std::string MakeBody() {
        const size_t size = random_.Below(4) == 0 ? random_.Below(200'000) : random_.Below(300);
        switch (random_.Below(3)) {
            case 0:
                return random_.Bytes(size);
            case 1:
                return random_.Text(size, "--=_b \r\n.\t");
            default:
                return random_.Text(size, "abcdefghijklmnopqrstuvwxyz \r\n");
        }
    }

    void PutBody(Data& data, const std::string& body, TransferEncoding::keys encoding) {
        const size_t place = random_.Below(3);
        if (place == 0) {
            const std::string path = folder_.At("body" + std::to_string(number_++));
            WriteWholeFile(path, body);
            data.file = File(ToStr(path));
        } else if (place == 1 && encoding == TransferEncoding::base64) {
            const auto size = static_cast<unsigned>(body.size());
            data.content = KivGuiBase::Binary2B64Str(body.data(), size, 76, "\r\n");
            data.encoded = true;
        } else {
            data.content = ToStr(body);
        }
    }

    Random random_;
    const TempFolder& folder_;
    unsigned number_ = 0;
    std::vector<std::string> bodies_;
};

/// Compares fields; those with an empty value do not count, because writers leave them out.
std::string DumpFields(const HeaderMap& headers) {
    std::string dump;
    for (const HeaderMap::Node& field : headers) {
        if (field.value.value.IsEmpty()) continue;
        dump += Escape(field.key) + "|" + Escape(field.value.value);
        for (const ParameterMap::Node& parameter : field.value.parameters) {
            dump += "|" + Escape(parameter.key) + "|" + Escape(parameter.value.value);
        }
        dump += '\n';
    }
    return dump;
}

/// The tree as text: structure, fields and what `info` says of the transfer.
std::string Dump(const Part& part, const std::string& indent = "") {
    std::string dump = indent + std::string(TransferEncoding::GetStr(part.info.transferEncoding)) +
                       "|" + std::string(part.info.boundary) + "\n" + DumpFields(part.headers);
    for (const Part* child : part.parts) dump += Dump(*child, indent + "  ");
    return dump;
}

/// The bodies that reading left in files, in document order.
void AppendBodies(const Part& part, std::vector<std::string>& bodies) {
    if (!part.data.file.IsEmpty()) bodies.push_back(ReadWholeFile(part.data.file.GetPath()));
    for (const Part* child : part.parts) AppendBodies(*child, bodies);
}

std::vector<std::string> GetBodies(const Part& part) {
    std::vector<std::string> bodies;
    AppendBodies(part, bodies);
    return bodies;
}

class RoundtripTest : public testing::Test {
protected:
    std::string Write(Part& part, AnsiStr* contentTypeOut = nullptr) {
        EXPECT_TRUE(part.Write(File(ToStr(folder_.At("out"))), contentTypeOut));
        return ReadWholeFile(folder_.At("out"));
    }
    static void Read(Part& part, const std::string& text, const char* contentType = nullptr) {
        AnsiStr error;
        ASSERT_TRUE(part.Read(text.data(), text.size(), error, contentType))
            << error << "\n"
            << Escape(text.substr(0, 5000));
    }

    TempFolder folder_;
};

TEST_F(RoundtripTest, ReadingWhatWasWrittenGivesTheSameTree) {
    size_t bodies = 0;
    for (uint64_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        TreeMaker maker(seed, folder_);
        Part tree;
        maker.MakeMultipart(tree, 4);
        const std::string text = Write(tree);

        Part read;
        Read(read, text);
        ASSERT_EQ(Dump(read), Dump(tree));
        ASSERT_EQ(GetBodies(read), maker.GetBodies());
        bodies += maker.GetBodies().size();

        Part fromFile;
        AnsiStr error;
        ASSERT_TRUE(fromFile.Read(File(ToStr(folder_.At("out"))), error)) << error;
        ASSERT_EQ(Dump(fromFile), Dump(tree));
    }
    EXPECT_GT(bodies, 150u);
}

TEST_F(RoundtripTest, TheContentTypeMayTravelApart) {
    for (uint64_t seed = 100; seed < 130; ++seed) {
        SCOPED_TRACE(seed);
        TreeMaker maker(seed, folder_);
        Part tree;
        maker.MakeMultipart(tree, 3);
        AnsiStr contentType;
        const std::string text = Write(tree, &contentType);

        Part read;
        Read(read, text, contentType.GetStr());
        ASSERT_EQ(read.parts.GetCount(), tree.parts.GetCount());
        for (unsigned i = 0; i < tree.parts.GetCount(); ++i) {
            ASSERT_EQ(Dump(*read.parts[i]), Dump(*tree.parts[i]));
        }
        ASSERT_EQ(read.info.boundary, tree.info.boundary);
        ASSERT_EQ(GetBodies(read), maker.GetBodies());

        AnsiStr again;
        read.Write(File(ToStr(folder_.At("again"))), &again);
        EXPECT_EQ(again, contentType);
    }
}

// What does not come back as it was, so that a change of it is noticed.
TEST_F(RoundtripTest, Limits) {
    Part tree;
    tree.info.boundary = "b";
    tree.headers.FindOrInsert("Content-Type")->value.value = "multipart/mixed";
    tree.headers.Find("Content-Type")->value.parameters.FindOrInsert("boundary")->value.value = "b";
    HeaderValue& field = tree.headers.FindOrInsert("X")->value;
    field.value = "no atom";
    field.parameters.FindOrInsert("p")->value.value = "no atom";
    tree.headers.FindOrInsert("Y")->value.value = "a;b";
    Part* leaf = new Part;
    tree.AddPart(leaf);
    leaf->info.transferEncoding = TransferEncoding::quoted_printable;
    leaf->headers.FindOrInsert("Content-Transfer-Encoding")->value.value = "quoted-printable";
    leaf->data.content = "\xEF\xBB\xBFtext";

    Part read;
    Read(read, Write(tree));
    EXPECT_EQ(read.headers.Find("X")->value.value, "\"no atom\"") << "parameters follow it";
    EXPECT_EQ(read.headers.Find("X")->value.parameters.Find("p")->value.value, "no atom");
    EXPECT_EQ(read.headers.Find("Y")->value.value, "\"a") << "split at the semicolon";
    EXPECT_EQ(GetBodies(read), std::vector<std::string>{"text\r\n"}) << "no mark, a line end";

    Part second;
    Read(second, Write(read));
    EXPECT_EQ(GetBodies(second), GetBodies(read)) << "only once";
}

}  // namespace
}  // namespace MIME
