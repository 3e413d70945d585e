// What a full disk does to everything that writes files. Nothing is lost without a word, and no half
// of a file stays where the library gave it its name.

#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <string>

#include "kivgui/error.h"
#include "kivgui/stream.h"
#include "kivsec/signing.h"
#include "mime/mime.h"
#include "small_disk.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

using MIME::TransferEncoding::keys;

/// A disk of 1 MiB, which takes the temporary files too.
class FullDiskTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(disk_.GetReason(), "");
        MIME::Test::System::SetTempFolder(disk_.GetPath());
        MIME::Test::WriteWholeFile(source_, std::string(kTooMuch, 'x'));
    }
    ~FullDiskTest() override { MIME::Test::System::SetTempFolder(folder_.GetPath()); }

    long CountFiles() const {
        return std::distance(std::filesystem::directory_iterator(disk_.GetPath()), {});
    }

    static constexpr size_t kTooMuch = 1'100'000;
    static constexpr size_t kFarTooMuch = 5'000'000;  // read in pieces
    const MIME::Test::TempFolder folder_;
    const std::string source_ = folder_.At("source");
    SmallDisk disk_{1 << 20};
    const File target_{AnsiStr(disk_.At("out"))};
};

/// Writes a multipart entity with one body, in memory or in a file.
bool WriteTree(const File& target, keys encoding, size_t size, const std::string& file = "") {
    MIME::Part top;
    auto* leaf = new MIME::Part;
    top.AddPart(leaf);
    leaf->info.transferEncoding = encoding;
    if (file.empty()) {
        leaf->data.content = AnsiStr(std::string(size, 'x'));
    } else {
        MIME::Test::WriteWholeFile(file, std::string(size, 'x'));
        leaf->data.file = File(AnsiStr(file));
    }
    return top.Write(target);
}

TEST_F(FullDiskTest, WritersSayWhy) {
    const auto fails = [this](const char* why, const std::function<bool()>& write) {
        SetLastError(kErrorNone);
        EXPECT_FALSE(write()) << why;
        EXPECT_EQ(GetLastError(), kErrorDiskFull) << why;
        target_.Remove(false);
    };
    for (const auto encoding : {keys::base64, keys::quoted_printable, keys::binary}) {
        for (const size_t size : {kTooMuch, kFarTooMuch}) {
            fails("content", [&] { return WriteTree(target_, encoding, size); });
            fails("file", [&] { return WriteTree(target_, encoding, size, source_); });
        }
        EXPECT_TRUE(WriteTree(target_, encoding, 700'000)) << "what fits is no failure";
        target_.Remove(false);
    }
    MIME::Part part;
    part.headers.FindOrInsert("Subject")->value.value = AnsiStr(std::string(kTooMuch, 'x'));
    fails("fields", [&] { return part.Write(target_); });
    part.rawText = AnsiStr(std::string(kTooMuch, 'x'));
#ifdef MIME_TEST_SIGNING
    fails("signing", [] {
        MIME::Message message;
        message.headers.FindOrInsert("Subject")->value.value = "x";
        message.rawText = AnsiStr("Subject: x\r\n\r\n" + std::string(kTooMuch, 'x'));
        return !message
                    .Sign(KivOssSec::Test::GetKeyFile("rsa.p12"), KivOssSec::Test::GetPassPhrase())
                    .IsEmpty();
    });
#endif
    fails("raw text", [&] { return part.Write(target_); });
    fails("copy", [&] { return File(AnsiStr(source_)).Copy(target_, true); });
    fails("stream", [&] {
        WriteStream out(target_, WriteStreamMode::create);
        return out.Write(std::string(kTooMuch, 'x').c_str()) && out.Close();
    });
    // Within the buffer of the writer, so that only the close can tell.
    fails("a device", [] { return WriteTree(File("/dev/full"), keys::binary, 1); });

    MIME::Data body;
    body.file = File(AnsiStr(source_));
    body.ownsFile = true;
    EXPECT_TRUE(MIME::Data(body).file.IsEmpty());
    EXPECT_EQ(CountFiles(), 0) << "no half of a copy";
}

TEST_F(FullDiskTest, ReadingSaysWhyAndKeepsWhatFitted) {
    std::string base64, lines;
    for (int i = 0; i < 40'000; ++i) {
        base64 += "QUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJDQUJD\r\n";
        lines += "0123456789 0123456789 0123456789 0123456789 0123456789\r\n";
    }
    const std::string line(4'000'000, 'Q');
    const std::string encoding = "Content-Transfer-Encoding: ";
    const std::string bodies[] = {
        "Content-Length: 2000000\r\n\r\n" + lines,
        encoding + "base64\r\n\r\n" + base64,
        encoding + "quoted-printable\r\n\r\n" + lines,
        encoding + "quoted-printable\r\n\r\n" + line,
        "Content-Length: 5000000\r\n" + encoding + "quoted-printable\r\n\r\n" + lines,
    };
    for (const MIME::Rules rules : {MIME::Rules::exact, MIME::Rules::mail}) {
        for (const std::string& body : bodies) {
            const std::string text =
                "Content-Type: multipart/x; boundary=a\r\n\r\n--a\r\n\r\nsmall\r\n--a\r\n" + body +
                "\r\n--a--";
            MIME::ReadOptions options;
            options.rules = rules;
            options.ownFiles = true;
            MIME::Part part;
            AnsiStr error;
            EXPECT_FALSE(part.Read(text.data(), text.size(), error, options));
            EXPECT_EQ(error, "write failed (No space left on the disk)") << body.substr(0, 50);
            EXPECT_EQ(part.parts.GetCount(), 1u) << body.substr(0, 50);
            for (const auto& file : std::filesystem::directory_iterator(disk_.GetPath())) {
                std::filesystem::remove(file);
            }
        }
    }
}

}  // namespace
}  // namespace KivGuiBase
