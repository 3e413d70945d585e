#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mime/mail/message_tree.h"

namespace MIME {

/// The header block of an entity as fields that can be changed one by one; the others stay as they are,
/// and so do lines that are no field, as long as no field is removed.
class HeaderEdit {
public:
    HeaderEdit(const MessageTree& tree, uint32_t index, std::string_view lineEnd);

    /// @param field  a whole field with its line end.
    void Add(std::string_view name, std::string field);
    void Set(std::string_view name, std::string field);
    void Remove(std::string_view name);
    bool Has(std::string_view name) const;

    std::string GetText() const;
    /// The fields whose names begin with "Content-", or all others but MIME-Version.
    std::string GetContentFields() const;
    std::string GetOtherFields() const;

private:
    struct Item {
        std::string name = {};  ///< empty where lines come before the first field
        std::string text = {};
        /// Lines after it that are no field. Readers pass them over between fields, but some fields
        /// must follow: so when fields are removed or divided, these lines are left out.
        std::string others = {};
    };
    enum class Kind { content, version, other };

    static Kind GetKind(const Item& item);
    void AddOthers(std::string_view lines);
    void RemoveFrom(size_t begin, std::string_view name);
    std::string Join(bool (*isWanted)(Kind)) const;

    std::string_view lineEnd_;
    std::vector<Item> items_;
};

}  // namespace MIME
