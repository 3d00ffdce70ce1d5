// Events rendered through the console streams that ksdiag installs, onto an emulated
// console: every colour change lands between the console writes at exactly its place in
// the text, and each line is one write.

#include "base/ConsoleStreams.h"
#include "tests/emulator/ConsoleEmulator.h"
#include "tests/emulator/TdhEmulator.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"
#include "viewer/EventCallback.h"
#include "viewer/ManifestExtraction.h"
#include "viewer/ViewOptions.h"

#include <gtest/gtest.h>

#include <iostream>

namespace {

TEST(ShippedStream, ColourChangesKeepTheirPlacesOnAConsole)
{
    Testing::ConsoleEmulator console(0x1F);
    Testing::TdhEmulator tdh;
    ASSERT_EQ(0u, Viewer::LoadInstrumentationManifest());
    Base::InstallConsoleStreams();
    Viewer::ViewOptions options{};
    options.level = 5;
    for (const Testing::RecordedEvent& event :
         {Testing::OperationalEvent(1, 2012).Build(), Testing::OperationalEvent(2, 2013).Build()}) {
        EVENT_RECORD record = event.record;
        record.UserContext = &options;
        Viewer::OnEventRecord(&record);
    }
    const std::wstring time = Testing::TimestampText(133542759010420000LL);
    EXPECT_EQ(L"{0F}" + time + L" app(1000:2000) Information {08}Name : Message Args\n{1F}" + L"{0E}" + time +
                  L" app(1000:2000) Warning {08}Name : Message Args\n{1F}",
              console.Annotate(console.ConsoleText()));
    // Per event: the header, written when the colour changes, and the line.
    EXPECT_EQ(4u, console.ConsoleWrites());
}

TEST(ShippedStream, NarrowAndWideShareTheConsoleInOrder)
{
    Testing::ConsoleEmulator console;
    Base::InstallConsoleStreams();
    std::cout << "Kestrova ";
    std::wcout << L"caf\u00E9 ";
    std::cout << "done" << std::endl;
    EXPECT_EQ(L"Kestrova caf\u00E9 done\n", console.ConsoleText());
    EXPECT_EQ(1u, console.ConsoleWrites());
}

} // namespace
