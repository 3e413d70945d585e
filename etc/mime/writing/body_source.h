#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "mime/mail/mail.h"
#include "mime/mime.h"

namespace MIME {

/// Takes text in pieces. May throw.
using Take = std::function<void(std::string_view piece)>;

/// Where the bytes of a body come from. It can be read any number of times, and gives the same bytes
/// each time.
class BodySource {
public:
    BodySource() = default;
    BodySource(const BodySource&) = delete;
    BodySource& operator=(const BodySource&) = delete;
    virtual ~BodySource() = default;

    /// Passes all bytes on, in pieces and in bounded memory. Throws WriteFailure, and what `take`
    /// throws.
    virtual void Read(const Take& take) const = 0;
};
using SharedBody = std::shared_ptr<const BodySource>;

SharedBody MakeTextSource(std::string bytes);
/// The caller keeps the bytes.
SharedBody MakeViewSource(std::string_view bytes);
/// A file, which is read anew for each pass and never loaded. One whose bytes differ from those of
/// the pass before is an error, and so is a pipe or device, which can be read only once.
SharedBody MakeFileSource(const std::filesystem::path& path);
SharedBody MakeFileSource(const File& file);
/// What Entity::Decode gives; its Mail must live as long.
SharedBody MakeEntitySource(const Entity& entity);
/// A text with CR LF for every CR LF, LF and CR of `text`, without a byte-order mark at its start.
SharedBody MakeCanonicalSource(SharedBody text);

}  // namespace MIME
