#pragma once

// The real logs under tests/data/etl (see SOURCES.md there) and the helpers the tests
// read them with.

#include "etl/Event.h"
#include "etl/LogReader.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace EtlTest {

std::filesystem::path SamplePath(const std::string& name);
std::vector<uint8_t> ReadSample(const std::string& name);

// A reader over bytes, which must outlive it.
std::unique_ptr<Etl::LogReader> ReaderOver(const std::vector<uint8_t>& bytes, const Etl::ReaderLimits& limits = {});

// A UTC file time as FIGURES.md prints it: "2020-02-17T12:48:30.420313Z", the
// microseconds truncated.
std::string IsoTime(int64_t fileTime);

// Reads every record; returns how many.
uint64_t ReadAll(Etl::LogReader& reader);

} // namespace EtlTest
