#pragma once

#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kivgui/export.h"

namespace MIME {

/// A mailbox of From, To, Cc and similar fields (RFC 5322, 3.4): a value, made by AddressList. All
/// texts are UTF-8 without line ends.
class KIV_EXPORT Address {
public:
    /// The display name, decoded; if there is none, the comment after the address, as in
    /// "joe@example.org (Joe)". May be empty. It is text for people: nothing in it is ever part of
    /// an address.
    const std::string& GetName() const noexcept { return name_; }

    /// "local@domain", never empty. A local part is in quotes only where RFC 5322, 3.2.3 requires
    /// them: `"john smith"@example.org`. There is no "@" when the field has none, as in local mail
    /// ("root"); there are two or more only in quotes or in a domain literal.
    const std::string& GetAddress() const noexcept { return address_; }

    /// The name of its group; empty when there is none.
    const std::string& GetGroup() const noexcept;

    /// As people read and write it: "Zoë Lund <zoe@example.org>", with the name in quotes where
    /// necessary. AddressList::Parse reads it as this name and this address.
    std::string GetStr() const;

    /// Compares the texts byte for byte, so addresses that differ in the case of their domain
    /// differ.
    friend KIV_EXPORT bool operator==(const Address& a, const Address& b) noexcept;
    friend KIV_EXPORT std::ostream& operator<<(std::ostream& out, const Address& address);

private:
    friend class AddressListReader;

    Address(std::string name, std::string address, std::shared_ptr<const std::string> group)
        : name_(std::move(name)), address_(std::move(address)), group_(std::move(group)) {}

    std::string name_;
    std::string address_;
    std::shared_ptr<const std::string> group_;  ///< shared by all addresses of the group
};

/// The addresses of a field, and what could not be read.
///
///   for (const auto& address : AddressList::Parse("Ann <ann@example.org>, bob@example.org"))
///       std::cout << address.GetAddress() << '\n';
///
/// Reads RFC 5322, 3.4 with its obsolete forms (4.4): comments, groups, routes (which are dropped),
/// white space anywhere. Encoded words are decoded in names and comments, including those in
/// quotes, but never in addresses. It also reads other forms that people and programs write:
///  1. ";" separates entries as "," does.
///  2. Missing brackets: "Ann ann@example.org", "<ann@example.org", "ann@example.org>".
///  3. Missing commas: "<a@b> <c@d>", "a@b c@d". A name after an address that has no name before
///     it.
///  4. A quote without its partner is ignored. A comment without an end ends with its entry.
///  5. Names with "@", "." and other characters that belong in quotes, including the comma of "Doe,
///     John <john@example.org>".
///  6. Dots at the ends of a local part or domain, and several in a row.
///  7. Names and addresses in 8-bit text are read as UTF-8, or as windows-1252 if they are not
///     UTF-8.
///  8. A single word is an address without a domain, as in local mail; several words are not.
///  9. Control characters count as spaces.
class KIV_EXPORT AddressList {
public:
    /// An entry without a readable address.
    struct KIV_EXPORT Problem {
        std::string text;      ///< the entry, as in the field
        size_t offset = 0;     ///< of the entry in the field's value, in bytes
        std::string_view why;  ///< such as "has no address"; always valid
    };

    AddressList() = default;

    /// Reads a field value, which may be folded and contain any bytes. Never fails: an entry that
    /// cannot be read is left out and reported. Empty entries (", ,") are skipped. Takes time
    /// linear in the size of the value, for any value. Any thread.
    /// @throw std::bad_alloc  when there is not enough memory for the whole result.
    static AddressList Parse(std::string_view fieldValue);

    /// @name The addresses, in order, including those of groups
    /// @{
    auto begin() const noexcept { return addresses_.begin(); }
    auto end() const noexcept { return addresses_.end(); }
    size_t size() const noexcept { return addresses_.size(); }
    bool empty() const noexcept { return addresses_.empty(); }
    const Address& operator[](size_t index) const { return addresses_[index]; }
    /// @}

    /// The decoded names of all groups, in order, including empty ones, such as "Undisclosed
    /// recipients:;".
    std::vector<std::string> GetGroups() const;

    /// The entries that could not be read, in order; empty for a well-formed list.
    const std::vector<Problem>& GetProblems() const noexcept { return problems_; }

    /// The list as people read and write it, with commas and groups. Parse reads it as an equal list.
    std::string GetStr() const;

    /// Compares addresses and groups; problems do not count.
    friend KIV_EXPORT bool operator==(const AddressList& a, const AddressList& b) noexcept;
    friend KIV_EXPORT std::ostream& operator<<(std::ostream& out, const AddressList& list);

private:
    friend class AddressListReader;

    struct Group {
        std::shared_ptr<const std::string> name;
        size_t first;  ///< index of its first address
        size_t end;    ///< and of the first after it
    };

    std::vector<Address> addresses_;
    std::vector<Group> groups_;
    std::vector<Problem> problems_;
};

}  // namespace MIME
