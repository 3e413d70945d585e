#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <mime/mime.h>

/// The header fields of a new message: what a value must be, and how it has to be written so that
/// mail programs show what was given. What cannot be written so is refused.
namespace Tool {

/// @name What decides how a text can be written in a header field
/// @{
/// Returns true if the text has a control byte (below 0x20, tabs and line ends included) or DEL.
bool HasControls(std::string_view text);
/// Returns true if the text has a word that may not fit a line (RFC 5322, 2.1.1). Folding would
/// put a space into it.
bool HasOverlongWord(std::string_view text);
/// @}

/// The value of a field that people read, such as Subject. It becomes encoded words where mail
/// programs would change the bare text: for control characters, white space at the ends, overlong
/// words, and what looks like an encoded word. @throws Failure when the text is not UTF-8.
MIME::AnsiStr MakeUnstructured(const std::string& option, const std::string& text);

/// The field of that name, added when it is missing. @throws std::bad_alloc
MIME::HeaderValue& GetField(MIME::Part& part, const char* name);

/// Sets a parameter. The library writes every atom bare; some atoms are quoted here: one with "/"
/// or "?" is not a token (RFC 2045, 5.1), and some mail programs misread the characters to which
/// RFC 2231 gives a meaning. @throws std::bad_alloc
void SetParameter(MIME::HeaderValue& field, const char* name, const std::string& value);

/// Joins address lists into the value of an address field. Every entry must be one mailbox with an
/// address that mail can be sent to (RFC 5322, 3.4.1; ASCII). Empty entries, as between two commas,
/// are left out.
///
/// @param option  what the user calls the list, for messages.
/// @return empty when there is no entry at all.
/// @throws Failure that names the first bad entry: the library's own walk passes over entries
///         without an address and ends at a malformed one, and a recipient would be lost.
std::string JoinAddresses(const std::string& option, const std::vector<std::string>& lists);

/// The domain of the one mailbox in `value`, which JoinAddresses returned.
/// @throws Failure when there is not exactly one.
std::string GetSenderDomain(const std::string& option, const std::string& value);

/// While this exists and has a seed, the library draws its unpredictable bytes from a generator
/// with that seed, so that boundaries and message identifiers are the same on every run. One at a
/// time.
class FixedRandomness {
public:
    explicit FixedRandomness(const std::optional<uint64_t>& seed);
    ~FixedRandomness();
    FixedRandomness(const FixedRandomness&) = delete;
    FixedRandomness& operator=(const FixedRandomness&) = delete;
};

/// A point of time as the value of Date (RFC 5322, 3.3), in UTC. @param seconds  since 1970.
std::string FormatDate(int64_t seconds);
int64_t GetSecondsNow();

/// Throws Failure unless `date` has the form of Date's value: "Thu, 09 Jul 2026 11:21:09 +0200".
void CheckDate(const std::string& option, const std::string& date);

/// A new value of Message-ID (RFC 5322, 3.6.4): 128 random bits at the sender's domain.
std::string MakeMessageId(const std::string& domain);

/// Throws Failure unless `id` is "<", text without white space, "@", more such text and ">".
void CheckMessageId(const std::string& option, const std::string& id);

}  // namespace Tool
