#pragma once

// What TDH knows about one event: its descriptor, display names and the template that
// lays out its user data. Built from an instrumentation manifest (the standard schema,
// names resolved as the message compiler resolves them) or from the emulator's built-in
// layouts of the system providers the viewer reads.

#include <windows.h>

#include <evntprov.h>

#include <string>
#include <string_view>
#include <vector>

namespace Testing {

// TDH's in-type and out-type numbers (tdh.h, TDH_INTYPE_* and TDH_OUTTYPE_*).
enum InType : USHORT {
    InUnicodeString = 1,
    InAnsiString = 2,
    InInt8 = 3,
    InUInt8 = 4,
    InInt16 = 5,
    InUInt16 = 6,
    InInt32 = 7,
    InUInt32 = 8,
    InInt64 = 9,
    InUInt64 = 10,
    InBoolean = 13,
    InGuid = 15,
    InPointer = 16,
    InFileTime = 17,
    InSid = 19,
    InHexInt32 = 20,
    InHexInt64 = 21,
};

enum OutType : USHORT {
    OutNone = 0,
    OutString = 1,
    OutUnsignedShort = 6,
    OutUnsignedInt = 8,
    OutHexInt64 = 19,
    OutUtf8 = 35,
};

struct PropertySchema {
    std::wstring name;
    USHORT inType = 0;
    USHORT outType = 0;
};

struct EventSchema {
    GUID provider{};
    EVENT_DESCRIPTOR descriptor{};
    std::wstring providerName;
    std::wstring levelName; // empty when the level has no display name
    std::wstring channelName;
    std::wstring taskName;
    std::wstring opcodeName;
    std::wstring message;
    std::vector<PropertySchema> properties;
};

// Every event of every provider in the manifest (UTF-8 XML). Throws std::runtime_error
// for XML it cannot read or names it cannot resolve.
std::vector<EventSchema> ParseManifest(std::string_view xml);

// Microsoft-Windows-Winlogon 811 and 812, Microsoft-Windows-Kernel-Process 1 to 6 in every
// version Windows emits, as the system's own manifests describe them to TDH.
std::vector<EventSchema> SystemProviderSchemas();

// "{6E2B9C41-...}" or without braces.
GUID ParseGuid(std::string_view text);

} // namespace Testing
