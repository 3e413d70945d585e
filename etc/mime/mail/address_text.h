#pragma once

#include <span>
#include <string>
#include <string_view>

#include "mime/mail/address_tokens.h"

/// The texts of addresses: what their tokens mean, and how they are written again.
namespace MIME {

using AddressTokens = std::span<const AddressToken>;

/// The display name that tokens make, decoded; comments are left out. Empty when there is none.
std::string MakeDisplayName(AddressTokens tokens);

/// The text of a comment, decoded, as a display name.
std::string MakeDisplayName(std::string_view comment);

/// A display name as a phrase (RFC 5322, 3.2.5), in quotes where it needs them; MakeDisplayName
/// makes the same name of it.
std::string WritePhrase(std::string_view name);

/// The local part of an address from words and dots, which need not be in the right order. In quotes
/// when one of the words was and the text needs them.
std::string MakeLocalPart(AddressTokens tokens);

/// The domain from atoms, words and dots, or from a domain literal.
std::string MakeDomain(AddressTokens tokens);

}  // namespace MIME
