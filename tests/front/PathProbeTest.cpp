// A /file path outside the ANSI code page through a real process's command line:
// path_probe.exe, ksdiag's process entry in front of recording operations, run as a child.

#include "tests/support/ChildProcess.h"
#include "tests/support/NamedLock.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Greek capital omega, in no Western ANSI code page, and e with acute, in most of them.
const std::wstring farPath = L"C:\\\u03A9mega\\Donn\u00E9es\\x y.etl";
const std::string farPathUtf8 = "C:\\\xCE\xA9mega\\Donn\xC3\xA9"
                                "es\\x y.etl";

Testing::ChildResult RunProbe(const std::vector<std::wstring>& arguments)
{
    // The probe reads the registry arguments keys, which other tests write.
    const Testing::NamedLock lock(Testing::ArgumentsKeyLockName);
    return Testing::RunChild(Testing::SiblingExecutable(L"path_probe.exe"), arguments);
}

} // namespace

TEST(PathProbe, StartIsHandedThePathAsTyped)
{
    const Testing::ChildResult result = RunProbe({L"START", L"/nologo", L"/file:" + farPath});
    EXPECT_EQ(0u, result.exitCode);
    EXPECT_EQ("START " + farPathUtf8 + "\r\n" + "Start log completed successfully.\r\n", result.out);
    EXPECT_EQ("", result.err);
}

TEST(PathProbe, ViewIsHandedThePathAsTyped)
{
    const Testing::ChildResult result = RunProbe({L"VIEW", L"/nologo", L"/level:info", L"/file:" + farPath});
    EXPECT_EQ(0u, result.exitCode);
    EXPECT_EQ("VIEW " + farPathUtf8 + "\r\n", result.out);
    EXPECT_EQ("", result.err);
}
