#pragma once

// Puts the trace framework back as a process starts, for test suites that run many tests
// in one process, each configuring the framework its own way. The program configures it
// once and never resets it.

namespace Trace {

// Settings zero and nothing configured: the next EnsureConfigured, or the next message,
// configures again with its own options. The crash handlers give way to whatever they
// replaced, and their dbghelp bindings are released; the provider's registration and
// enable state are forgotten (without EventUnregister); the string limits are read
// again on next use; the preset trace file name is cleared and the trace file closed,
// its stream's state and exception mask cleared; the DebugTrace console echo is off.
// No other thread may log meanwhile.
void ResetTraceFramework();

// The pieces, each defined next to the state it resets.
namespace Reset {
void ForgetConfiguration();
void UninstallCrashHandlers();
void ForgetProviderRegistration();
void ForgetStringLimits();
void CloseTraceFile();
} // namespace Reset

} // namespace Trace
