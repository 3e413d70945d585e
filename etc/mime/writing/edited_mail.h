#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mime/mail/mail.h"
#include "mime/mail/message_tree.h"
#include "mime/writing/draft.h"
#include "mime/writing/edit.h"
#include "mime/writing/header_edit.h"
#include "mime/writing/signed_mail.h"
#include "mime/writing/spliced_text.h"

namespace MIME {

/// What an Edit was told, checked, and how it is written. Functions throw WriteFailure.
class EditedMail {
public:
    explicit EditedMail(const Mail& mail);

    enum class FieldChange { add, set, remove };
    void ChangeField(const Entity& entity, FieldChange change, std::string_view name,
                     std::string_view value);
    void Replace(const Entity& entity, const NewPart& part);
    void Remove(const Entity& entity);
    void Add(const Entity& multipart, const NewPart& part);
    void Attach(const NewPart& part);
    void AppendText(const Entity& entity, std::string_view text);
    void AddFooter(std::string_view text);
    void SetSigner(MailSigner signer) { signer_.emplace(std::move(signer)); }

    std::vector<BrokenSignature> FindBrokenSignatures() const;
    void Write(const Take& take);
    Entity GetTop() const { return top_; }

    std::optional<Error> firstError;  ///< of the calls of the host

private:
    /// What is changed in one entity.
    struct Change {
        std::optional<HeaderEdit> header;
        bool hasNewType = false;  ///< the host has set or removed Content-Type
        bool isRemoved = false;
        std::optional<Draft> replacement;
        std::vector<Draft> added;     ///< children
        std::vector<Draft> attached;  ///< to the mail, of whose top this is
        std::string footer;           ///< lines to be added to its text

        bool IsGone() const noexcept { return isRemoved || replacement.has_value(); }
        bool ChangesBody() const noexcept {
            return IsGone() || !added.empty() || !attached.empty() || !footer.empty();
        }
    };

    /// How the mail is written. A damaged mail may read as it should in one form and not in another.
    struct Form {
        bool isWrapped;  ///< what was attached is put around the mail
        bool isClosed;   ///< a boundary line that ends the text becomes a closing one
        bool isAnew;     ///< texts with footers are encoded anew
    };
    /// A mail that is ready to be written: first, where its header block is divided, the fields that are not
    /// about the content; then `inner`, and the spliced text from `rest` on.
    struct Composed {
        SplicedText text;
        std::string outer;
        std::vector<NewText> inner;
        uint64_t rest;
        std::string boundary;  ///< of the signature
    };
    /// An entity that must be found in what is written.
    struct Wanted {
        enum class Kind {
            around,  ///< it was made around the content, or its whole content is new
            kept,    ///< the entity `index` of the source
            part,    ///< a new one
        };
        Kind kind;
        size_t depth;
        uint32_t index = EntityPlace::kNone;
    };

    const EntityPlace& GetPlace(uint32_t index) const { return tree_->places[index]; }
    Entity GetEntity(uint32_t index) const { return Entity(*tree_, index); }
    uint32_t CheckEntity(const Entity& entity) const;
    void ForgetInside(uint32_t index);
    bool IsRemoved(uint32_t index) const;
    bool IsOwnText(const Entity& entity) const;
    static bool IsLeafType(const Entity& entity, std::string_view type);
    HeaderEdit& EditHeader(uint32_t index);
    static const Draft& GetDraft(const NewPart& part);
    bool HasAttached() const;
    bool CanTake(Form form) const;
    std::vector<Draft> GetAdded(uint32_t index) const;
    bool KeepsChildren(uint32_t parent) const;
    bool TakesTopApart() const;

    bool ChangesBody() const;
    bool IsInBrokenPart(uint32_t multipart) const;
    void FindBrokenParts(std::vector<BrokenSignature>& broken) const;
    void FindBrokenFields(std::vector<BrokenSignature>& broken) const;

    std::vector<std::string> GetBoundaries(uint32_t index) const;
    Draft Plan(const Draft& draft, const std::vector<std::string>& boundaries,
               UniqueText& unique) const;
    NewText WriteLater(Draft draft) const;
    std::string MakeFreeBoundary(UniqueText& unique) const;
    bool Occurs(std::string_view text) const;
    SplicedText MakeText(UniqueText& unique, std::optional<HeaderEdit>& topHeader) const;
    Composed Compose() const;
    void TakeTopApart(const HeaderEdit& header, UniqueText& unique, Composed& composed) const;
    void Wrap(const HeaderEdit& header, UniqueText& unique, Composed& composed) const;
    std::optional<uint64_t> FindOpenEnd() const;
    void WriteComposed(const Composed& composed, const Take& take) const;

    Outline MakeOutline(const Composed& composed) const;
    std::vector<Wanted> FindWanted() const;
    void FindWantedInside(size_t depth, std::vector<Wanted>& wanted) const;
    bool IsKept(const EntityPlace& now, uint32_t index, const Outline& outline) const;
    bool ReadsAsMeant(const Composed& composed) const;
    std::string GetEndBefore(uint64_t place) const;
    void SpliceHeader(uint32_t index, const HeaderEdit& header, bool hasNewBody,
                      SplicedText& text) const;
    void SpliceFooter(uint32_t index, const std::string& lines, std::optional<HeaderEdit>& header,
                      SplicedText& text) const;
    NewText EncodeNewText(uint32_t index, std::string newText,
                          std::optional<HeaderEdit>& header) const;
    std::set<uint32_t> FindAround() const;
    void SpliceEmptyLines(const std::set<uint32_t>& parents, SplicedText& text) const;
    void SpliceRemoved(uint32_t parent, UniqueText& unique, SplicedText& text) const;
    void SpliceAdded(uint32_t index, std::span<const Draft> added, UniqueText& unique,
                     SplicedText& text) const;

    Entity top_;
    const MessageTree* tree_;
    std::string_view source_;
    std::string_view lineEnd_;
    std::map<uint32_t, Change> changes_;      ///< by the index of the entity
    std::vector<std::string> changedFields_;  ///< names, of the top
    Form form_{};
    std::optional<MailSigner> signer_;
};

}  // namespace MIME
