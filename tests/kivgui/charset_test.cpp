#include "kivgui/charset.h"

#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"

namespace KivGuiBase {
namespace {

using MIME::Test::Random;

/// Every way to end a text, a buffer of the system's converter and a step of ours.
TEST(CharsetTest, LongTextsAreConvertedWhole) {
    Random random(7);
    for (const char* charset : {"utf-8", "iso-8859-1", "iso-8859-15", "us-ascii"}) {
        for (size_t size = 4000; size < 4140; ++size) {
            std::string text = random.Text(size, "abcdefghijklmnopqrstuvwxyz \r\n");
            const CharsetResult got = ConvertToUtf8(text, charset);
            ASSERT_EQ(got.text, std::string_view(text)) << charset;
            ASSERT_EQ(got.replaced, 0u) << charset;
        }
    }
    EXPECT_FALSE(ConvertToUtf8("abc", std::string(1 << 20, 'u')).known);
    const std::string rubbish(1 << 20, '\xFF');
    for (const char* charset : {"utf-8", "us-ascii", "euc-kr"}) {
        EXPECT_EQ(ConvertToUtf8(rubbish, charset).replaced, rubbish.size()) << charset;
    }
}

}  // namespace
}  // namespace KivGuiBase
