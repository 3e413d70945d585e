#pragma once

#include <string>
#include <vector>

namespace Tool {

/// Joins address lists into the value of an address field, after a look at every entry: each must
/// be one mailbox with an address that mail can be sent to (RFC 5322, 3.4.1; ASCII). Empty entries,
/// as between two commas, are left out.
///
/// @param option  what the user calls the list, for messages.
/// @return empty when there is no entry at all.
/// @throws Failure that names the first entry at fault: the library's own walk passes over entries
///         without an address and ends at a malformed one, and a recipient would be lost.
std::string JoinAddresses(const std::string& option, const std::vector<std::string>& lists);

/// The domain of the one mailbox in `value`, which JoinAddresses returned.
/// @throws Failure when there is not exactly one.
std::string GetSenderDomain(const std::string& option, const std::string& value);

}  // namespace Tool
