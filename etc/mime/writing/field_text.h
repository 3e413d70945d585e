#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "mime/mail/mail.h"

/// Header fields as the mail writer writes them: whole fields, folded (RFC 5322, 2.2.3), each line
/// ending in `lineEnd`, which is CR LF, or LF in a message that is kept with such line ends.
///
/// Lines have at most 76 characters where no single word is longer, and never more than 998. Nothing in
/// a name or value can end a field or begin one. What cannot be written so that mail
/// programs read what was meant is refused: these throw WriteFailure (badField, badAddress, badDate),
/// whose text names the field and what is wrong with it. Texts are UTF-8.
namespace MIME {

/// A mailbox to be written: a name for people, which may be empty, and "local@domain".
struct Mailbox {
    std::string name;
    std::string address;
};

/// A field that people read, or that is not known here, such as Subject and X-Filter. Encoded words
/// (RFC 2047) stand where mail programs would change the bare text.
std::string WriteTextField(std::string_view name, std::string_view value, std::string_view lineEnd);

/// From, To, Cc and the like (RFC 5322, 3.6.2 and 3.6.3), folded between mailboxes; at least one, and
/// in Sender one only. Blanks at the ends of names are left out.
std::string WriteMailboxField(std::string_view name, std::span<const Mailbox> mailboxes,
                              std::string_view lineEnd);

/// The mailboxes of a list as a host or user writes it, at least one. Every entry must be one that mail
/// can be sent to: a list is never shortened, and the failure names the first bad entry. Groups are
/// refused, because their names would be lost, and so are comments, except a name after an address:
/// "ann@example.org (Ann)".
std::vector<Mailbox> ReadMailboxes(std::string_view field, std::string_view list);

/// Fails unless mail can be sent to the address (RFC 5322, 3.4.1 without its obsolete forms; RFC 5321,
/// 4.5.3.1) and the name can be written: UTF-8 without control characters.
void CheckMailbox(std::string_view field, const Mailbox& mailbox);

/// Message-ID, In-Reply-To, References and Content-ID (RFC 5322, 3.6.4), of identifiers with or
/// without angle brackets. Those of other messages need no "@": some senders leave it out.
std::string WriteIdField(std::string_view name, std::span<const std::string> ids,
                         std::string_view lineEnd);

std::string WriteDateField(std::string_view name, const Date& date, std::string_view lineEnd);

/// Content-Type and Content-Disposition: a value and its parameters, in the order given, in the form
/// that all mail programs read: RFC 2231 for what is not plain, encoded words in "name" of
/// Content-Type.
std::string WriteParameterField(std::string_view name, std::string_view value,
                                std::span<const Parameter> parameters, std::string_view lineEnd);

/// The field with parameters added that are "name=value" already. They are only checked for what could
/// end the field: WriteFailure (badField).
std::string AddRawParameters(std::string field, std::span<const std::string> parameters,
                             std::string_view lineEnd);

/// A field of any name, as a host gives it: address fields are read as lists, Message-ID and the
/// like as identifiers, Date as a date; the Content- fields are taken apart and written anew; those
/// that only programs read, such as Received, DKIM-Signature and List-Id, must be ASCII and are only
/// folded; all others are texts.
std::string WriteField(std::string_view name, std::string_view value, std::string_view lineEnd);

/// Fails unless it is the name of a field (RFC 5322, 3.6.8), of at most 76 characters.
void CheckFieldName(std::string_view name);

/// The name under which a file is sent: the last part of a path ("/" and "\\" separate), with "_" for
/// control characters, for those that change the direction of text, and for bytes that are not UTF-8.
/// Empty where the path ends in a separator.
std::string MakeSentName(std::string_view path);
/// The same for a name that is no path.
std::string ReplaceUnsafeCharacters(std::string_view name);

}  // namespace MIME
