#include "mime/mail/address.h"

#include <gtest/gtest.h>

#include <string>

#include "mime/mail/date.h"

namespace MIME {
namespace {

TEST(AddressListTest, HostileTextTakesLinearTime) {
    const char* const kPieces[] = {",",     ";",        "\"",     "\\\"", "(",
                                   "((a)",  "(a,",      "<",      "<a,",  "<@a,",
                                   "<;",    "a<",       "@",      "a@",   "@[",
                                   "@[\\[", "a.",       "a b ",   ":",    "a:",
                                   "=?",    "a@b ",     "\\",     "<()",  "a;b",
                                   "a,",    "\"a>,\" ", "x\">, ", "<\"",  "\xFF\xC3\xA9",
                                   "(\\",   "1:",       "jan",    "+1",   "=?utf-8?q?a?=",
                                   "=?u?q?"};
    for (const std::string piece : kPieces) {
        std::string value;
        while (value.size() < (1 << 19)) value += piece;
        for (const std::string& text : {value, "<\"(" + value + "\""}) {
            const AddressList list = AddressList::Parse(text);
            EXPECT_LE(list.size() + list.GetProblems().size(), text.size()) << piece;
            EXPECT_EQ(AddressList::Parse(list.GetStr()), list) << piece;
            EXPECT_FALSE(Date::Parse(text)) << piece;
        }
    }
}

}  // namespace
}  // namespace MIME
