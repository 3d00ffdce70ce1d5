#pragma once

// Between the platform's EVENT_RECORD and the log-file library's Etl::Event: the built-in
// consumer hands the library's records to the event callback as EVENT_RECORDs, and the
// built-in TDH reads them back as Etl::Events for the decoder. Nothing is copied but the
// header fields: the user data and the extended items stay where they are.

#include "etl/Event.h"

#include <windows.h>

#include <evntcons.h>

#include <vector>

namespace Platform {

GUID ToGuid(const Etl::Guid& guid) noexcept;
Etl::Guid ToEtlGuid(const GUID& guid) noexcept;

// Fills event from the record: header fields, the producer's pointer size (4 when the
// header says 32-bit, else 8), the user data and the extended items as spans of the
// record's own memory. event is valid as long as the record's buffers are.
void EventFromRecord(const EVENT_RECORD& record, Etl::Event& event);

// Fills record from event for delivery to an event callback: header, buffer context, user
// data and extended items, which point into event and into items (resized here; kept by the
// caller so that delivering a record allocates nothing once it has met its widest).
// UserContext is left for the caller.
void RecordFromEvent(const Etl::Event& event, EVENT_RECORD& record,
                     std::vector<EVENT_HEADER_EXTENDED_DATA_ITEM>& items);

} // namespace Platform
