#pragma once

// The answers of the property functions, equal to the Win32 codes TdhGetPropertySize and
// TdhGetProperty return for the same situations, so that a binding to the TDH entry points
// can pass them straight through.

#include <cstdint>

namespace Etl {

enum DecodeStatus : uint32_t {
    StatusSuccess = 0,
    StatusNotSupported = 50,        // ERROR_NOT_SUPPORTED: a data type the walk cannot measure
    StatusInsufficientBuffer = 122, // ERROR_INSUFFICIENT_BUFFER
    StatusNotFound = 1168,          // ERROR_NOT_FOUND: no such event or property
    StatusInvalidEventData = 15005, // ERROR_EVT_INVALID_EVENT_DATA: the data ends before the property
};

} // namespace Etl
