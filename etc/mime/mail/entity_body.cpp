// Bodies, decoded when they are asked for. The codecs are those of the reader, fed with the range of the
// body instead of with what a scanner finds; their output is a buffer of the host, or one of bounded size.

#include <algorithm>
#include <cstring>
#include <exception>

#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/random.h"
#include "mime/encoding/uuencode.h"
#include "mime/mail/file_error.h"
#include "mime/mail/mail.h"
#include "mime/mail/message_tree.h"
#include "mime/mail/whole.h"
#include "mime/parser/body_codecs.h"
#include "mime/parser/text_output.h"

namespace MIME {

using KivGuiBase::DiskFile;
using KivGuiBase::File;

namespace {

/// Gives what is decoded to a sink, in pieces.
class SinkOutput final : public BodyOutput {
public:
    explicit SinkOutput(const Sink& sink) noexcept : sink_(sink) {}

    /// Ends the body.
    /// @return false when the sink has stopped it. Throws what the sink has thrown.
    bool Close() {
        Flush();
        if (thrown_ != nullptr) std::rethrow_exception(thrown_);
        return !isStopped_;
    }
    bool Fail() noexcept override { return false; }

private:
    bool WriteBytes(std::string_view bytes) noexcept override {
        if (isStopped_) return false;
        try {
            if (!bytes.empty() && !sink_(bytes)) isStopped_ = true;
        } catch (...) {
            thrown_ = std::current_exception();
            isStopped_ = true;
        }
        return !isStopped_;
    }
    char* MakeRoom(unsigned size) noexcept override {
        if (isStopped_) return nullptr;
        try {
            if (room_.size() < size) room_.resize(size);
            return room_.data();
        } catch (...) {
            thrown_ = std::current_exception();
            isStopped_ = true;
            return nullptr;
        }
    }
    void CommitRoom(unsigned size) noexcept override { WriteBytes({room_.data(), size}); }

