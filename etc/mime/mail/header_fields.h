#pragma once

#include <string_view>

#include "mime/mail/mail.h"
#include "mime/mail/message_tree.h"
#include "mime/parser/fields.h"
#include "mime/parser/reading.h"

namespace MIME {

/// Takes the fields of an entity, in order; returns false to stop.
class FieldVisitor {
public:
    virtual bool Take(const Field& field) = 0;

protected:
    ~FieldVisitor() = default;
};

/// Gives the fields of an entity to a visitor. Nothing is kept: each walk reads the header block again.
///
/// @param initial  of the names that are wanted, in either case; the visitor may get others too. 0: all.
void VisitFields(const MessageTree& tree, uint32_t index, FieldVisitor& visitor,
                 char initial = '\0');

/// The length of the field that begins the text: to the line end that no blank follows, included.
size_t MeasureField(std::string_view text) noexcept;

/// Puts fields into a map as the mail rules do: the first of each name, decoded, its parameters taken apart.
/// Bytes that are not UTF-8 stay for the one who asks: each value is read by itself, since one that is
/// UTF-8 may have a neighbour that is not. Throws std::bad_alloc.
class FieldStore {
public:
    explicit FieldStore(HeaderMap& headers);
    FieldStore(const FieldStore&) = delete;
    FieldStore& operator=(const FieldStore&) = delete;

    void Put(const Field& field);

private:
    HeaderMap& headers_;
    const ReadOptions options_ = ReadOptions::Mail();
    AnsiStr error_;
    Reading reading_;
    FieldReader fields_;
};

/// Puts the first Content-Type and the first Content-Disposition field of an entity, their parameters
/// decoded, into `headers`, which is empty. Throws std::bad_alloc.
void ReadContentFields(const MessageTree& tree, uint32_t index, HeaderMap& headers);

/// An identifier without the white space and the angle brackets around it.
std::string_view TrimBrackets(std::string_view id) noexcept;

/// The value of a field of identifiers, without angle brackets (RFC 5322, 3.6.4).
std::vector<std::string> SplitIdentifiers(std::string_view value);

}  // namespace MIME
