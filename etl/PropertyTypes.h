#pragma once

// The numbers with which TDH describes a property's data (_TDH_IN_TYPE, _TDH_OUT_TYPE and the
// PROPERTY_FLAGS of EVENT_PROPERTY_INFO in tdh.h), kept equal to them so that a description can
// be handed on as a TRACE_EVENT_INFO without translation. Written out here because the library
// builds without Windows headers.

#include <cstdint>

namespace Etl {

enum InType : uint16_t {
    InNull = 0,
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
    InFloat = 11,
    InDouble = 12,
    InBoolean = 13, // 32 bits wide
    InBinary = 14,
    InGuid = 15,
    InPointer = 16, // as wide as the producer's pointers
    InFileTime = 17,
    InSystemTime = 18,
    InSid = 19,
    InHexInt32 = 20,
    InHexInt64 = 21,
    InManifestCountedString = 22,     // 16-bit byte count, then UTF-16
    InManifestCountedAnsiString = 23, // 16-bit byte count, then 8-bit text
    InManifestCountedBinary = 25,     // 16-bit byte count, then the bytes
    InCountedString = 300,
    InCountedAnsiString = 301,
    InReversedCountedString = 302, // the byte count big-endian
    InReversedCountedAnsiString = 303,
    InNonNullTerminatedString = 304, // the rest of the data
    InNonNullTerminatedAnsiString = 305,
    InUnicodeChar = 306,
    InAnsiChar = 307,
    InSizeT = 308,   // as wide as the producer's pointers
    InHexDump = 309, // 32-bit byte count, then the bytes
    InWbemSid = 310, // TOKEN_USER (two pointers), then a SID
};

enum OutType : uint16_t {
    OutNull = 0,
    OutString = 1,
    OutDateTime = 2,
    OutByte = 3,
    OutUnsignedByte = 4,
    OutShort = 5,
    OutUnsignedShort = 6,
    OutInt = 7,
    OutUnsignedInt = 8,
    OutLong = 9,
    OutUnsignedLong = 10,
    OutFloat = 11,
    OutDouble = 12,
    OutBoolean = 13,
    OutGuid = 14,
    OutHexBinary = 15,
    OutHexInt8 = 16,
    OutHexInt16 = 17,
    OutHexInt32 = 18,
    OutHexInt64 = 19,
    OutPid = 20,
    OutTid = 21,
    OutPort = 22,
    OutIpv4 = 23,
    OutIpv6 = 24,
    OutSocketAddress = 25,
    OutCimDateTime = 26,
    OutEtwTime = 27,
    OutXml = 28,
    OutErrorCode = 29,
    OutWin32Error = 30,
    OutNtStatus = 31,
    OutHResult = 32,
    OutCultureInsensitiveDateTime = 33,
    OutJson = 34,
    OutUtf8 = 35,
    OutPkcs7WithTypeInfo = 36,
    OutCodePointer = 37,
    OutDateTimeUtc = 38,
    OutReducedString = 300,
    OutNoPrint = 301,
};

// EVENT_PROPERTY_INFO Flags.
enum PropertyFlag : uint32_t {
    PropertyStruct = 0x1,
    PropertyParamLength = 0x2, // the length is another property's value: lengthPropertyIndex
    PropertyParamCount = 0x4,  // the count is another property's value: countPropertyIndex
    PropertyWbemXmlFragment = 0x8,
    PropertyParamFixedLength = 0x10, // the length is fixed, even when it is 1
    PropertyParamFixedCount = 0x20,  // an array of fixed count, even when it is 1
    PropertyHasTags = 0x40,
    PropertyHasCustomSchema = 0x80,
    // Not a TDH flag: the element count is a 16-bit number in the data just before the
    // elements (a TraceLogging variable-length array). A binding to TDH's structures must
    // translate it; TDH itself describes such arrays in its own way.
    PropertyCountInData = 0x10000,
};

} // namespace Etl
