#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"

namespace MIME {
namespace {

TEST(QuotingTest, EveryByteIsAnAtomCharacterOrNot) {
    const std::string atomCharacters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!#$%&'*+-/?^_`{|}~";
    for (unsigned byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool isAtom = atomCharacters.find(c) != std::string::npos;
        const std::string around = std::string("a") + c + "z";
        EXPECT_EQ(Encoding::IsAtom(AnsiStr(&c, 1)), isAtom) << byte;
        EXPECT_EQ(Encoding::IsAtom(AnsiStr(std::string_view(around))), isAtom) << byte;
    }
}

}  // namespace
}  // namespace MIME
