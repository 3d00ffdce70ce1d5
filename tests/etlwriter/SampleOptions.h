#pragma once

// The logfile-header values of three real logs, as LogOptions, so that tests can have the
// writer lay out the same header and compare it with the sample's bytes.

#include "tests/etlwriter/LogOptions.h"

namespace EtlWriterTesting {

// powershell.etl: Windows 11 (ProviderVersion 22623), 64-bit, 32 processors, 8 KB buffers.
EtlWriter::LogOptions PowershellOptions();

// test_data_32_v0.etl: a 32-bit producer (version 6.1 in the header, ProviderVersion
// 6001), two processors, no second header record.
EtlWriter::LogOptions TestData32Options();

// smallEtlFile.etl: a compressed relogged log of a 32-bit producer, Windows 10 build 10586.
EtlWriter::LogOptions SmallEtlFileOptions();

} // namespace EtlWriterTesting
