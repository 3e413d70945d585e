#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mime/mail/mail_folder.h"
#include "mime/mail/mapped_text.h"
#include "mime/mail/text_charset.h"
#include "mime/mime.h"
#include "mime/parser/fields.h"
#include "mime/parser/scanner.h"

namespace MIME {

/// Where an entity is in its text; offsets in bytes from the start of that.
struct EntityPlace {
    static constexpr uint32_t kNone = UINT32_MAX;

    uint64_t begin = 0;      ///< of its header block, an mbox line before it included
    uint64_t fields = 0;     ///< the first field
    uint64_t fieldsEnd = 0;  ///< the empty line after the fields
    uint64_t body = 0;       ///< after the empty line
    uint64_t end = 0;        ///< without the line end that belongs to the next boundary line
    uint32_t parent = kNone;
    uint32_t subtreeEnd = 0;  ///< one past the last entity inside it
    uint32_t number = 0;      ///< among its parent's children, from 1; 0 for the top
    TransferEncoding::keys encoding = TransferEncoding::binary;
    uint32_t text = 0;       ///< which text these offsets are in: see MessageTree::GetText
    bool isMessage = false;  ///< its one child is the message that it carries
    bool hasBoundary = false;
    bool isInDigest = false;  ///< without a Content-Type field it is a message
    bool isPlainText = false;
};

struct MessageTree;

/// The uuencoded files in the texts of a message, as places of entities: their fields are the line
/// "begin", their parent is the text, and they are numbered in it. None is looked for before somebody
/// asks. Any thread.
class UuencodedFiles {
public:
    static constexpr size_t kMost = 1000;  ///< what follows is text

    /// All of them, in order.
    const std::vector<EntityPlace>& Find(const MessageTree& tree);
    /// Those that were found before.
    const std::vector<EntityPlace>& GetFound() const noexcept { return places_; }
    /// The decoded text that some are in; see MessageTree::GetText.
    std::string_view GetText(size_t index) const noexcept { return *texts_[index]; }

private:
    class Search;

    std::mutex mutex_;
    bool isSearched_ = false;
    std::vector<EntityPlace> places_;
    std::vector<std::unique_ptr<const std::string>> texts_;
};

/// A message as its text and the places of its entities, each before its children. What a Mail owns;
/// it does not change after it was read.
struct MessageTree {
    std::string_view text;
    std::string owned;                 ///< the text, when it was handed over
    std::optional<FolderEntry> entry;  ///< or when it is in a folder
    MappedText file;                   ///< or when it is that of a file
    AnsiStr contentType;               ///< the Content-Type value that came apart from the text
    bool hasContentType = false;
    TextCharset charset;
    std::vector<EntityPlace> places;
    std::vector<std::shared_ptr<const std::string>>
        decoded;  ///< carried messages that were encoded

    mutable UuencodedFiles files;

    /// The place of an entity, or of a uuencoded file that was found: these are numbered on.
    const EntityPlace& GetPlace(uint32_t index) const noexcept {
        return index < places.size() ? places[index] : files.GetFound()[index - places.size()];
    }
    /// May uuencoded files be in its body?
    bool HasText(uint32_t index) const noexcept {
        return GetPlace(index).isPlainText && !HasChildren(index);
    }
    bool IsUuencoded(uint32_t index) const noexcept { return index >= places.size(); }
    /// The text that an entity lies in: the whole, the decoded message that carries it, or a decoded
    /// body with uuencoded files.
    std::string_view GetText(const EntityPlace& place) const noexcept {
        if (place.text == 0) return text;
        const size_t index = place.text - 1;
        return index < decoded.size() ? std::string_view(*decoded[index])
                                      : files.GetText(index - decoded.size());
    }
    /// A range of that text.
    std::string_view Cut(const EntityPlace& place, uint64_t begin, uint64_t end) const noexcept {
        return GetText(place).substr(static_cast<size_t>(begin), static_cast<size_t>(end - begin));
    }
    /// A pass over the text, which begins at `next`.
    PassedPages Pass(const char* next) const noexcept {
        if (!owned.empty()) return {};
        return entry ? entry->GetFile().Pass(next) : file.Pass(next);
    }
    bool HasChildren(uint32_t index) const noexcept {
        return GetPlace(index).subtreeEnd > index + 1;
    }
};

/// Notes where things are, and makes nothing of them. Decodes bodies, into nothing, only when a report
/// wants to know what is wrong with them.
class PlaceBuilder final : public Builder {
public:
    PlaceBuilder(MessageTree& tree, Reading& reading) noexcept
        : tree_(tree), reading_(reading), fields_(reading), text_{0, 0, tree.text.data()} {}

    bool BeginEntity() override;
    bool TakeField(std::string_view name, std::string_view value) override;
    bool TakeContentType(std::string_view value) override;
    bool EndHeader(std::string_view text, bool isInDigest, EntityShape& shape) override;
    BodyCodec* BeginBody(AnsiStr& contentLength) override;
    bool EndBody(bool isComplete) override;
    void EnterText(const std::shared_ptr<const std::string>& text) override;
    void LeaveText() noexcept override;
    void TakePreamble(std::string_view /*text*/) override {}
    void NoteClosingBoundary() override {}
    void TakeEpilogue(std::string_view /*text*/) override {}
    void TakeBoundaryLine(const BoundaryLine& line) override;
    void DropBoundary() override { GetPlace().hasBoundary = false; }
    bool EndEntity() override;

    /// The path of the innermost entity that has not ended: "2.1".
    std::string GetPath() const;
    /// The whole text was read: what ends with it is given its end.
    void Finish() noexcept;

private:
    /// An entity that has not ended.
    struct Open {
        uint32_t index;
        uint32_t children = 0;
        uint32_t lastChild = EntityPlace::kNone;  ///< that may still have an epilogue
    };

    /// A text that is being read.
    struct Text {
        uint32_t number;   ///< EntityPlace::text of what is in it
        size_t firstOpen;  ///< of the open entities, the first in it
        const char* begin;
    };

    /// Takes a body without looking at it.
    class NoCodec final : public BodyCodec {
    public:
        bool Take(std::string_view /*piece*/) override { return true; }
        bool TakeLast(std::string_view /*piece*/) override { return true; }
    };

    void ClearScratch();
    bool SetShape(const char* where, bool isInDigest, EntityShape& shape);

    uint64_t GetOffset(const char* place) const noexcept {
        return static_cast<uint64_t>(place - text_.begin);
    }
    EntityPlace& GetPlace() noexcept { return tree_.places[open_.back().index]; }
    void SetEnd(uint32_t index, uint64_t end) noexcept;

    MessageTree& tree_;
    Reading& reading_;
    FieldReader fields_;
    std::string_view type_;      ///< the first Content-Type value of the entity being read
    std::string_view encoding_;  ///< and the first Content-Transfer-Encoding
    Part scratch_;               ///< or all fields, for a report or where these two are not plain
    std::vector<Open> open_;
    Text text_;
    std::vector<Text> outer_;  ///< the texts around it
    NoCodec noCodec_;
    std::unique_ptr<BodyOutput> nowhere_;
    std::unique_ptr<BodyCodec> codec_;
};

}  // namespace MIME
