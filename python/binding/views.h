#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "binding.h"
#include "mime/mail/mail.h"
#include "mime/mail/mail_folder.h"
#include "mime/mail/sink.h"

// What the Python objects hold. A Mail and all its entities, fields and texts share the MailData, which so lives
// as long as any of them. It is made and destroyed with the interpreter's lock held, because it refers to the bytes
// object that was parsed.

namespace Binding {

struct MailData {
    py::object source;  ///< the bytes object that `mail` refers to, else none
    MIME::Mail mail;
    MIME::MailOptions options;
    std::optional<MIME::FolderEntry> entry;
};

struct EntityView {
    std::shared_ptr<const MailData> data;
    MIME::Entity entity;
};

/// A Mail is its top entity, with more to ask for.
struct MailView : EntityView {
    explicit MailView(MailData content)
        : MailView(std::make_shared<const MailData>(std::move(content))) {}
    explicit MailView(const std::shared_ptr<const MailData>& shared)
        : EntityView{shared, shared->mail.GetTop()} {}
    const MIME::Mail& Get() const noexcept { return data->mail; }
};

struct FieldView {
    std::shared_ptr<const MailData> data;
    MIME::Field field;
};

/// Reads the keyword arguments of open, parse and folder. Throws TypeError for an unknown one.
MIME::MailOptions TakeOptions(const py::kwargs& given);

/// Reads one message of a folder.
MIME::Result<MailView> ReadEntry(const MIME::FolderEntry& entry, const MIME::MailOptions& options);

/// A memoryview of a text that `owner` keeps alive.
py::memoryview MakeMemoryView(std::shared_ptr<const void> owner, std::string_view text);

std::vector<EntityView> MakeViews(const EntityView& beside,
                                  const std::vector<MIME::Entity>& entities);

/// Gives bytes to a function of Python, or to the function `write` of a file. What that raises passes through. The
/// sink is for use without the lock while this lives.
class PythonSink {
public:
    explicit PythonSink(const py::object& target);
    MIME::Sink Get() const;

private:
    py::object write_;
};

}  // namespace Binding
