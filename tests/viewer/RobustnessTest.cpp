// Payloads no writer of the product produces: truncated, odd, malformed and random. The
// viewer must neither crash nor read outside the record, and must print what its rules
// say for whatever TDH makes of the bytes. User data and extended items sit at the very
// end of a readable page with an inaccessible page behind, so that any read past them
// faults.

#include "platform/TdhApi.h"
#include "session/SessionIdentity.h"
#include "tests/support/ScopedApi.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "trace/EtwWriter.h"
#include "viewer/PropertyReader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace {

// Bytes placed so that the byte after the last one is unreadable.
class GuardedBytes {
public:
    explicit GuardedBytes(const void* data, size_t size)
    {
        const size_t page = 4096;
        const size_t pages = (size + page - 1) / page + 1;
        base = static_cast<uint8_t*>(
            ::VirtualAlloc(nullptr, (pages + 1) * page, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        DWORD old = 0;
        ::VirtualProtect(base + pages * page, page, PAGE_NOACCESS, &old);
        start = base + pages * page - size;
        if (size > 0) {
            std::memcpy(start, data, size);
        }
    }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;
    ~GuardedBytes() { ::VirtualFree(base, 0, MEM_RELEASE); }

    uint8_t* Start() const { return start; }

private:
    uint8_t* base = nullptr;
    uint8_t* start = nullptr;
};

// A record whose user data and extended items are guarded copies of the event's.
class GuardedRecord {
public:
    explicit GuardedRecord(const EVENT_RECORD& source)
        : record(source), userData(source.UserData, source.UserDataLength)
    {
        record.UserData = source.UserDataLength > 0 ? userData.Start() : nullptr;
        for (USHORT index = 0; index < source.ExtendedDataCount; ++index) {
            EVENT_HEADER_EXTENDED_DATA_ITEM item = source.ExtendedData[index];
            itemData.push_back(
                std::make_unique<GuardedBytes>(reinterpret_cast<const void*>(item.DataPtr), item.DataSize));
            item.DataPtr = reinterpret_cast<ULONG64>(itemData.back()->Start());
            items.push_back(item);
        }
        record.ExtendedData = items.empty() ? nullptr : items.data();
    }

    EVENT_RECORD record;

private:
    GuardedBytes userData;
    std::vector<std::unique_ptr<GuardedBytes>> itemData;
    std::vector<EVENT_HEADER_EXTENDED_DATA_ITEM> items;
};

class Robustness : public Testing::ViewerTest {
protected:
    void SetUp() override { LoadManifest(); }

    void RenderGuarded(const EVENT_RECORD& source)
    {
        GuardedRecord guarded(source);
        Render(guarded.record);
    }

    std::wstring Info(const std::wstring& body) const
    {
        return L"{0F}" + DefaultTimestamp() + L" app(1000:2000) Information {08}" + body + L"\n{07}";
    }
};

TEST_F(Robustness, TruncatedUserDataPrintsWhatCanBeRead)
{
    Testing::EventRecordBuilder event = Testing::OperationalEvent(1, 2012);
    Testing::RecordedEvent built = event.Build();
    // Cut inside the terminator of "Message": Name survives, Message runs to the end.
    EVENT_RECORD record = built.record;
    record.UserDataLength = static_cast<USHORT>((4 + 5 + 7) * 2 + 1);
    RenderGuarded(record);
    EXPECT_EQ(Info(L"Name : Message "), Coloured());
}

TEST_F(Robustness, OddLengthUtf16DropsTheStrayByte)
{
    const uint8_t bytes[] = {'a', 0, 'p', 0, 'p', 0, 0, 0, 'N', 0, 'x'};
    RenderGuarded(Testing::EventRecordBuilder(Trace::ProviderGuid, 2012, 1, 4)
                      .Task(3)
                      .Bytes(bytes, sizeof(bytes))
                      .Build()
                      .record);
    // "Name" runs to the end without a terminator: three bytes, (3 - 1) / 2 = one character.
    EXPECT_EQ(Info(L"N :  "), Coloured());
}

TEST_F(Robustness, InvalidUtf8BecomesReplacementCharacters)
{
    Testing::EventRecordBuilder event(Trace::ProviderGuid, 2012, 2, 4);
    event.Task(3).Narrow("app").Narrow("\xC3\x28 bad").Narrow("\xFF").Narrow("ok").Narrow("");
    RenderGuarded(event.Build().record);
    EXPECT_EQ(Info(L"\\uFFFD( bad : \\uFFFD ok"), Coloured());
}

TEST_F(Robustness, MissingPropertiesPrintNothing)
{
    RenderGuarded(Testing::EventRecordBuilder(Trace::ProviderGuid, 2012, 1, 4).Task(3).Utf16(L"app").Build().record);
    EXPECT_EQ(Info(L" :  "), Coloured());
}

TEST_F(Robustness, TextSizesThatDisagreeWithTheDataAreZeroFilled)
{
    // A property claimed longer than the data: the reader takes what TDH hands it.
    tdh.OverridePropertySize(L"Name", 3);
    RenderGuarded(Testing::OperationalEvent(1, 2012).Build().record);
    EXPECT_EQ(Info(L"N : Message Args"), Coloured());
}

TEST_F(Robustness, NumbersOfTheWrongSizeReadAsZero)
{
    options.winlogon = 1;
    tdh.OverridePropertySize(L"Event", 2);
    RenderGuarded(Testing::WinlogonEvent(811, L"Sens", 5).Build().record);
    EXPECT_NE(std::wstring::npos, Coloured().find(L"Winlogon started subscriber Sens processing CreateSession\n"));
}

// Counts the reads that reach TDH, passing each on to the emulator.
decltype(&::TdhGetProperty) emulatedGetProperty = nullptr;
size_t propertyReads = 0;

ULONG WINAPI CountingGetProperty(PEVENT_RECORD event, ULONG contextCount, PTDH_CONTEXT context, ULONG descriptorCount,
                                 PPROPERTY_DATA_DESCRIPTOR descriptors, ULONG bufferSize, PBYTE buffer)
{
    ++propertyReads;
    return emulatedGetProperty(event, contextCount, context, descriptorCount, descriptors, bufferSize, buffer);
}

TEST_F(Robustness, NumbersOfAnotherWidthAreNotRead)
{
    Testing::ScopedApi<Platform::TdhApi> table(Platform::Tdh());
    emulatedGetProperty = table->TdhGetProperty;
    table->TdhGetProperty = CountingGetProperty;
    const Testing::RecordedEvent event = Testing::WinlogonEvent(811, L"Sens", 5).Build();
    tdh.OverridePropertySize(L"Event", 2);
    uint32_t number = 7;
    EXPECT_EQ(0u, Viewer::ReadUInt32Property(event.record, L"Event", number));
    EXPECT_EQ(7u, number);
    EXPECT_EQ(0u, propertyReads);
    uint16_t narrow = 9;
    EXPECT_EQ(0u, Viewer::ReadUInt16Property(event.record, L"Event", narrow));
    EXPECT_EQ(5u, narrow);
    EXPECT_EQ(1u, propertyReads);
    tdh.OverridePropertySize(L"Event", 4);
    EXPECT_EQ(0u, Viewer::ReadUInt16Property(event.record, L"Event", narrow));
    EXPECT_EQ(5u, narrow);
    EXPECT_EQ(0u, Viewer::ReadUInt32Property(event.record, L"Event", number));
    EXPECT_EQ(5u, number);
    EXPECT_EQ(2u, propertyReads);
}

TEST_F(Robustness, TextLosesLeadingNulsAndBlanksButKeepsATrailingNul)
{
    // A "Name" that starts with a NUL and a blank, taken by TDH with a NUL behind it.
    const wchar_t name[] = {L'\0', L' ', L'N', L'm', L'\0', L'\0'};
    const Testing::RecordedEvent event = Testing::EventRecordBuilder(Trace::ProviderGuid, 2012, 1, 4)
                                             .Task(3)
                                             .Utf16(L"app")
                                             .Bytes(name, sizeof(name))
                                             .Build();
    tdh.OverridePropertySize(L"Name", sizeof(name));
    std::wstring text;
    EXPECT_EQ(0u, Viewer::ReadTextProperty(event.record, L"Name", text));
    // Five characters ((12 - 1) / 2); only the start loses its NUL.
    EXPECT_EQ(std::wstring(L"Nm\0", 3), text);
}

TEST_F(Robustness, TdhFailuresLeaveOutputsUntouched)
{
    // Four bytes, so that the number reader gets as far as the read too.
    tdh.OverridePropertySize(L"Name", 4);
    tdh.FailGetProperty(ERROR_INSUFFICIENT_BUFFER);
    std::wstring text = L"kept";
    std::string narrow = "kept";
    uint32_t number = 7;
    std::vector<uint8_t> bytes{1};
    const Testing::RecordedEvent event = Testing::OperationalEvent(1, 2012).Build();
    EXPECT_EQ(static_cast<ULONG>(ERROR_INSUFFICIENT_BUFFER), Viewer::ReadTextProperty(event.record, L"Name", text));
    EXPECT_EQ(static_cast<ULONG>(ERROR_INSUFFICIENT_BUFFER), Viewer::ReadAnsiProperty(event.record, L"Name", narrow));
    EXPECT_EQ(static_cast<ULONG>(ERROR_INSUFFICIENT_BUFFER), Viewer::ReadUInt32Property(event.record, L"Name", number));
    EXPECT_EQ(static_cast<ULONG>(ERROR_INSUFFICIENT_BUFFER), Viewer::ReadPropertyBytes(event.record, L"Name", bytes));
    EXPECT_EQ(L"kept", text);
    EXPECT_EQ("kept", narrow);
    EXPECT_EQ(7u, number);
    EXPECT_EQ(std::vector<uint8_t>{1}, bytes);
    tdh.FailGetProperty(0);
    tdh.FailGetPropertySize(ERROR_NOT_FOUND);
    EXPECT_EQ(static_cast<ULONG>(ERROR_NOT_FOUND), Viewer::ReadTextProperty(event.record, L"Name", text));
    EXPECT_EQ(L"kept", text);
}

TEST_F(Robustness, ReadersFollowTheirRules)
{
    Testing::EventRecordBuilder event(Trace::ProviderGuid, 2020, 1, 4);
    event.Narrow("C:\\m.dll").Narrow("").Pointer(5).UInt32(9).Utf16(L" \tapp \r\n").Narrow("1.0", false);
    const Testing::RecordedEvent built = event.Build();
    std::string narrow;
    EXPECT_EQ(0u, Viewer::ReadAnsiProperty(built.record, L"filename", narrow));
    EXPECT_EQ("C:\\m.dll", narrow);
    EXPECT_EQ(0u, Viewer::ReadAnsiProperty(built.record, L"debug", narrow));
    EXPECT_EQ("", narrow);
    // An unterminated last string keeps every byte.
    EXPECT_EQ(0u, Viewer::ReadAnsiProperty(built.record, L"version", narrow));
    EXPECT_EQ("1.0", narrow);
    uint32_t number = 0;
    EXPECT_EQ(0u, Viewer::ReadUInt32Property(built.record, L"size", number));
    EXPECT_EQ(9u, number);
    number = 0;
    EXPECT_EQ(0u, Viewer::ReadUInt32Property(built.record, L"base", number)); // eight bytes: not read
    EXPECT_EQ(0u, number);
    std::wstring text;
    EXPECT_EQ(0u, Viewer::ReadTextProperty(built.record, L"ProcessName", text));
    EXPECT_EQ(L"app", text);
    // The unterminated version took the rest, so the machine is missing.
    std::vector<uint8_t> bytes;
    EXPECT_EQ(static_cast<ULONG>(ERROR_EVT_INVALID_EVENT_DATA),
              Viewer::ReadPropertyBytes(built.record, L"machine", bytes));
    EXPECT_TRUE(bytes.empty());
}

TEST_F(Robustness, VersionTwoMeansUtf8WhateverTheProvider)
{
    // A Kernel-Process process start whose image name TDH hands over as six bytes: version 2
    // declares it UTF-16, but the viewer reads every version 2 as UTF-8.
    const char name[] = "Caf\xC3\xA9";
    tdh.OverridePropertySize(L"ImageName", sizeof(name));
    std::wstring text;
    const Testing::RecordedEvent versionTwo = Testing::EventRecordBuilder(Session::KernelProcessProviderGuid, 1, 2, 4)
                                                  .UInt32(1)
                                                  .UInt64(2)
                                                  .UInt32(3)
                                                  .UInt32(4)
                                                  .UInt32(5)
                                                  .Bytes(name, sizeof(name))
                                                  .Build();
    EXPECT_EQ(0u, Viewer::ReadTextProperty(versionTwo.record, L"ImageName", text));
    EXPECT_EQ(L"Caf\u00e9", text);
    // Any other version reads the same bytes as UTF-16: (6 - 1) / 2 characters.
    const Testing::RecordedEvent versionZero = Testing::EventRecordBuilder(Session::KernelProcessProviderGuid, 1, 0, 4)
                                                   .UInt32(1)
                                                   .UInt64(2)
                                                   .UInt32(3)
                                                   .UInt32(4)
                                                   .Bytes(name, sizeof(name))
                                                   .Build();
    EXPECT_EQ(0u, Viewer::ReadTextProperty(versionZero.record, L"ImageName", text));
    EXPECT_EQ((std::wstring{static_cast<wchar_t>(0x6143), static_cast<wchar_t>(0xC366)}), text);
}

// Up to 95 bytes, a quarter of them zero, so that terminators turn up often.
std::vector<uint8_t> RandomPayload(std::mt19937& random)
{
    std::vector<uint8_t> payload(random() % 96);
    for (uint8_t& byte : payload) {
        byte = static_cast<uint8_t>(random() % 4 == 0 ? 0 : random() % 256);
    }
    return payload;
}

// A thousand random payloads for each template the viewer reads: whatever TDH makes of
// them, every shown event is one coloured block that ends restored.
TEST_F(Robustness, RandomPayloadsNeverCrashOrOverread)
{
    options.level = 18;
    options.winlogon = 1;
    options.process = 0xFFFFFFFF;
    options.threads = 1;
    options.images = 1;
    options.callstack = 0;
    std::mt19937 random(20240307);
    struct Kind {
        const GUID* provider;
        USHORT id;
        UCHAR version;
        UCHAR level;
        USHORT task;
    };
    const Kind kinds[] = {
        {&Trace::ProviderGuid, 2004, 1, 4, 1},
        {&Trace::ProviderGuid, 2001, 1, 17, 2},
        {&Trace::ProviderGuid, 2012, 1, 4, 3},
        {&Trace::ProviderGuid, 2014, 2, 2, 3},
        {&Trace::ProviderGuid, 2021, 1, 1, 1},
        {&Session::WinlogonProviderGuid, 811, 0, 4, 0},
        {&Session::KernelProcessProviderGuid, 1, 0, 4, 0},
        {&Session::KernelProcessProviderGuid, 2, 0, 4, 0},
        {&Session::KernelProcessProviderGuid, 3, 0, 4, 0},
        {&Session::KernelProcessProviderGuid, 5, 0, 4, 0},
    };
    size_t shown = 0;
    for (const Kind& kind : kinds) {
        for (int round = 0; round < 1000; ++round) {
            const std::vector<uint8_t> payload = RandomPayload(random);
            Testing::EventRecordBuilder event(*kind.provider, kind.id, kind.version, kind.level);
            event.Task(kind.task).Bytes(payload.data(), payload.size());
            if (random() % 3 == 0) {
                std::vector<uint8_t> extra(random() % 24);
                event.ExtendedItem(static_cast<USHORT>(3 + random() % 4), extra.data(), extra.size());
            }
            capture.Clear();
            console.ClearChanges();
            RenderGuarded(event.Build().record);
            const auto& changes = console.Changes();
            if (!changes.empty()) {
                ++shown;
                ASSERT_EQ(3u, changes.size());
                EXPECT_EQ(0x08, changes[1].attribute);
                EXPECT_EQ(0x07, changes[2].attribute);
                const std::wstring text = capture.WideOut();
                ASSERT_FALSE(text.empty());
                EXPECT_EQ(L'\n', text.back());
                EXPECT_EQ(0u, text.find(DefaultTimestamp()));
            }
        }
    }
    // Most payloads still describe an event worth showing; only their fields are odd.
    EXPECT_LT(6000u, shown);
}

// Image events go to the symbol loader rather than the event display: with call stacks
// asked for, a thousand random ones print at most their image line and load nothing
// that could take the process down.
TEST_F(Robustness, RandomImagePayloadsNeverCrashOrOverread)
{
    options.callstack = 1;
    std::mt19937 random(20240308);
    size_t shown = 0;
    for (int round = 0; round < 1000; ++round) {
        const std::vector<uint8_t> payload = RandomPayload(random);
        Testing::EventRecordBuilder event(Trace::ProviderGuid, 2020, 1, 4);
        event.Task(1).Bytes(payload.data(), payload.size());
        capture.Clear();
        console.ClearChanges();
        RenderGuarded(event.Build().record);
        const auto& changes = console.Changes();
        if (changes.empty()) {
            EXPECT_EQ(L"", capture.WideOut());
            continue;
        }
        ++shown;
        ASSERT_EQ(3u, changes.size());
        EXPECT_EQ(0x0F, changes[0].attribute);
        EXPECT_EQ(0x08, changes[1].attribute);
        EXPECT_EQ(0x07, changes[2].attribute);
        const std::wstring text = capture.WideOut();
        EXPECT_EQ(0u, text.find(DefaultTimestamp()));
        EXPECT_NE(std::wstring::npos, text.find(L" Image "));
        EXPECT_EQ(L'\n', text.back());
    }
    // Only an empty payload lacks the file name that the image line needs.
    EXPECT_LT(950u, shown);
}

} // namespace
