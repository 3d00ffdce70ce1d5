#pragma once

// Builders of the events the viewer reads, laid out as their writers lay them out: the
// product's events after its instrumentation manifest, Winlogon's and Kernel-Process's
// after their system manifests. Each returns the builder, so that a test can still add
// extended data or change the header.

#include "tests/emulator/EventRecordBuilder.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Testing {

// Trace (2000, 2003-2006) and Method (2001, 2002) events: ProcessName and the text.
EventRecordBuilder DebugTraceEvent(USHORT id, std::wstring_view processName, std::wstring_view text);

// Operational events 2010-2014; version 1 writes UTF-16, version 2 UTF-8.
struct OperationalFields {
    std::wstring processName = L"app";
    std::wstring name = L"Name";
    std::wstring message = L"Message";
    std::wstring arguments = L"Args";
    std::wstring stack = L"Stack";
};
EventRecordBuilder OperationalEvent(UCHAR version, USHORT id, const OperationalFields& fields = {});

// DebugImage (2020). pointerSize 4 logs "base" as a 32-bit producer does.
struct ImageFields {
    std::string fileName = "C:\\Kestrova\\module.dll";
    std::string debug;
    uint64_t base = 0x180000000;
    uint32_t size = 0x10000;
    std::wstring processName = L"app";
    std::string version = "1.2.3.4";
    uint16_t machine = 0x8664;
    unsigned pointerSize = 8;
};
EventRecordBuilder ImageEvent(const ImageFields& fields);

// DebugFault (2021).
EventRecordBuilder FaultEvent(std::wstring_view processName, std::string_view debug);

// Winlogon 811 (started) and 812 (finished).
EventRecordBuilder WinlogonEvent(USHORT id, std::wstring_view subscriber, uint32_t notification);

// Kernel-Process 1 (process start) to 6 (image unload), laid out as the system's manifest
// lays out that version. Fields an id does not carry are left out. Without a version, each
// id takes one whose ImageName the viewer reads as text: 2 (the stop event of Windows 10,
// whose ImageName is ANSI) for process stop, 0 for the rest.
struct KernelFields {
    uint32_t processId = 1234;
    uint32_t parentProcessId = 4;
    uint32_t sessionId = 1;
    uint32_t threadId = 5678;
    uint32_t exitCode = 0;
    std::wstring imageName = L"C:\\Windows\\notepad.exe";
    std::optional<UCHAR> version;
};
EventRecordBuilder KernelProcessEvent(USHORT id, const KernelFields& fields = {});

// The product provider's UTF-8 form of a text.
std::string Utf8(std::wstring_view text);

} // namespace Testing
