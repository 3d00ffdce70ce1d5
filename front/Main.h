#pragma once

// The whole of ksdiag except the process entry: trace start-up, the argument store, the
// banner, the command word and one command. Tests call it in-process with an argument
// vector of their own.

namespace Front {

// Returns the process exit code: 0 for success (and for "/?", LIVE and any failure
// that escaped as a Base::Exception, whose message goes to standard error), 1 for a
// failed or unknown command, -1 when no command was given.
int Main(int argc, char** argv);

} // namespace Front
