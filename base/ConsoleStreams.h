#pragma once

// The program writes narrow lines through std::cout and std::cerr, and wide text (the
// session reports, the event viewer) through std::wcout. The runtime's own std::wcout
// cannot print characters outside the C locale; this replaces its buffer with one that
// writes UTF-16 to a real console and converts to the console code page otherwise
// (a pipe or a file), keeping the order of narrow and wide output.

namespace Base {

// Installs the wide buffer on std::wcout. Call once, first thing in main.
void InstallConsoleStreams();

} // namespace Base
