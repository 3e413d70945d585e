// Reads a text as an address list and as a date.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/check.h"
#include "kivgui/utf8.h"
#include "mime/mail/address.h"
#include "mime/mail/date.h"

namespace {

using MIME::Address;
using MIME::AddressList;
using MIME::Date;
using MIME::Fuzz::Check;

/// @return the size of the text.
size_t CheckText(std::string_view text) {
    Check(KivGuiBase::IsUtf8(text), "texts are UTF-8");
    Check(text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos,
          "texts have no line ends");
    return text.size();
}

void CheckAddresses(std::string_view value) {
    constexpr size_t kGrowth = 8;  // characters of one byte in a charset may be several in UTF-8
    const AddressList list = AddressList::Parse(value);
    size_t size = 0;
    ptrdiff_t domains = 0;
    for (const Address& address : list) {
        size += CheckText(address.GetName()) + CheckText(address.GetAddress());
        Check(!address.GetAddress().empty(), "an address has a text");
        domains += address.GetAddress().find('@') != std::string::npos;
    }
    for (const std::string& group : list.GetGroups()) size += CheckText(group);
    for (const AddressList::Problem& problem : list.GetProblems()) {
        MIME::Fuzz::CheckEqual(value.substr(problem.offset, problem.text.size()), problem.text,
                               "a problem is at its offset");
        size += problem.text.size();
    }
    Check(size <= kGrowth * value.size(), "texts are bounded");
    Check(list.size() + list.GetGroups().size() <= value.size(), "entries are bounded");
    Check(domains <= std::count(value.begin(), value.end(), '@'), "no address is made of a name");
    const std::string shown = list.GetStr();
    const AddressList again = AddressList::Parse(shown);
    MIME::Fuzz::CheckEqual(again.GetStr(), shown, "a list comes back");
    Check(again == list && again.GetProblems().empty(), "a list comes back as it was");
}

void CheckDate(std::string_view value) {
    const std::optional<Date> date = Date::Parse(value);
    if (date) Check(Date::Parse(date->Format()) == date, "a date comes back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    CheckAddresses(text);
    CheckDate(text);
    return 0;
}
