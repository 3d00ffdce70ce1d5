// The viewer prints an event's time in the machine's zone. On a machine in UTC that is
// the UTC time, so these tests matter most in the runs under other zones
// (ksdiag_add_time_zone_runs), where they also check that the zone is in force.

#include "tests/support/TimeZoneRun.h"
#include "tests/viewer/ViewerEvents.h"
#include "tests/viewer/ViewerFixture.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class LocalTimestamp : public Testing::ViewerTest {
protected:
    void SetUp() override { LoadManifest(); }

    // The line the viewer prints for an informational event logged at the UTC file time,
    // and the time text expected at its start.
    void ExpectLocalTime(long long utcFileTime)
    {
        const FILETIME utc{static_cast<DWORD>(utcFileTime & 0xFFFFFFFF), static_cast<DWORD>(utcFileTime >> 32)};
        const std::wstring expected = Testing::ShiftedTimeText(utcFileTime, Testing::LocalOffsetMinutes(utc));
        capture.Clear();
        Render(Testing::OperationalEvent(1, 2012).Timestamp(utcFileTime).Build().record);
        EXPECT_EQ(expected + L" app(1000:2000) Information Name : Message Args\n", capture.WideOut());
    }
};

} // namespace

// 2024-03-07 09:05:01.042 UTC: fourteen hours ahead it is already the next day.
TEST_F(LocalTimestamp, MorningEventInTheMachinesZone)
{
    ExpectLocalTime(133542759010420000LL);
}

// 2024-03-07 22:30:15.007 UTC: eleven hours behind it is still the same day, and
// fourteen hours ahead the next one.
TEST_F(LocalTimestamp, EveningEventInTheMachinesZone)
{
    ExpectLocalTime(133542759010420000LL + (13LL * 3600 + 25 * 60 + 14) * 10000000LL - 350000LL);
}

// Early on New Year's Day UTC: eleven hours behind it is the last day of the year before.
TEST_F(LocalTimestamp, NewYearEventInTheMachinesZone)
{
    // 2024-01-01 03:00:00.500 UTC
    ExpectLocalTime(133485516005000000LL);
}
