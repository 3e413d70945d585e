#include "mime/writing/body_source.h"

#include <algorithm>
#include <new>
#include <utility>

#include "kivgui/kernels/vector16.h"
#include "kivgui/utf8.h"
#include "mime/writing/pieces.h"

namespace MIME {

namespace {

using KivGuiBase::CountLeading;
using KivGuiBase::Vector16;

class TextSource final : public BodySource {
public:
    explicit TextSource(std::string bytes) noexcept : bytes_(std::move(bytes)) {}
    void Read(const Take& take) const override {
        if (!bytes_.empty()) take(bytes_);
    }

private:
    std::string bytes_;
};

class ViewSource final : public BodySource {
public:
    explicit ViewSource(std::string_view bytes) noexcept : bytes_(bytes) {}
    void Read(const Take& take) const override {
        if (!bytes_.empty()) take(bytes_);
    }

private:
    std::string_view bytes_;
};

class EntitySource final : public BodySource {
public:
    explicit EntitySource(const Entity& entity) noexcept : entity_(entity) {}
    void Read(const Take& take) const override {
        const Result<void> decoded = entity_.DecodeTo([&](std::string_view piece) {
            take(piece);
            return true;
        });
        if (!decoded) throw std::bad_alloc();  // nothing else stops it
    }

private:
    Entity entity_;
};

/// The offset of the first CR or LF at `from` or after it; the size when there is none.
size_t FindLineEnd(std::string_view text, size_t from) noexcept {
    for (; text.size() - from >= Vector16::kSize; from += Vector16::kSize) {
        const Vector16 bytes(text.data() + from);
        const unsigned before = CountLeading(~(bytes.Are('\r') | bytes.Are('\n')));
        if (before != Vector16::kSize) return from + before;
    }
    return std::min(text.find_first_of("\r\n", from), text.size());
}

/// Makes each line end of a text CR LF, and drops a byte-order mark at its start.
class Canonicalizer {
public:
    explicit Canonicalizer(const Take& take) : out_(take) {}

    void Add(std::string_view piece) {
        if (isAtStart_) {
            start_ += piece.substr(0, KivGuiBase::kByteOrderMark.size());
            piece.remove_prefix(std::min(piece.size(), KivGuiBase::kByteOrderMark.size()));
            if (start_.size() < KivGuiBase::kByteOrderMark.size()) return;
            EndStart();
        }
        PutLines(piece);
    }
    void End() {
        if (isAtStart_) EndStart();
        out_.Flush();
    }

private:
    void EndStart() {
        isAtStart_ = false;
        PutLines(KivGuiBase::SkipByteOrderMark(start_));
    }
    /// The line end is written at a CR; an LF after it adds nothing.
    void PutLines(std::string_view text) {
        for (size_t begin = 0; begin < text.size();) {
            const size_t end = FindLineEnd(text, begin);
            if (end != begin) isAfterCr_ = false;
            out_.Put(text.substr(begin, end - begin));
            if (end == text.size()) return;
            if (text[end] == '\r' || !isAfterCr_) out_.Put("\r\n");
            isAfterCr_ = text[end] == '\r';
            begin = end + 1;
        }
    }

    PieceBuffer out_;
    std::string start_;
    bool isAtStart_ = true;
    bool isAfterCr_ = false;
};

class CanonicalSource final : public BodySource {
public:
    explicit CanonicalSource(SharedBody text) noexcept : text_(std::move(text)) {}
    void Read(const Take& take) const override {
        Canonicalizer lines(take);
        text_->Read([&](std::string_view piece) { lines.Add(piece); });
        lines.End();
    }

private:
    SharedBody text_;
};

}  // namespace

SharedBody MakeTextSource(std::string bytes) {
    return std::make_shared<TextSource>(std::move(bytes));
}

SharedBody MakeViewSource(std::string_view bytes) {
    return std::make_shared<ViewSource>(bytes);
}

SharedBody MakeEntitySource(const Entity& entity) {
    return std::make_shared<EntitySource>(entity);
}

SharedBody MakeCanonicalSource(SharedBody text) {
    return std::make_shared<CanonicalSource>(std::move(text));
}

}  // namespace MIME
