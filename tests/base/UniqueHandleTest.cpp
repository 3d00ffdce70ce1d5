#include "base/UniqueHandle.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

// A handle kind of the test's own: small integers, -1 empty, closes recorded in order.
// Closing overwrites the thread's last error, as a real close function may.
std::vector<int> closed;

struct NumberTraits {
    using Type = int;
    static Type Invalid() noexcept { return -1; }
    static bool IsValid(Type handle) noexcept { return handle >= 0; }
    static void Close(Type handle) noexcept
    {
        closed.push_back(handle);
        ::SetLastError(ERROR_INVALID_HANDLE);
    }
};
using UniqueNumber = Base::UniqueHandle<NumberTraits>;

class UniqueHandleTest : public ::testing::Test {
protected:
    void SetUp() override { closed.clear(); }
};

} // namespace

TEST_F(UniqueHandleTest, DefaultHoldsTheInvalidValue)
{
    const UniqueNumber handle;

    EXPECT_EQ(-1, handle.Get());
    EXPECT_FALSE(handle.IsValid());
    EXPECT_FALSE(handle);
}

TEST_F(UniqueHandleTest, DestructorClosesAValidHandleOnce)
{
    {
        const UniqueNumber handle(7);
        EXPECT_TRUE(handle);
    }

    EXPECT_EQ(std::vector<int>{7}, closed);
}

TEST_F(UniqueHandleTest, DestructorOfAnEmptyHandleClosesNothing)
{
    {
        const UniqueNumber handle;
    }

    EXPECT_TRUE(closed.empty());
}

TEST_F(UniqueHandleTest, ReleaseGivesUpOwnershipWithoutClosing)
{
    UniqueNumber handle(3);

    EXPECT_EQ(3, handle.Release());

    EXPECT_FALSE(handle);
    EXPECT_TRUE(closed.empty());
}

TEST_F(UniqueHandleTest, ResetClosesTheOldHandleAndTakesTheNewOne)
{
    UniqueNumber handle(1);

    handle.Reset(2);
    EXPECT_EQ(std::vector<int>{1}, closed);
    EXPECT_EQ(2, handle.Get());

    handle.Reset();
    EXPECT_EQ((std::vector<int>{1, 2}), closed);
    EXPECT_FALSE(handle);
}

TEST_F(UniqueHandleTest, ResetKeepsTheCallersLastError)
{
    UniqueNumber handle(4);
    ::SetLastError(ERROR_MORE_DATA);

    handle.Reset();

    EXPECT_EQ(std::vector<int>{4}, closed);
    EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), ::GetLastError());
}

TEST_F(UniqueHandleTest, MoveConstructionEmptiesTheSource)
{
    UniqueNumber source(5);

    const UniqueNumber target(std::move(source));

    EXPECT_FALSE(source);
    EXPECT_EQ(5, target.Get());
    EXPECT_TRUE(closed.empty());
}

TEST_F(UniqueHandleTest, MoveAssignmentClosesTheTargetsHandle)
{
    UniqueNumber source(5);
    UniqueNumber target(6);

    target = std::move(source);

    EXPECT_EQ(std::vector<int>{6}, closed);
    EXPECT_EQ(5, target.Get());
    EXPECT_FALSE(source);
}

TEST_F(UniqueHandleTest, SelfMoveAssignmentKeepsTheHandle)
{
    UniqueNumber handle(8);
    UniqueNumber& alias = handle;

    handle = std::move(alias);

    EXPECT_EQ(8, handle.Get());
    EXPECT_TRUE(closed.empty());
}

TEST_F(UniqueHandleTest, PutClosesFirstAndLendsTheSlot)
{
    UniqueNumber handle(9);

    int* slot = handle.Put();
    EXPECT_EQ(std::vector<int>{9}, closed);
    EXPECT_EQ(-1, *slot);
    *slot = 10;

    EXPECT_EQ(10, handle.Get());
}

TEST(KernelHandleTraits, NullAndInvalidHandleValueAreBothEmpty)
{
    EXPECT_FALSE(Base::KernelHandleTraits::IsValid(nullptr));
    EXPECT_FALSE(Base::KernelHandleTraits::IsValid(INVALID_HANDLE_VALUE));
    EXPECT_FALSE(Base::UniqueKernelHandle(INVALID_HANDLE_VALUE));
}

TEST(KernelHandleTraits, ResetClosesTheKernelObject)
{
    Base::UniqueKernelHandle event(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ASSERT_TRUE(event);
    const HANDLE raw = event.Get();
    DWORD flags = 0;
    ASSERT_TRUE(::GetHandleInformation(raw, &flags));

    event.Reset();

    EXPECT_FALSE(::GetHandleInformation(raw, &flags));
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_HANDLE), ::GetLastError());
}
