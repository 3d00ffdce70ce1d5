#pragma once

// An event's properties and message as text.

#include "etl/Event.h"
#include "etl/EventDescription.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace Etl {

// The text of the top-level property at that index: its value through FormatValue; an array's
// elements joined by ", ", except that an array of 8- or 16-bit integers with the out-type
// of a string is that string; a struct, or a property that cannot be located or decoded,
// gives "".
std::u16string FormatProperty(const Event& event, const EventDescription& description, size_t index);

// Appends to text a message with its inserts replaced, as FormatMessage replaces them: %1 to %99 by what
// appendProperty appends for that top-level property (index from 0; a "!printf!" format after
// the number is skipped; a number beyond propertyCount stays as written), %% by %, %n by a line
// break ("\r\n"), %t by a tab, %r by a carriage return, %b by a space, %. and %! by
// themselves. Shared by the decoder and by whoever reads the properties another way (the
// viewer reads them through TDH).
void AppendMessageWithInserts(std::u16string_view message, size_t propertyCount,
                              const std::function<void(size_t index, std::u16string& text)>& appendProperty,
                              std::u16string& text);

// The description's message with its inserts replaced, as FormatMessage replaces them: %1 to
// %99 by the text of that top-level property (a "!printf!" format after the number is
// skipped; a number beyond the properties stays as written), %% by %, %n by a line break
// ("\r\n"), %t by a tab, %r by a carriage return, %b by a space, %. and %! by themselves.
std::u16string FormatEventMessage(const Event& event, const EventDescription& description);

} // namespace Etl
