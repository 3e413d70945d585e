#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "fuzz/byte_source.h"
#include "mime/mime.h"
#include "support/temp_folder.h"

namespace MIME::Fuzz {

/// What writes the tree, which decides what the tree may hold.
enum class Writer {
    write,      ///< Part::Write, read by the exact rules
    serialize,  ///< Part::Serialize, read by the mail rules
};

/// A tree that its writer can write and the reader reads back, made from the commands of an input.
///
/// A command is a letter and its operands: numbers of one byte and texts (see ByteSource). It applies to
/// the entity that was begun last. Other bytes are passed over.
///
///     m l g          begin a multipart entity, a leaf, a message that is carried (serialize only)
///     u              end the innermost multipart or message
///     f NUMBER TEXT  set one of the usual fields
///     x TEXT TEXT    set another field: its name and its value
///     a NUMBER TEXT TEXT   add a mailbox to an address field: its name and its address
///     p NUMBER NUMBER TEXT  set a parameter of Content-Type or Content-Disposition
///     t TEXT         set the media type
///     e NUMBER       set the transfer encoding of a leaf
///     b TEXT, r NUMBER     append to the body of a leaf; double its body up to so many times
///     s NUMBER       put the body in memory, in a file (write only), or through SetContent
///     y TEXT         set the boundary of a multipart entity
///     c TEXT, v      set the charset of a leaf; make a multipart entity a whole message
class TreeSource {
public:
    /// @param folder  for the files of bodies, in which the names "body-..." are taken.
    TreeSource(ByteSource source, Writer writer, const Test::TempFolder& folder);

    Message& GetTop() { return top_; }
    /// The body of a leaf, as reading gives it back.
    const std::string& GetBody(const Part& leaf) const { return notes_.at(&leaf).body; }

private:
    enum class Kind { leaf, multipart, message };
    enum class Place { content, file, setContent };
    struct Notes {
        Kind kind = Kind::leaf;
        Place place = Place::content;
        std::string body;
    };

    void TakeCommand(char command);
    void Begin(Kind kind);
    static void BeginIn(Part& parent, Part* child);
    void End();
    void SetField(const AnsiStr& name, std::string_view value);
    void SetOtherField();
    void AddMailbox();
    void SetParameter();
    void SetType(std::string_view text);
    void SetEncoding(unsigned number);
    void SetBoundary(std::string_view text);
    void DoubleBody(unsigned times);

    void Finish(Part& part, std::vector<std::string>& boundaries);
    void FinishLeaf(Part& leaf, const std::vector<std::string>& boundaries);
    void PutBody(Part& leaf);
    bool HasDelimiter(const Part& leaf, const std::vector<std::string>& boundaries) const;
    std::string Clean(std::string_view value) const;

    ByteSource source_;
    const Writer writer_;
    const Test::TempFolder& folder_;
    Message top_;
    std::unordered_map<const Part*, Notes> notes_;
    std::vector<Part*> open_;  ///< entities that may get children
    Part* current_ = nullptr;
    size_t doubled_ = 0;  ///< bytes of bodies that no text of the input stands for
    unsigned files_ = 0;
};

}  // namespace MIME::Fuzz
