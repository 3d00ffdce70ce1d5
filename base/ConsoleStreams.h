#pragma once

// The program writes narrow lines through std::cout and std::cerr, and wide text (the
// session reports, the event viewer) through std::wcout. The runtime's own std::wcout
// cannot print characters outside the C locale, and writing both through the C runtime
// byte by byte costs a console or file call per insertion. This puts one
// Base::ConsoleOutputBuffer behind std::cout and std::wcout: text is buffered, keeps its
// order across the two, and goes out once per flush, as UTF-16 to a console or as UTF-8
// to a file or pipe (base/RedirectedText.h). std::cerr stays with the C runtime,
// unbuffered; it is tied to std::cout, so what was written before an error line
// appears before it.

namespace Base {

// Installs the buffer on std::cout and std::wcout. Call once, first thing in main. At
// exit the buffered text is written and the runtime's own buffers are put back.
void InstallConsoleStreams();

} // namespace Base
