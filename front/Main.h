#pragma once

// The whole of ksdiag except the process entry: trace start-up, the argument store, the
// banner, the command word and one command. Tests call it in-process with an argument
// vector of their own.

namespace Front {

// Returns the process exit code: 0 for success (and for "/?", LIVE and any failure
// that escaped as a Base::Exception, whose message goes to standard error), 1 for a
// failed or unknown command, -1 when no command was given. wideArgv, when given, is the
// same command line in UTF-16 (argc tokens), from which the argument store takes the
// values of the options (Base::ProcessArguments::Populate).
int Main(int argc, char** argv, const wchar_t* const* wideArgv = nullptr);

// Main for the process itself: argv beside the process's own command line in UTF-16.
int ProcessMain(int argc, char** argv);

} // namespace Front
