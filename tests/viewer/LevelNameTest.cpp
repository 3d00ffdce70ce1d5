// The level name is found through an offset that TDH answers inside the
// TRACE_EVENT_INFO. A substituted or faulty TDH can answer any offset; the header then
// shows no level name, and nothing outside the event-information buffer is read.

#include "platform/TdhApi.h"
#include "tests/support/ScopedApi.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "viewer/EventInformation.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace {

// What the substituted TDH does to the emulator's answer.
enum class Tampering { None, FarOffset, Unterminated, OddOffset, IntoFixedPart, EscapeSequence };
Tampering tampering = Tampering::None;
decltype(&::TdhGetEventInformation) emulatedGetEventInformation = nullptr;

ULONG WINAPI TamperingGetEventInformation(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context,
                                          PTRACE_EVENT_INFO buffer, ULONG* bufferSize)
{
    const ULONG status = emulatedGetEventInformation(event, contextCount, context, buffer, bufferSize);
    if (status != ERROR_SUCCESS) {
        return status;
    }
    // The product's buffer is 2048 bytes; the emulator's answer takes far less of it.
    auto* bytes = reinterpret_cast<uint8_t*>(buffer);
    const ULONG size = Viewer::EventInformationBufferSize();
    switch (tampering) {
    case Tampering::None:
        break;
    case Tampering::FarOffset:
        buffer->LevelNameOffset = 0x7FFFFF00;
        break;
    case Tampering::Unterminated:
        // The last four bytes hold two characters and no terminator follows them.
        std::memcpy(bytes + size - 4, L"AB", 4);
        buffer->LevelNameOffset = size - 4;
        break;
    case Tampering::OddOffset:
        buffer->LevelNameOffset += 1;
        break;
    case Tampering::IntoFixedPart:
        buffer->LevelNameOffset = offsetof(TRACE_EVENT_INFO, ProviderGuid);
        break;
    case Tampering::EscapeSequence:
        std::memcpy(bytes + size - 18, L"Inf\x1B[2Jo", 18);
        buffer->LevelNameOffset = size - 18;
        break;
    }
    return status;
}

struct LevelNameCase {
    const char* name;
    Tampering tampering;
    const wchar_t* shown; // what stands between the source and the body
};

// Names the case in test listings rather than dumping its bytes.
void PrintTo(const LevelNameCase& levelNameCase, std::ostream* out)
{
    *out << levelNameCase.name;
}

class LevelName : public Testing::ViewerTest, public testing::WithParamInterface<LevelNameCase> {
protected:
    LevelName() : table(Platform::Tdh())
    {
        emulatedGetEventInformation = table->TdhGetEventInformation;
        table->TdhGetEventInformation = TamperingGetEventInformation;
    }

    void SetUp() override { LoadManifest(); }

    Testing::ScopedApi<Platform::TdhApi> table;
};

TEST_P(LevelName, HeaderShowsOnlyWhatTheBufferHolds)
{
    tampering = GetParam().tampering;
    Render(Testing::OperationalEvent(1, 2012).Build().record);
    EXPECT_EQ(L"{0F}" + DefaultTimestamp() + L" app(1000:2000) " + GetParam().shown + L"{08}Name : Message Args\n{07}",
              Coloured());
}

INSTANTIATE_TEST_SUITE_P(
    Answers, LevelName,
    testing::Values(LevelNameCase{"Honest", Tampering::None, L"Information "},
                    LevelNameCase{"OffsetFarBeyondTheBuffer", Tampering::FarOffset, L""},
                    LevelNameCase{"NoTerminatorInTheBuffer", Tampering::Unterminated, L""},
                    LevelNameCase{"OddOffset", Tampering::OddOffset, L""},
                    LevelNameCase{"OffsetIntoTheFixedPart", Tampering::IntoFixedPart, L""},
                    LevelNameCase{"ControlCharactersEscaped", Tampering::EscapeSequence, L"Inf\\u001B[2Jo "}),
    [](const testing::TestParamInfo<LevelNameCase>& info) { return std::string(info.param.name); });

// The bounds themselves, on a buffer of the test's own.
class EventInformationString : public testing::Test {
protected:
    EventInformationString() : storage(64, 0) { std::memcpy(Bytes() + stringOffset, L"Warning", 16); }

    uint8_t* Bytes() { return reinterpret_cast<uint8_t*>(storage.data()); }
    const TRACE_EVENT_INFO& Information() const { return *reinterpret_cast<const TRACE_EVENT_INFO*>(storage.data()); }
    ULONG Size() const { return static_cast<ULONG>(storage.size() * sizeof(uint64_t)); }

    static constexpr ULONG stringOffset = 400;
    std::vector<uint64_t> storage; // 512 bytes, aligned as TDH's buffer is
};

TEST_F(EventInformationString, ReadsATerminatedStringInside)
{
    EXPECT_EQ(L"Warning", Viewer::EventInformationString(Information(), Size(), stringOffset));
}

TEST_F(EventInformationString, ZeroAndOffsetsOutsideGiveNothing)
{
    for (const ULONG offset : {0ul, Size(), 0xFFFFFFFEul, stringOffset + 1,
                               static_cast<ULONG>(offsetof(TRACE_EVENT_INFO, EventPropertyInfoArray) - 2)}) {
        EXPECT_EQ(std::nullopt, Viewer::EventInformationString(Information(), Size(), offset)) << offset;
    }
}

TEST_F(EventInformationString, TheTerminatorMustBeInside)
{
    // "Warning" and its terminator end at byte 416; a size that cuts before the
    // terminator leaves the string unterminated.
    EXPECT_EQ(L"Warning", Viewer::EventInformationString(Information(), stringOffset + 16, stringOffset));
    EXPECT_EQ(std::nullopt, Viewer::EventInformationString(Information(), stringOffset + 15, stringOffset));
    EXPECT_EQ(std::nullopt, Viewer::EventInformationString(Information(), stringOffset + 14, stringOffset));
}

TEST_F(EventInformationString, AnEmptyStringIsAString)
{
    EXPECT_EQ(L"", Viewer::EventInformationString(Information(), Size(), stringOffset + 16));
}

} // namespace
