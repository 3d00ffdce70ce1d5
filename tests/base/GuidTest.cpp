#include "base/Guid.h"

#include "base/Exception.h"
#include "platform/RpcApi.h"
#include "tests/base/ConsoleTrace.h"
#include "tests/base/LoggedMessages.h"
#include "tests/base/ThrownException.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedApi.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

constexpr GUID knownGuid = {0x01234567, 0x89AB, 0xCDEF, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
constexpr wchar_t knownGuidText[] = L"01234567-89ab-cdef-0123-456789abcdef";

// What the replaced RPC functions answer and what they saw.
RPC_STATUS createStatus = RPC_S_OK;
int freeCalls = 0;
RPC_WSTR allocatedString = nullptr;
RPC_WSTR freedString = nullptr;

RPC_STATUS RPC_ENTRY CreateKnownGuid(UUID* uuid)
{
    *uuid = knownGuid;
    return createStatus;
}

RPC_STATUS RPC_ENTRY RecordingUuidToString(UUID* uuid, RPC_WSTR* text)
{
    const RPC_STATUS status = Platform::SystemRpc().UuidToStringW(uuid, text);
    allocatedString = *text;
    return status;
}

RPC_STATUS RPC_ENTRY OutOfMemoryUuidToString(UUID*, RPC_WSTR*)
{
    return RPC_S_OUT_OF_MEMORY;
}

RPC_STATUS RPC_ENTRY CountingRpcStringFree(RPC_WSTR* text)
{
    ++freeCalls;
    freedString = *text;
    return Platform::SystemRpc().RpcStringFreeW(text);
}

bool IsRpcForm(const std::wstring& text)
{
    if (text.size() != 36) {
        return false;
    }
    for (size_t i = 0; i < text.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const wchar_t c = text[i];
        if (dash ? c != L'-' : !((c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'f'))) {
            return false;
        }
    }
    return true;
}

// The RPC table replaced for one test, with the console trace on and captured.
class GuidTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Testing::EnableConsoleTrace();
        freeCalls = 0;
        allocatedString = nullptr;
        freedString = nullptr;
        // Filling the argument store may itself log (its registry reads); only what the
        // test does afterwards counts.
        capture.Clear();
    }

    Testing::ScopedApi<Platform::RpcApi> rpc{Platform::Rpc()};
    Testing::OutputCapture capture;
};

} // namespace

TEST(CreateGuid, GivesDistinctGuids)
{
    const GUID first = Base::CreateGuid();
    const GUID second = Base::CreateGuid();

    EXPECT_NE(first, second);
    EXPECT_NE(GUID{}, first);
}

TEST_F(GuidTest, LocalOnlyStatusStillSucceedsSilently)
{
    rpc->UuidCreate = CreateKnownGuid;
    createStatus = RPC_S_UUID_LOCAL_ONLY;

    EXPECT_EQ(knownGuid, Base::CreateGuid());

    EXPECT_EQ("", capture.Err());
    EXPECT_EQ("", capture.Out());
}

TEST_F(GuidTest, OtherCreateStatusIsLoggedAndThrown)
{
    rpc->UuidCreate = CreateKnownGuid;
    createStatus = RPC_S_OUT_OF_MEMORY;

    const auto error = Testing::ThrownWin32([] { Base::CreateGuid(); });

    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(14u, error->ErrorCode());
    EXPECT_EQ(Base::Win32ErrorText(14), error->what());
    Testing::ExpectOnlyErrors(capture, {"ERROR guid - Failed to create GUID { status:14 }"});
}

TEST(GuidToString, GivesTheLowerCaseRpcFormWithoutBraces)
{
    EXPECT_EQ(knownGuidText, Base::GuidToString(knownGuid));
}

TEST(GuidToString, NewGuidHasTheRpcForm)
{
    const std::wstring text = Base::GuidToString(Base::CreateGuid());

    EXPECT_TRUE(IsRpcForm(text)) << std::string(text.begin(), text.end());
}

TEST_F(GuidTest, ToStringFreesTheRpcStringOnce)
{
    rpc->UuidToStringW = RecordingUuidToString;
    rpc->RpcStringFreeW = CountingRpcStringFree;

    EXPECT_EQ(knownGuidText, Base::GuidToString(knownGuid));

    EXPECT_EQ(1, freeCalls);
    ASSERT_NE(nullptr, allocatedString);
    EXPECT_EQ(allocatedString, freedString);
}

TEST_F(GuidTest, ToStringFailureIsLoggedAndThrownWithoutFreeing)
{
    rpc->UuidToStringW = OutOfMemoryUuidToString;
    rpc->RpcStringFreeW = CountingRpcStringFree;

    const auto error = Testing::ThrownWin32([] { Base::GuidToString(knownGuid); });

    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(14u, error->ErrorCode());
    EXPECT_EQ(Base::Win32ErrorText(14), error->what());
    EXPECT_EQ(0, freeCalls);
    Testing::ExpectOnlyErrors(capture, {"ERROR guid - Failed to convert GUID to string { status:14 }"});
}
