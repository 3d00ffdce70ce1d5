// The main of every test executable: GoogleTest's own, except that each test starts from
// the process-wide state of a fresh process (an empty argument store, an unconfigured
// trace framework), whether ctest runs it alone or the executable runs whole.

#include "base/ProcessArguments.h"
#include "trace/FrameworkReset.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

class FreshProcessState : public testing::EmptyTestEventListener {
public:
    void OnTestStart(const testing::TestInfo&) override
    {
        Base::ProcessArguments::Clear();
        Trace::ResetTraceFramework();
    }
};

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    // GoogleTest owns its listeners and deletes them at exit.
    testing::UnitTest::GetInstance()->listeners().Append(std::make_unique<FreshProcessState>().release());
    return RUN_ALL_TESTS();
}
