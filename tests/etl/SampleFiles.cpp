#include "SampleFiles.h"

#include "etl/MemorySource.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace EtlTest {

std::filesystem::path SamplePath(const std::string& name)
{
    return std::filesystem::path(KSDIAG_TEST_DATA) / "etl" / name;
}

std::vector<uint8_t> ReadSample(const std::string& name)
{
    std::ifstream stream(SamplePath(name), std::ios::binary);
    if (!stream) {
        throw std::runtime_error("cannot open sample " + name);
    }
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

std::unique_ptr<Etl::LogReader> ReaderOver(const std::vector<uint8_t>& bytes, const Etl::ReaderLimits& limits)
{
    return std::make_unique<Etl::LogReader>(std::make_unique<Etl::MemorySource>(bytes), limits);
}

std::string IsoTime(int64_t fileTime)
{
    // 1601-01-01 to 1970-01-01 in 100 ns units.
    constexpr int64_t unixEpoch = 116'444'736'000'000'000;
    const int64_t microseconds = (fileTime - unixEpoch) / 10;
    const auto time = std::chrono::sys_time<std::chrono::microseconds>(std::chrono::microseconds(microseconds));
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss<std::chrono::microseconds> clock(time - day);
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%06lldZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()), static_cast<long long>(clock.subseconds().count()));
    return text;
}

uint64_t ReadAll(Etl::LogReader& reader)
{
    Etl::Event event;
    uint64_t count = 0;
    while (reader.Next(event)) {
        ++count;
    }
    return count;
}

} // namespace EtlTest
