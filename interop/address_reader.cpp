// interop_addresses: what our parsers find in values of fields. Takes lines of "addresses" or "date"
// and the value in hexadecimal digits from standard input, and answers each with a line of JSON.

#include <iostream>
#include <string>

#include <mime/mail/address.h>
#include <mime/mail/date.h>
#include <nlohmann/json.hpp>

using nlohmann::json;

static json ReadAddresses(const std::string& value) {
    const auto list = MIME::AddressList::Parse(value);
    json found = {
        {"mailboxes", json::array()}, {"groups", list.GetGroups()}, {"problems", json::array()}};
    for (const MIME::Address& address : list) {
        found["mailboxes"].push_back({address.GetName(), address.GetAddress()});
    }
    for (const auto& problem : list.GetProblems()) found["problems"].push_back(problem.why);
    return found;
}

static json ReadDate(const std::string& value) {
    const auto date = MIME::Date::Parse(value);
    if (!date) return nullptr;
    return {date->time.time_since_epoch().count(), date->offset.count(), date->isZoneKnown};
}

int main() {
    for (std::string kind, digits; std::cin >> kind && std::getline(std::cin, digits);) {
        std::string value;
        for (size_t i = 1; i + 1 < digits.size(); i += 2) {
            value += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
        }
        std::cout << (kind == "date" ? ReadDate(value) : ReadAddresses(value)).dump(-1, ' ', true)
                  << std::endl;
    }
}
