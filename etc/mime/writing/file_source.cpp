// Bodies that are in files. A body is read at least twice, to choose its encoding and boundaries and
// to write it; a file may be changed by others in between. What the second pass finds must then not be
// written under what the first one decided, so every whole pass is compared with the first, by size and
// by a hash that starts with a number nobody outside knows.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>

#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/random.h"
#include "mime/mail/file_error.h"
#include "mime/mail/whole.h"
#include "mime/writing/body_source.h"
#include "mime/writing/write_failure.h"

namespace MIME {

namespace {

using KivGuiBase::DiskFile;

struct Fingerprint {
    uint64_t size = 0;
    uint64_t hash = 0;
    friend bool operator==(const Fingerprint&, const Fingerprint&) noexcept = default;
};

constexpr uint64_t MixIn(uint64_t hash, uint64_t word) noexcept {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15;  // an odd number, so no two words give the same
    return hash ^ hash >> 32;
}

/// All pieces of a file but the last must be of whole words.
void AddPiece(Fingerprint& print, std::string_view piece) noexcept {
    print.size += piece.size();
    uint64_t word = 0;
    for (; piece.size() >= sizeof word; piece.remove_prefix(sizeof word)) {
        std::memcpy(&word, piece.data(), sizeof word);
        print.hash = MixIn(print.hash, word);
    }
    word = 0;
    std::copy(piece.begin(), piece.end(), reinterpret_cast<char*>(&word));
    print.hash = MixIn(print.hash, word);
}

class FileSource final : public BodySource {
public:
    explicit FileSource(const std::filesystem::path& path)
        : path_(path), file_(Whole([&] { return File(path); })) {}

    void Read(const Take& take) const override {
        DiskFile file;
        Open(file);
        const auto room = std::make_unique_for_overwrite<char[]>(kReadSize);
        const std::optional<Fingerprint> expected = GetExpected();
        Fingerprint print{.size = 0, .hash = seed_};
        for (unsigned got = 1; got != 0;) {
            if (!file.Read(room.get(), kReadSize, got)) FailWith(ErrorCode::cannotRead);
            const std::string_view piece(room.get(), got);
            AddPiece(print, piece);
            // One that grows must not be read on and on.
            if (expected && print.size > expected->size) FailAsChanged();
            if (!piece.empty()) take(piece);
        }
        if (!Expect(print)) FailAsChanged();
    }

private:
    static constexpr unsigned kReadSize = 0x10000;

    void Open(DiskFile& file) const {
        // The system would open what the path names up to its first NUL.
        if (std::string_view(file_.GetPath()).find('\0') != std::string_view::npos) {
            KivGuiBase::SetLastError(KivGuiBase::kErrorInvalidParameter);
            FailWith(ErrorCode::cannotOpen);
        }
        if (!file.Open(file_, DiskFile::Mode::read)) FailWith(ErrorCode::cannotOpen);
        if (file.GetSize() >= 0) return;
        const uint32_t code = KivGuiBase::GetLastError();
        if (code != KivGuiBase::kErrorAccessDenied) FailWith(ErrorCode::cannotRead);
        Error error(ErrorCode::cannotRead, "is a folder");
        error.SetSystemCode(code);
        throw WriteFailure{MakeFileError(error, path_)};
    }
    [[noreturn]] void FailWith(ErrorCode code) const {
        throw WriteFailure{MakeFileError(code, path_, KivGuiBase::GetLastError())};
    }
    [[noreturn]] void FailAsChanged() const {
        const Error error(ErrorCode::cannotRead, "has changed while it was read");
        throw WriteFailure{MakeFileError(error, path_)};
    }

    std::optional<Fingerprint> GetExpected() const {
        const std::lock_guard lock(mutex_);
        return first_;
    }
    /// Remembers the first whole pass. @return false when this one was another.
    bool Expect(const Fingerprint& print) const {
        const std::lock_guard lock(mutex_);
        if (!first_) first_ = print;
        return *first_ == print;
    }

    std::filesystem::path path_;
    File file_;
    uint64_t seed_ = KivGuiBase::GetPseudoRandomNumberEx(0, UINT64_MAX);
    mutable std::mutex mutex_;  ///< guards the next
    mutable std::optional<Fingerprint> first_;
};

}  // namespace

SharedBody MakeFileSource(const std::filesystem::path& path) {
    return std::make_shared<FileSource>(path);
}

SharedBody MakeFileSource(const File& file) {
    return std::make_shared<FileSource>(std::filesystem::path(file));
}

}  // namespace MIME
