#pragma once

// Turns one trace message into its console line, trace-file line and ETW event.

#include "trace/LogLevel.h"

#include <ostream>
#include <string>
#include <string_view>

namespace Trace {

// The calling thread's field stream (FieldText), filled by RenderFields.
std::ostream& FieldStream();

// Builds "HH:MM:SS.mmmZ LEVEL    category(pid:tid) - " into the calling thread's prefix
// stream, only when the threshold lets the level through to console or file.
void BuildLinePrefix(LogLevel level, const std::string& category);

// Writes prefix, message and field text to the console (standard error for FATAL and
// ERROR, standard output otherwise) and the trace file when the threshold allows, then
// the ETW event when a session listens. The thread's streams are empty afterwards,
// whatever happened. Throws std::ios_base::failure "ios_base::badbit set" if the
// thread's streams failed (nothing is written then), and lets through what opening the
// trace file throws (after the console line has been written).
void WriteMessage(LogLevel level, const std::string& category, std::string_view message);

} // namespace Trace
