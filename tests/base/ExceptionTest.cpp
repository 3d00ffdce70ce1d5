#include "base/Exception.h"

#include <gtest/gtest.h>

TEST(Exception, NullTextGivesEmptyMessage)
{
    EXPECT_STREQ("", Base::Exception(static_cast<const char*>(nullptr)).what());
}
