#pragma once

// The Trace Data Helper answered by ksdiag's own event decoder (etl/Decoder.h), for logs
// read with the built-in reader and wherever tdh.dll cannot serve (Wine stubs it).
//
// The same contract as the system's: TdhLoadManifest adds the events of the manifest file
// at the path (the file's bytes, parsed then; the file may go afterwards);
// TdhGetEventInformation answers ERROR_NOT_FOUND for an event nothing describes and
// ERROR_INSUFFICIENT_BUFFER with the size it needs when the buffer is smaller (or null);
// TdhGetPropertySize and TdhGetProperty find one top-level property by name (an array
// element by its index), or with two PROPERTY_DATA_DESCRIPTORs a member of a top-level
// struct (the struct, with its element when it is an array, then the member), and answer
// ERROR_NOT_FOUND, ERROR_INVALID_PARAMETER for an array index past the elements,
// ERROR_EVT_INVALID_EVENT_DATA when the user data ends before the property, or
// ERROR_INSUFFICIENT_BUFFER for a short buffer. More than two descriptors answer
// ERROR_NOT_SUPPORTED: TDH's structs hold no structs. Context entries other than
// TDH_CONTEXT_POINTERSIZE are ignored.
//
// One decoder per process, like TDH's own state: a manifest loaded once serves every later
// call. Not thread-safe: the thread that pumps the log is its only caller.

#include "platform/TdhApi.h"

namespace Platform {

const TdhApi& BuiltinTdh();

} // namespace Platform
