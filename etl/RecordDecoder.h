#pragma once

// Fills an Etl::Event from one record the way ProcessTrace fills an EVENT_RECORD: the
// header fields, the user data and the extended data items. Classic and kernel records
// get EVENT_HEADER_FLAG_CLASSIC_HEADER, their class GUID as the provider, the class type
// as the opcode and the class version and level in the descriptor.

#include "etl/BufferPlace.h"
#include "etl/ByteCursor.h"
#include "etl/Event.h"
#include "etl/RecordHead.h"

namespace Etl {

// record: exactly the record's head.size bytes, its origin the record's offset in the
// buffer. Sets every field of event that the record determines; the caller sets
// timestamp, processor, loggerId, bufferIndex and bufferOffset, and adds
// FlagProcessorIndex. event.userData and event.extended point into record's bytes.
// Throws Etl::FormatError naming place for extended data items that do not fit the
// record; event is then partly filled.
void DecodeRecord(const ByteCursor& record, const RecordHead& head, const BufferPlace& place, Event& event);

} // namespace Etl
