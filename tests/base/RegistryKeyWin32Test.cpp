#include "base/RegistryKeyWin32.h"
#include "tests/support/ScratchRegistryKey.h"

#include <gtest/gtest.h>

TEST(RegistryKeyWin32, HasSubkeyIsFalseForAMissingSubkey)
{
    Testing::ScratchRegistryKey scratch(HKEY_CURRENT_USER, L"Software\\KestrovaTests");
    Base::RegistryKeyWin32 root(HKEY_CURRENT_USER);
    EXPECT_FALSE(root.HasSubkey(scratch.Path() + L"\\missing"));
    EXPECT_TRUE(root.HasSubkey(scratch.Path()));
}
