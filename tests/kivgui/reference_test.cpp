#include "kivgui/reference.h"

#include <gtest/gtest.h>

namespace KivGuiBase {
namespace {

TEST(ReferenceTest, CountsItsHandles) {
    Reference reference;
    EXPECT_FALSE(reference.IsShared());
    reference.Link();
    EXPECT_TRUE(reference.IsShared());
    EXPECT_FALSE(reference.Unlink());
    EXPECT_FALSE(reference.IsShared());
    EXPECT_TRUE(reference.Unlink());
}

TEST(ReferenceDeathTest, ACorruptCountEndsTheProcess) {
    Reference dropped;
    ASSERT_TRUE(dropped.Unlink());
    EXPECT_DEATH(dropped.Link(), "Reference::Link: 0x[0-9a-f]+: Invalid reference count \\(1\\)");
    EXPECT_DEATH((void)dropped.Unlink(),
                 "Reference::Unlink: 0x[0-9a-f]+: Invalid reference count \\(-1\\)");
}

}  // namespace
}  // namespace KivGuiBase