    const Sink& sink_;
    std::vector<char> room_;
    std::exception_ptr thrown_;
    bool isStopped_ = false;
};

/// A multipart is given as it is, whatever its fields say; a carried message may be encoded.
TransferEncoding::keys GetEncoding(const MessageTree& tree, uint32_t index) noexcept {
    const EntityPlace& place = tree.GetPlace(index);
    const bool isMultipart = tree.HasChildren(index) && !place.isMessage;
    return isMultipart ? TransferEncoding::binary : place.encoding;
}

/// @return false when the output did.
bool DecodeBody(const MessageTree& tree, uint32_t index, BodyOutput& output) {
    const EntityPlace& place = tree.GetPlace(index);
    if (tree.IsUuencoded(index)) {
        return DecodeUuencoded(tree.Cut(place, place.begin, place.end), UuBlock(),
                               [&output](std::string_view piece) { return output.Write(piece); });
    }
    const char* const text = tree.GetText(place).data();
    ReadOptions options;
    options.rules = Rules::mail;
    AnsiStr error;
    Reading reading(text, Cursor(text + place.body, place.end - place.body), error, options,
                    nullptr);
    if (place.text == 0) reading.passed = tree.Pass(reading.cursor.GetNext());
    const TransferEncoding::keys encoding = GetEncoding(tree, index);
    const std::unique_ptr<BodyCodec> codec = MakeBodyCodec(encoding, output, reading);
    const std::unique_ptr<Delimiters> delimiters = Delimiters::Make(reading);
    delimiters->BeginBody(TransferEncoding::IsIdentity(encoding));
    return TakeBody(*codec, *delimiters, reading);
}

Error MakeWriteError(const std::filesystem::path& path) {
    return MakeFileError(ErrorCode::cannotWrite, path, KivGuiBase::GetLastError());
}

/// A new file that is removed again unless it was completed.
class NewFile {
public:
    NewFile(const std::filesystem::path& path, DiskFile::Mode mode)
        : path_(path), file_(Whole([&] { return File(path); })), isOpen_(out_.Open(file_, mode)) {}
    ~NewFile() {
        if (!isOpen_ || isComplete_) return;
        out_.Close();
        file_.Remove(false);
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    bool IsOpen() const noexcept { return isOpen_; }

    Result<void> Store(const Entity& entity) {
        const Result<void> decoded = entity.DecodeTo([this](std::string_view piece) {
            return out_.Write(piece.data(), static_cast<unsigned>(piece.size()));
        });
        isComplete_ = decoded && out_.Close();
        if (!isComplete_) return MakeWriteError(path_);
        return {};
    }

private:
    const std::filesystem::path& path_;
    File file_;
    DiskFile out_;
    bool isOpen_;
    bool isComplete_ = false;
};

/// The name for the n-th try, from 1: a number before its extension. A message may have any number of
/// files of one name, so that from some number on only a random one finds a place soon.
std::string MakeNameToTry(const std::string& name, unsigned attempt) {
    constexpr unsigned kNumbers = 20;
    if (attempt == 1) return name;
    size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) dot = name.size();
    uint64_t number = attempt;
    if (attempt > kNumbers && !KivGuiBase::GetUnpredictableBytes(&number, sizeof number)) return {};
    return name.substr(0, dot) + "-" + std::to_string(number) + name.substr(dot);
}

}  // namespace

Result<void> Entity::DecodeTo(const Sink& sink) const {
    SinkOutput output(sink);
    const bool isWhole = DecodeBody(*tree_, index_, output);
    if (output.Close() && isWhole) return {};
    return Error(ErrorCode::refused);
}

std::string Entity::Decode() const {
    std::string body;
    const std::string_view raw = GetRawBody();
    TextOutput output(body, nullptr);
    const TransferEncoding::keys encoding = GetEncoding(*tree_, index_);
    if (!IsUuencoded()) output.Reserve(raw.size(), encoding);
    if (!IsUuencoded() && TransferEncoding::IsIdentity(encoding)) {
        body = raw;
        return body;
    }
    if (!DecodeBody(*tree_, index_, output) || !output.Close()) throw std::bad_alloc();
    return body;
}

Result<size_t> Entity::DecodeInto(std::span<char> memory) const {
    size_t used = 0;
    const Result<void> decoded = DecodeTo([&](std::string_view piece) {
        if (piece.size() > memory.size() - used) return false;
        std::memcpy(memory.data() + used, piece.data(), piece.size());
        used += piece.size();
        return true;
    });
    if (!decoded) return Error(ErrorCode::tooMuchContent, "the body does not fit");
    return used;
}

uint64_t Entity::GetDecodedSize() const {
    uint64_t size = 0;
    const Result<void> decoded = DecodeTo([&](std::string_view piece) {
        size += piece.size();
        return true;
    });
    if (!decoded) throw std::bad_alloc();  // nothing else stops it
    return size;
}

std::string Entity::GetText() const {
    return DecodeText(Decode(), GetCharset(), tree_->charset).text;
}

Result<void> Entity::SaveAs(const std::filesystem::path& path) const {
    NewFile file(path, DiskFile::Mode::create);
    if (!file.IsOpen()) return MakeWriteError(path);
    return file.Store(*this);
}

Result<std::filesystem::path> Entity::SaveInto(const std::filesystem::path& folder) const {
    const std::string name = GetSafeFileName();
    for (unsigned attempt = 1;; ++attempt) {
        const std::string numbered = MakeNameToTry(name, attempt);
        if (numbered.empty()) return MakeWriteError(folder);
        // The name is UTF-8 on every system, and holds no separator.
        const std::filesystem::path path =
            folder / std::filesystem::path(std::u8string(numbered.begin(), numbered.end()));
        NewFile file(path, DiskFile::Mode::createNew);
        if (file.IsOpen()) {
            Result<std::filesystem::path> saved =
                path;  // nothing may fail once the file is complete
            const Result<void> stored = file.Store(*this);
            if (!stored) return stored.error();
            return saved;
        }
        if (KivGuiBase::GetLastError() != KivGuiBase::kErrorFileExists) return MakeWriteError(path);
    }
}

}  // namespace MIME
