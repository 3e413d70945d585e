#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <mime/mail.h>

#include "files.h"
#include "inputs.h"

namespace Tool {

/// What is to be saved of a message; see Mail::GetAttachments. In a message of more than 8 MiB uuencoded
/// files are not looked for: that takes memory for each text in it.
std::vector<MIME::Entity> ListAttachments(const MIME::Mail& mail);

/// The place of an entity in the tree of its message.
struct Place {
    static constexpr size_t kNoParent = static_cast<size_t>(-1);

    size_t parent;      ///< its position in the list; kNoParent for the whole message
    unsigned depth;     ///< 0 for the whole message
    std::string index;  ///< "1" for the whole message, "1.2" for its second child; see Outline
    unsigned children = 0;
};

/// All entities, each before its children and the uuencoded files in it.
std::vector<MIME::Entity> ListEntities(const MIME::Mail& mail);

/// All entities of a message as a list, each before its children: a tree may be deeper than the stack.
///
/// The index of an entity more than 16 levels down is its position in the list, from "@1" for the
/// whole message: dotted indices of a deep tree would take memory quadratic in its depth.
class Outline {
public:
    Outline() = default;
    explicit Outline(const MIME::Mail& mail);
    /// @param entities  ListEntities of a mail.
    explicit Outline(const std::vector<MIME::Entity>& entities);

    /// @param mark  what precedes the number of the last in its index: "u" for a uuencoded file.
    void Add(size_t parent, const char* mark = "");
    size_t GetCount() const { return places_.size(); }
    const Place& operator[](size_t position) const { return places_[position]; }
    auto begin() const { return places_.begin(); }
    auto end() const { return places_.end(); }

    /// The position of the entity with that index, dotted or by position.
    std::optional<size_t> Find(const std::string& index) const;

private:
    std::vector<Place> places_;
};

/// The index of the entity whose path the library gives: "" is the whole message, "2.1" the first child of
/// its second.
std::string MakeIndex(std::string_view path);

/// A header field to be shown.
struct ShownField {
    std::string name;
    std::string value;
    std::vector<MIME::Parameter> parameters;
};

/// A message as the commands see it that take both kinds of rules. Entities are named by their
/// position in the outline.
class Message {
public:
    virtual ~Message() = default;
    /// @throws InputFailure
    static std::unique_ptr<Message> Read(const Input& input, const Sources& sources);

    const Outline& GetOutline() const { return outline_; }
    /// It has no body of its own: it is a multipart, or carries a message.
    virtual bool HasChildren(size_t entity) const = 0;
    virtual bool CarriesMessage(size_t entity) const = 0;
    /// All fields. With the mail rules in order and decoded.
    virtual std::vector<ShownField> GetFields(size_t entity) const = 0;
    /// The value of a Content- field without its parameters, as the sender wrote it; empty when missing.
    virtual std::string GetValue(size_t entity, const char* field) const = 0;
    virtual std::string GetParameter(size_t entity, const char* field,
                                     const char* parameter) const = 0;
    /// The size of the decoded body in bytes.
    virtual uint64_t GetSize(size_t entity) const = 0;
    /// The decoded body, or the text of the message that it carries.
    virtual void Decode(size_t entity, const TakePiece& take) const = 0;
    /// The entity of mail.h; nothing with the exact rules.
    virtual std::optional<MIME::Entity> GetEntity(size_t entity) const = 0;

    /// The file name that the sender gave: untrusted; empty when there is none.
    std::string GetFileName(size_t entity) const;

protected:
    explicit Message(Outline outline) : outline_(std::move(outline)) {}

private:
    const Outline outline_;
};

/// Reads a message by the exact rules, its bodies in memory.
/// @param report  null, or what receives the deviations and the place of the failure.
/// @throws InputFailure
std::unique_ptr<MIME::Part> ReadStrict(const Input& input, const Sources& sources,
                                       MIME::ReadReport* report = nullptr);

/// A message that was read by the exact rules.
std::unique_ptr<Message> MakeStrictMessage(std::unique_ptr<MIME::Part> message);

}  // namespace Tool
