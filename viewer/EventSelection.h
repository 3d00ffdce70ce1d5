#pragma once

// Which records VIEW and LIVE show: the providers the viewer knows, the text view's filters
// by id, level and options (which the JSON view applies too, unless /all), and the window of
// time (which applies to every view).

#include "viewer/Symbols.h"
#include "viewer/ViewOptions.h"

#include <windows.h>

#include <evntcons.h>

namespace Viewer {

enum class Provider { Product, Winlogon, KernelProcess, Other };

Provider Classify(const GUID& provider);

// The filters by provider, id, level and options: false drops the record. Image events of the
// product are never shown here; with /callstack their modules are loaded for symbols first,
// in the way output asks (so below INFO, where the level filter drops them, stacks stay
// unresolved).
bool Wanted(Provider provider, const EVENT_RECORD& record, const ViewOptions& options, ImageOutput output);

// The Kernel-Process events of one process only: false for an event of another process than
// options.process (read through TDH, so after the event could be described). For a process
// start that is the new process, not the one that logged the event.
bool OfWantedProcess(Provider provider, const EVENT_RECORD& record, const ViewOptions& options);

// Whether the record's time stamp lies in [options.from, options.to].
bool InTimeWindow(const EVENT_RECORD& record, const ViewOptions& options);

} // namespace Viewer
