// The properties block, byte by byte, without the platform.

#include "session/SessionProperties.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using Session::SessionProperties;

constexpr size_t blockSize = 2688;

void PutUlong(std::vector<uint8_t>& bytes, size_t offset, uint32_t value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

void PutText(std::vector<uint8_t>& bytes, size_t offset, const std::wstring& text)
{
    std::memcpy(bytes.data() + offset, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

// Wnode as both forms set it: size, the session GUID {9C4E2B71-3A5F-4D86-B0E7-52A1F8C63D9E}
// at offset 24 in its little-endian layout, ClientContext 1 (QPC) and the traced-GUID flag.
std::vector<uint8_t> ExpectedWnode()
{
    std::vector<uint8_t> bytes(blockSize, 0);
    PutUlong(bytes, 0, 2688);
    const uint8_t guid[16] = {0x71, 0x2B, 0x4E, 0x9C, 0x5F, 0x3A, 0x86, 0x4D,
                              0xB0, 0xE7, 0x52, 0xA1, 0xF8, 0xC6, 0x3D, 0x9E};
    std::memcpy(bytes.data() + 24, guid, sizeof(guid));
    PutUlong(bytes, 40, 1);
    PutUlong(bytes, 44, 0x20000);
    return bytes;
}

std::vector<uint8_t> Bytes(const SessionProperties& properties)
{
    return std::vector<uint8_t>(properties.Bytes(), properties.Bytes() + blockSize);
}

std::vector<uint8_t> ExpectedBuildForm(const std::wstring& file, uint32_t maxSizeMb, uint32_t mode, uint32_t bufferKb)
{
    std::vector<uint8_t> bytes = ExpectedWnode();
    PutUlong(bytes, 48, bufferKb);  // BufferSize
    PutUlong(bytes, 60, maxSizeMb); // MaximumFileSize; Minimum/MaximumBuffers at 52/56 stay 0
    PutUlong(bytes, 64, mode);      // LogFileMode
    PutUlong(bytes, 68, 5);         // FlushTimer
    PutUlong(bytes, 72, 1);         // EnableFlags
    PutUlong(bytes, 112, 2168);     // LogFileNameOffset
    PutUlong(bytes, 116, 120);      // LoggerNameOffset
    PutText(bytes, 120, L"Kestrova Diagnostics Log");
    PutText(bytes, 2168, file);
    return bytes;
}

SessionProperties Build(const std::wstring& file)
{
    return Session::BuildSessionProperties(L"Kestrova Diagnostics Log", file, 1024, true, 512);
}

// A filled block as a query leaves it, with names wherever the test puts them.
void SetName(SessionProperties& properties, ULONG offset, const std::wstring& text)
{
    std::memcpy(reinterpret_cast<uint8_t*>(properties.Get()) + offset, text.c_str(),
                (text.size() + 1) * sizeof(wchar_t));
}

// The logger and log file names of a build-form block once its offsets are replaced.
std::pair<std::wstring, std::wstring> NamesReadAt(ULONG loggerNameOffset, ULONG logFileNameOffset)
{
    SessionProperties properties = Build(L"C:\\Logs\\k.etl");
    properties.Get()->LoggerNameOffset = loggerNameOffset;
    properties.Get()->LogFileNameOffset = logFileNameOffset;
    return {properties.LoggerName(), properties.LogFileName()};
}

const std::pair<std::wstring, std::wstring> noNames;

} // namespace

TEST(SessionProperties, BuildFormCircularLaysOutEveryByte)
{
    const SessionProperties properties = Build(L"C:\\Logs\\k.etl");
    EXPECT_EQ(ExpectedBuildForm(L"C:\\Logs\\k.etl", 1024, 0x2, 512), Bytes(properties));
}

TEST(SessionProperties, BuildFormSequentialUnlimitedHasModeOneAndSizeZero)
{
    const SessionProperties properties =
        Session::BuildSessionProperties(L"Kestrova Diagnostics Log", L"D:\\x.etl", 0, false, 64);
    EXPECT_EQ(ExpectedBuildForm(L"D:\\x.etl", 0, 0x1, 64), Bytes(properties));
}

TEST(SessionProperties, QueryFormSetsTheWnodeAndWhereTheNamesGo)
{
    const SessionProperties properties = Session::BuildQueryProperties();
    std::vector<uint8_t> expected = ExpectedWnode();
    PutUlong(expected, 112, 2168); // LogFileNameOffset, its area empty
    PutUlong(expected, 116, 120);  // LoggerNameOffset, its area empty
    EXPECT_EQ(expected, Bytes(properties));
    EXPECT_EQ(L"", properties.LoggerName());
    EXPECT_EQ(L"", properties.LogFileName());
}

TEST(SessionProperties, BuildFormNamesReadBackThroughTheOffsets)
{
    const SessionProperties properties = Build(L"C:\\Logs\\k.etl");
    EXPECT_EQ(L"Kestrova Diagnostics Log", properties.LoggerName());
    EXPECT_EQ(L"C:\\Logs\\k.etl", properties.LogFileName());
}

TEST(SessionProperties, PathOf259CharactersFillsTheAreaWithItsTerminator)
{
    const std::wstring file = L"C:\\" + std::wstring(256, L'a');
    ASSERT_EQ(259u, file.size());
    const SessionProperties properties = Build(file);
    EXPECT_EQ(ExpectedBuildForm(file, 1024, 0x2, 512), Bytes(properties));
    EXPECT_EQ(file, properties.LogFileName());
    EXPECT_EQ(259u, SessionProperties::MaxLogFileNameLength);
}

TEST(SessionProperties, LongerPathIsCutToTheAreaNeverPastTheBlock)
{
    const std::wstring file = L"C:\\" + std::wstring(400, L'b');
    const SessionProperties properties = Build(file);
    EXPECT_EQ(file.substr(0, 259), properties.LogFileName());
    EXPECT_EQ(ExpectedBuildForm(file.substr(0, 259), 1024, 0x2, 512), Bytes(properties));
}

TEST(SessionProperties, NamesAtOffsetsTheSystemChoseAreRead)
{
    SessionProperties properties = Session::BuildQueryProperties();
    properties.Get()->LogFileNameOffset = 120;
    SetName(properties, 120, L"C:\\a.etl");
    properties.Get()->LoggerNameOffset = 138;
    SetName(properties, 138, L"Kestrova Diagnostics Log");
    EXPECT_EQ(L"C:\\a.etl", properties.LogFileName());
    EXPECT_EQ(L"Kestrova Diagnostics Log", properties.LoggerName());
}

TEST(SessionProperties, NameAtAnOddOffsetIsRead)
{
    SessionProperties properties = Session::BuildQueryProperties();
    properties.Get()->LoggerNameOffset = 301;
    SetName(properties, 301, L"odd");
    EXPECT_EQ(L"odd", properties.LoggerName());
}

TEST(SessionProperties, OffsetZeroReadsAsEmptyName)
{
    EXPECT_EQ(noNames, NamesReadAt(0, 0));
}

TEST(SessionProperties, OffsetInsideTheStructureReadsAsEmptyName)
{
    EXPECT_EQ(noNames, NamesReadAt(48, 119));
}

TEST(SessionProperties, OffsetAtOrBeyondTheBlockEndReadsAsEmptyName)
{
    EXPECT_EQ(noNames, NamesReadAt(2688, 0xFFFFFFF0));
}

TEST(SessionProperties, NameWithoutTerminatorBeforeTheBlockEndReadsAsEmpty)
{
    SessionProperties properties = Session::BuildQueryProperties();
    auto* bytes = reinterpret_cast<uint8_t*>(properties.Get());
    for (size_t offset = 2600; offset < blockSize; offset += 2) {
        bytes[offset] = 'x';
    }
    properties.Get()->LogFileNameOffset = 2600;
    EXPECT_EQ(L"", properties.LogFileName());
    // One unit short of the end, the last unit is the terminator and the name is whole.
    bytes[blockSize - 2] = 0;
    EXPECT_EQ(std::wstring(43, L'x'), properties.LogFileName());
}

TEST(SessionProperties, MoveHandsOverTheBlock)
{
    SessionProperties first = Build(L"C:\\Logs\\k.etl");
    const EVENT_TRACE_PROPERTIES* block = first.Get();
    SessionProperties second = std::move(first);
    EXPECT_EQ(block, second.Get());
    EXPECT_EQ(L"C:\\Logs\\k.etl", second.LogFileName());
}

TEST(SessionProperties, RealTimeFormLaysOutEveryByte)
{
    const GUID guid = {0x01020304, 0x0506, 0x0708, {0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10}};
    const SessionProperties properties = SessionProperties::RealTime(guid, L"Live Session");

    std::vector<uint8_t> expected(blockSize, 0);
    PutUlong(expected, 0, 2688);
    const uint8_t guidBytes[16] = {0x04, 0x03, 0x02, 0x01, 0x06, 0x05, 0x08, 0x07,
                                   0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10};
    std::memcpy(expected.data() + 24, guidBytes, sizeof(guidBytes));
    PutUlong(expected, 40, 1);       // ClientContext: QPC
    PutUlong(expected, 44, 0x20000); // WNODE_FLAG_TRACED_GUID
    PutUlong(expected, 64, 0x100);   // EVENT_TRACE_REAL_TIME_MODE
    PutUlong(expected, 72, 1);       // EnableFlags
    PutUlong(expected, 112, 2168);   // LogFileNameOffset, its area left empty
    PutUlong(expected, 116, 120);    // LoggerNameOffset
    PutText(expected, 120, L"Live Session");
    EXPECT_EQ(expected, Bytes(properties));
    EXPECT_EQ(L"Live Session", properties.LoggerName());
    EXPECT_EQ(L"", properties.LogFileName());
}
