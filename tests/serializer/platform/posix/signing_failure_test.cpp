#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "kivsec/signing.h"
#include "mime/serializer/message_signer.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

using KivGuiBase::GetLastError;
using KivGuiBase::GetStoredErrorMessage;
using KivGuiBase::SetErrorMessage;
using KivGuiBase::SetLastError;
using KivOssSec::Test::GetKeyFile;
using KivOssSec::Test::GetPassPhrase;
using Test::TempFolder;

/// Files of this process cannot grow beyond a size.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t size) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{size, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before_{};
    void (*handler_)(int);
};

constexpr unsigned kSize = 300'000;

/// Signs a message of kSize bytes, which fails, with `want` as the last error.
void ExpectFailure(uint32_t want, std::string_view wantMessage) {
    Message message;
    message.headers.FindOrInsert("Subject")->value.value = "x";
    message.rawText = std::string_view("Subject: x\r\n\r\n" + std::string(kSize - 14, 'x'));
    SetErrorMessage("from before");
    SetLastError(0);
    EXPECT_EQ(message.Sign(GetKeyFile("rsa.p12"), GetPassPhrase()), "");
    EXPECT_EQ(GetLastError(), want);
    EXPECT_EQ(GetStoredErrorMessage(), wantMessage);
}

TEST(SigningFailureTest, FilesThatCannotGrow) {
    const TempFolder folder;
    const AnsiStr reason = KivGuiBase::GetErrorMessage(KivGuiBase::kErrorFileTooLarge, 0, 1);
    {
        const FileSizeLimit limit(kSize / 2);
        ExpectFailure(KivGuiBase::kErrorFileTooLarge, "from before");
    }
    EXPECT_TRUE(folder.List().empty());
    {
        const FileSizeLimit limit(kSize + 500);  // the content fits, with its signature it does not
        ExpectFailure(KivGuiBase::kErrorFileTooLarge,
                      "Could not save signed message: " + std::string(std::string_view(reason)));
    }
    EXPECT_TRUE(folder.List().empty());
}

TEST(SigningFailureTest, NoFolderForTemporaryFiles) {
    const TempFolder folder;
    setenv("TMPDIR", folder.At("missing").c_str(), 1);
    ExpectFailure(KivGuiBase::kErrorFileNotFound, "from before");
}

/// Looks at the files while they are there.
struct Witness {
    static inline mode_t contentMode, outputMode;

    static mode_t GetMode(const File& file) {
        struct stat info {};
        return stat(file.GetPath().GetStr(), &info) == 0 ? info.st_mode & 0777 : 0;
    }
    bool Sign(const File& content, const File&, const AnsiStr&, bool) {
        contentMode = GetMode(content);
        return true;
    }
    bool SaveMIME(const File& output, const AnsiStr&, bool) {
        outputMode = GetMode(output);
        return true;
    }
};

TEST(SigningFailureTest, NobodyElseCanReadTheTemporaryFiles) {
    const TempFolder folder;
    const mode_t before = umask(0);
    Message message;
    message.headers.FindOrInsert("Subject")->value.value = "x";
    SignMessage<Witness>(message, File(), "");
    umask(before);
    EXPECT_EQ(Witness::contentMode, 0600u);
    EXPECT_EQ(Witness::outputMode, 0600u);
}

}  // namespace
}  // namespace MIME
