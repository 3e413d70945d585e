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
    void Write(const Take& take) const;
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
        std::vector<Draft> attached;  ///< around the top
        std::string footer;           ///< lines to be added to its text

        bool IsGone() const noexcept { return isRemoved || replacement.has_value(); }
        bool ChangesBody() const noexcept {
            return IsGone() || !added.empty() || !attached.empty() || !footer.empty();
        }
    };

    struct TopText;

    const EntityPlace& GetPlace(uint32_t index) const { return tree_->places[index]; }
    Entity GetEntity(uint32_t index) const { return Entity(*tree_, index); }
    uint32_t CheckEntity(const Entity& entity) const;
    void ForgetInside(uint32_t index);
    bool IsRemoved(uint32_t index) const;
    bool IsOwnText(const Entity& entity) const;
    static bool IsLeafType(const Entity& entity, std::string_view type);
    bool SharesBoundary(uint32_t index, bool isAtEnd) const;
    void CheckBoundaries(uint32_t index, bool isAtEnd) const;
    HeaderEdit& EditHeader(uint32_t index);
    static const Draft& GetDraft(const NewPart& part);
    bool IsMixed() const;
    bool KeepsChildren(uint32_t parent) const;
    bool TakesTopApart() const;

    bool ChangesBody() const;
    bool IsInBrokenPart(uint32_t multipart) const;
    void FindBrokenParts(std::vector<BrokenSignature>& broken) const;
    void FindBrokenFields(std::vector<BrokenSignature>& broken) const;

    std::vector<std::string> GetBoundaries(uint32_t index) const;
    Draft Plan(const Draft& draft, const std::vector<std::string>& boundaries,
               UniqueText& unique) const;
    std::string MakeFreeBoundary(UniqueText& unique) const;
    bool Occurs(std::string_view text) const;
    SplicedText MakeText(UniqueText& unique, std::optional<HeaderEdit>& topHeader) const;
    TopText MakeTop(const HeaderEdit& header, SplicedText& text, UniqueText& unique) const;
    Writing Wrap(const HeaderEdit& header, const std::vector<Draft>& attached, SplicedText& text,
                 UniqueText& unique) const;
    std::string GetEndBefore(uint64_t place) const;
    void SpliceHeader(uint32_t index, const HeaderEdit& header, bool hasNewBody,
                      SplicedText& text) const;
    void SpliceFooter(uint32_t index, const std::string& lines, std::optional<HeaderEdit>& header,
                      SplicedText& text) const;
    Writing EncodeNewText(uint32_t index, std::string newText,
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
    std::optional<MailSigner> signer_;
};

}  // namespace MIME
