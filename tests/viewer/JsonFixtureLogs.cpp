// json_fixture_logs <folder>: writes the logs that CheckJsonOutput.py reads through
// ksdiag.exe, with the test-only writer:
// - product.etl: product events of every kind the text view prints on one line (both
//   versions of the operational events, the Trace and Method events at every level,
//   terminal-session ids and a stack), in several processes, for the agreement of the text
//   and the JSON view;
// - hostile.etl: events whose texts carry every control character, an escape sequence, C1
//   controls, unpaired surrogates and bytes that are not UTF-8, and a record of an unknown
//   provider, for the JSON's validity whatever a log holds.
// Exit code 0 when both were written.

#include "tests/viewer/RecordedLog.h"
#include "tests/viewer/ViewerEvents.h"
#include "trace/EtwWriter.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr LONGLONG firstStamp = 133542759010420000LL; // 2024-03-07 09:05:01.042 UTC
constexpr LONGLONG stampStep = 1234567;               // 0.1234567 s: every digit of the fraction moves

std::vector<Testing::RecordedEvent> Stamped(std::vector<Testing::EventRecordBuilder>& builders)
{
    std::vector<Testing::RecordedEvent> events;
    for (size_t index = 0; index < builders.size(); ++index) {
        builders[index].Timestamp(firstStamp + static_cast<LONGLONG>(index) * stampStep);
        events.push_back(builders[index].Build());
    }
    return events;
}

std::vector<Testing::RecordedEvent> ProductEvents()
{
    std::vector<Testing::EventRecordBuilder> builders;
    for (unsigned round = 0; round < 20; ++round) {
        const std::wstring number = std::to_wstring(round);
        for (UCHAR version = 1; version <= 2; ++version) {
            // Error events (2014) print their stack on a second text line; they are left to
            // the rendering tests, so that here one event is one line of either view.
            for (USHORT id = 2010; id <= 2013; ++id) {
                Testing::OperationalFields fields;
                fields.processName = L"service" + number;
                fields.name = L"Operation" + std::to_wstring(id);
                fields.message = L"message " + number + L" of " + std::to_wstring(id);
                fields.arguments = L"arguments=" + number;
                builders.push_back(Testing::OperationalEvent(version, id, fields));
            }
        }
        for (USHORT id = 2000; id <= 2006; ++id) {
            builders.push_back(
                Testing::DebugTraceEvent(id, L"worker", L"trace " + number + L" " + std::to_wstring(id)));
        }
        builders.back().SessionId(round % 3).StackTrace64(7, {0x7FF600001000ull + round, 0x7FF600002000ull});
    }
    for (size_t index = 0; index < builders.size(); ++index) {
        builders[index].Process(4000 + static_cast<ULONG>(index % 5), 9000 + static_cast<ULONG>(index % 7));
    }
    return Stamped(builders);
}

std::vector<Testing::RecordedEvent> HostileEvents()
{
    std::wstring controls;
    for (wchar_t unit = 1; unit < 0x20; ++unit) {
        controls.push_back(unit);
    }
    controls += L"\x7F\x80\x9B\x9F\"\\/\x1B[31mred\x1B[0m";
    const wchar_t lone[] = {L'a', 0xD800, L'b', 0xDC00, L'c', 0xD83D, 0xDE00, L'd', 0xDBFF, 0};
    std::vector<Testing::EventRecordBuilder> builders;
    Testing::OperationalFields fields;
    fields.name = controls;
    fields.message = lone;
    fields.arguments = L"\u65E5\u672C \U0001F600";
    builders.push_back(Testing::OperationalEvent(1, 2012, fields));
    builders.push_back(Testing::OperationalEvent(2, 2012, fields));
    // Version 2 carries UTF-8: bytes that are not, written as they are.
    Testing::EventRecordBuilder raw(Trace::ProviderGuid, 2013, 2, 3);
    raw.Task(3).Opcode(14);
    raw.Narrow("app")
        .Narrow("bad\x80\xC0\xAF\xED\xA0\x80\xFF\xE6\x97")
        .Narrow("\x1B]0;title\x07")
        .Narrow("")
        .Narrow("");
    builders.push_back(raw);
    builders.push_back(Testing::DebugTraceEvent(2004, controls, lone));
    builders.push_back(Testing::WinlogonEvent(811, controls, 2));
    const GUID unknown = {0x0BADF00D, 0x1234, 0x5678, {0x9A, 0xBC, 0xDE, 0xF0, 0x12, 0x34, 0x56, 0x78}};
    const uint8_t bytes[] = {0x00, 0xFF, 0x1B, 0x22, 0x5C, 0x80};
    builders.push_back(Testing::EventRecordBuilder(unknown, 9, 0, 4).Bytes(bytes, sizeof bytes));
    return Stamped(builders);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: json_fixture_logs <folder>\n");
        return 2;
    }
    try {
        const std::filesystem::path folder = argv[1];
        std::filesystem::create_directories(folder);
        Testing::WriteRecordedLog(folder / "product.etl", ProductEvents());
        Testing::WriteRecordedLog(folder / "hostile.etl", HostileEvents());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "json_fixture_logs: %s\n", failure.what());
        return 1;
    }
    return 0;
}
