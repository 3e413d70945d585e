#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mime/mime.h"
#include "mime/writing/parameter_list.h"

namespace MIME {

/// The fields of a Part as they are to be written. Content-Type has a place among them, but no text yet;
/// Content-Transfer-Encoding and Content-Length, which depend on how the body is written, are left out.
/// Functions throw WriteFailure, whose text names the field.
class PartFields {
public:
    /// @param part  must live as long.
    explicit PartFields(const Part& part);

    /// Does the part have the fields of a text that it was read from, by the mail rules?
    bool WasRead() const noexcept { return wasRead_; }
    /// Content-Type, decoded, without parameters that have no value.
    const ParameterList& GetType() const noexcept { return type_; }
    /// The value of Content-Type in the text that was read; empty when there is none.
    std::string GetReadType() const;
    /// The Content-Type field of that text, if it still says the same; else empty.
    const std::string& GetTypeField() const noexcept { return typeField_; }
    /// The raw parameters of Content-Type.
    const std::vector<std::string>& GetRawTypeParameters() const noexcept { return rawParameters_; }

    /// The domain of the first From, for a Message-ID; where there is none, one that nobody has.
    std::string FindDomain() const;
    bool Has(std::string_view name) const;
    /// Adds a whole field before those of the content.
    void Add(std::string_view name, std::string text);

    enum class Kind { all, content, other };  ///< "other" is without MIME-Version
    /// The fields before the place of Content-Type, or after it.
    std::string GetBefore(Kind kind) const { return Join(kind, 0, typePlace_); }
    std::string GetAfter(Kind kind) const { return Join(kind, typePlace_, items_.size()); }

private:
    struct Item {
        std::string name;
        std::string text;
    };

    void TakeRead();
    void TakeBuilt();
    void TakeNew(const HeaderMap::Node& field);
    bool IsUnchanged(const AnsiStr& name) const;
    ParameterList Decode(const ParameterMap& map, std::vector<std::string>& raw) const;
    std::string Write(std::string_view name, std::string value, const ParameterMap& map) const;
    std::string Join(Kind kind, size_t begin, size_t end) const;

    const Part& part_;
    bool wasRead_;
    HeaderMap read_;  ///< what the mail rules made of Part::fields
    std::vector<Item> items_;
    size_t typePlace_ = 0;  ///< how many are before Content-Type
    std::string typeField_;
    ParameterList type_;
    std::vector<std::string> rawParameters_;
};

}  // namespace MIME
