#pragma once

// The stage of most viewer tests: the viewer's process-wide state as a fresh process has
// it, console, TDH and consumer emulators in place, standard output captured, the
// temporary directory moved into a directory of the test's own, and the command code's
// trace lines echoed to the captured std::cout.

#include "platform/FileApi.h"
#include "tests/emulator/ConsoleEmulator.h"
#include "tests/emulator/ConsumerEmulator.h"
#include "tests/emulator/TdhEmulator.h"
#include "tests/support/OutputCapture.h"
#include "tests/support/ScopedApi.h"
#include "tests/support/TempDirectory.h"
#include "viewer/ViewOptions.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Testing {

class ViewerTest : public ::testing::Test {
protected:
    ViewerTest();

    // Loads the embedded manifest into the TDH emulator, as VIEW and LIVE do.
    void LoadManifest();

    // Runs one record through OnEventRecord with the fixture's options.
    void Render(const EVENT_RECORD& record);

    // The wide output with the colour changes marked ("{0F}").
    std::wstring Coloured() const { return console.Annotate(capture.WideOut()); }

    // The command code's trace lines, without line breaks.
    std::vector<std::string> TraceLines() const;

    // The temporary directory as the product sees it (ending in a backslash).
    std::wstring TempPath() const;

    // Local time of the builder's default time stamp, as the viewer prints it.
    static std::wstring DefaultTimestamp();

    OutputCapture capture;
    ConsoleEmulator console;
    TdhEmulator tdh;
    ConsumerEmulator consumer;
    TempDirectory temp;
    ScopedApi<Platform::FileApi> files;
    Viewer::ViewOptions options;
};

// The local-time text the viewer prints for a UTC file time.
std::wstring TimestampText(long long fileTime);

} // namespace Testing
