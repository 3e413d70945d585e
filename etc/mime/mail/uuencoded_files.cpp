// The uuencoded files of a message: every text is searched once, when somebody first asks for one of them.
// A text that is not encoded is searched where it is; one that is, is decoded, and kept if it has files.

#include <memory>
#include <utility>

#include "mime/encoding/uuencode.h"
#include "mime/mail/mail.h"
#include "mime/mail/message_tree.h"

namespace MIME {

/// One search. It fails as a whole, so that it can be made again.
class UuencodedFiles::Search {
public:
    explicit Search(const MessageTree& tree) noexcept : tree_(tree) {}

    void Run() {
        for (uint32_t i = 0; i < tree_.places.size() && places.size() < kMost; ++i) {
            if (tree_.HasText(i)) Look(i);
        }
    }

    std::vector<EntityPlace> places;
    std::vector<std::unique_ptr<const std::string>> texts;

private:
    void Look(uint32_t index) {
        const EntityPlace& text = tree_.places[index];
        if (TransferEncoding::IsIdentity(text.encoding)) {
            Add(index, tree_.Cut(text, text.body, text.end), text.body, text.text);
            return;
        }
        std::string decoded = Entity(tree_, index).Decode();
        if (FindUuencodedFiles(decoded, 1).empty()) return;
        texts.push_back(std::make_unique<const std::string>(std::move(decoded)));
        Add(index, *texts.back(), 0, static_cast<uint32_t>(tree_.decoded.size() + texts.size()));
    }

    /// @param body    of the entity at `index`, decoded.
    /// @param offset  of the body in the text with this number.
    void Add(uint32_t index, std::string_view body, uint64_t offset, uint32_t number) {
        uint32_t count = 0;
        for (const UuBlock& block : FindUuencodedFiles(body, kMost - places.size())) {
            EntityPlace file;
            file.begin = file.fields = offset + block.begin;
            file.fieldsEnd = file.body = offset + body.find('\n', block.begin) + 1;
            file.end = offset + block.end;
            file.parent = index;
            file.subtreeEnd = static_cast<uint32_t>(tree_.places.size() + places.size() + 1);
            file.number = ++count;
            file.text = number;
            places.push_back(file);
        }
    }

    const MessageTree& tree_;
};

const std::vector<EntityPlace>& UuencodedFiles::Find(const MessageTree& tree) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!isSearched_) {
        Search search(tree);
        search.Run();
        places_ = std::move(search.places);
        texts_ = std::move(search.texts);
        isSearched_ = true;
    }
    return places_;
}

}  // namespace MIME
