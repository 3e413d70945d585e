#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "mime/foundation/file_access.h"
#include "mime/parser/fields.h"
#include "mime/parser/scanner.h"

namespace MIME {

/// The file for a part's body, not made yet: "mimeio-" and the "filename" parameter of
/// Content-Disposition, or else Content-ID ("tmp" when empty) with the extension of Content-Type
/// ("bin" when unknown). The fields it asks for are added, empty, where they are missing.
/// Empty when memory runs out.
File MakeBodyFile(HeaderMap& headers) noexcept;

/// The value of Content-ID, which is added, empty, when it is missing.
const AnsiStr& GetContentID(HeaderMap& headers) noexcept;

/// Stores one decoded body: in a new temporary file, or in memory for as long as it is small.
class BodyStore final : public BodyOutput {
public:
    /// @param files  the parts whose body files are removed when reading fails.
    BodyStore(Part& part, Reading& reading, std::vector<Part*>& files) noexcept
        : part_(part), reading_(reading), files_(files) {}

    /// @param expectedSize  of the body, in bytes; only a hint.
    bool Open(int64_t expectedSize);
    /// Ends the body, which then is in `data` of the part.
    bool Close() noexcept;
    bool Fail() noexcept override;

private:
    bool WriteBytes(std::string_view bytes) noexcept override;
    char* MakeRoom(unsigned size) noexcept override;
    void CommitRoom(unsigned size) noexcept override;

    bool OpenFile(int64_t expectedSize);
    bool MoveToFile() noexcept;
    bool Grow(uint64_t size) noexcept;

    Part& part_;
    Reading& reading_;
    std::vector<Part*>& files_;
    std::optional<FileAccess> file_;
    bool isInMemory_ = false;
    bool isTooMuch_ = false;  ///< the limit of all bodies was passed
    Blob memory_;
    unsigned used_ = 0;  ///< bytes of `memory_`
};

/// Builds the tree of a reading: maps of fields, `Info`, bodies in files or memory, children in the
/// order of the text but for those that "start" names.
class TreeBuilder final : public Builder {
public:
    TreeBuilder(Part& top, Reading& reading) noexcept
        : top_(top), reading_(reading), fields_(reading) {}

    bool BeginEntity() override;
    bool TakeField(std::string_view name, std::string_view value) override;
    bool TakeContentType(std::string_view value) override;
    bool EndHeader(std::string_view text, bool isInDigest, EntityShape& shape) override;
    BodyCodec* BeginBody(AnsiStr& contentLength) override;
    bool EndBody(bool isComplete) override;
    void TakePreamble(std::string_view text) override { GetPart().preamble = text; }
    void NoteClosingBoundary() override { closed_ = &GetPart(); }
    void TakeEpilogue(std::string_view text) override { closed_->epilogue = text; }
    void DropBoundary() override { GetPart().info.boundary = AnsiStr(); }
    bool EndEntity() override;

    /// Reading failed: the top keeps what was complete, its children in their order.
    void Abandon() noexcept;
    /// Removes the body files, by option, and their names from the tree.
    void RemoveFiles() noexcept;

private:
    /// An entity that has not ended.
    struct Open {
        Part* part;
        std::unique_ptr<Part> owned;  ///< none for the top
        AnsiStr start;                ///< the Content-ID of the root part, angle brackets included
        SharedArray<unsigned> roots;  ///< indices of the children that have it, ascending
    };

    Part& GetPart() noexcept { return *open_.back().part; }
    bool KeepPlace(std::string_view name, std::string_view value) noexcept;
    bool KeepFields(std::string_view text) noexcept;
    static void StateNoEncoding(Part& part) noexcept;
    static void PutRootsFirst(Open& parent) noexcept;
    static bool Attach(Open& parent, std::unique_ptr<Part>& child) noexcept;

    Part& top_;
    Reading& reading_;
    FieldReader fields_;
    const char* block_ = nullptr;           ///< the start of the header block being read
    SharedArray<FieldList::Place> places_;  ///< of its fields, by the mail rules
    std::vector<Open> open_;                ///< from the top down
    Part* closed_ = nullptr;                ///< the multipart whose closing boundary line came last
    std::vector<Part*> files_;              ///< the parts with body files
    std::unique_ptr<Part> dropped_;         ///< the child that could not be attached
    std::optional<BodyStore> store_;
    std::unique_ptr<BodyCodec> codec_;
};

}  // namespace MIME
