// Logs cut short or with corrupt bytes end in an Etl::FormatError that names the buffer
// and the offset, never in a crash, a hang or an unbounded allocation.

#include "SampleFiles.h"

#include "etl/FormatError.h"
#include "etl/MemorySource.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// The text of the FormatError that opening and reading all of log ends with.
std::string ErrorReading(const Bytes& log, const Etl::ReaderLimits& limits = {})
{
    try {
        const auto reader = EtlTest::ReaderOver(log, limits);
        EtlTest::ReadAll(*reader);
    } catch (const Etl::FormatError& error) {
        return error.what();
    }
    return "no error";
}

// A little-endian value of width bytes to write over a sample at offset.
struct Patch {
    size_t offset;
    uint32_t value;
    size_t width;
};

// The error reading sample ends in once patched.
std::string ErrorWith(const std::string& sample, const std::vector<Patch>& patches)
{
    Bytes log = EtlTest::ReadSample(sample);
    for (const Patch& patch : patches) {
        for (size_t index = 0; index < patch.width; ++index) {
            log[patch.offset + index] = static_cast<uint8_t>(patch.value >> (8 * index));
        }
    }
    return ErrorReading(log);
}

// Reads log whole; true when it read, false when it ended in a FormatError. Any other
// exception fails the test; the sanitizers catch what is worse.
bool ReadsOrFormatError(const Bytes& log)
{
    try {
        const auto reader = EtlTest::ReaderOver(log);
        EtlTest::ReadAll(*reader);
        return true;
    } catch (const Etl::FormatError&) {
        return false;
    }
}

void ExpectEveryTruncationFails(const std::string& sample)
{
    const Bytes log = EtlTest::ReadSample(sample);
    const auto started = std::chrono::steady_clock::now();
    for (size_t length = 0; length < log.size(); ++length) {
        const Bytes cut(log.begin(), log.begin() + static_cast<std::ptrdiff_t>(length));
        ASSERT_FALSE(ReadsOrFormatError(cut)) << sample << " cut to " << length << " bytes read without error";
    }
    EXPECT_TRUE(ReadsOrFormatError(log));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(60));
}

TEST(CorruptLog, EveryTruncationOfACompressedLogIsAnError)
{
    ExpectEveryTruncationFails("smallEtlFile.etl");
    ExpectEveryTruncationFails("SelfDescribingSingleEvent.etl");
}

TEST(CorruptLog, EveryTruncationOfATraceLoggingLogIsAnError)
{
    ExpectEveryTruncationFails("lxcore_kernel.etl");
}

TEST(CorruptLog, TruncationsNameWhereTheFileEnds)
{
    const Bytes log = EtlTest::ReadSample("smallEtlFile.etl");
    EXPECT_EQ(ErrorReading({}), "The file is empty: a log begins with a buffer of at least 0x48 bytes");
    EXPECT_EQ(ErrorReading(Bytes(log.begin(), log.begin() + 0x20)),
              "Buffer header at offset 0x0 of buffer 0 (file offset 0x0) is cut short by the end of the file 0x20 "
              "bytes on");
    EXPECT_EQ(ErrorReading(Bytes(log.begin(), log.begin() + 0x210)),
              "Buffer header at offset 0x0 of buffer 1 (file offset 0x200) is cut short by the end of the file 0x10 "
              "bytes on");
    EXPECT_EQ(ErrorReading(Bytes(log.begin(), log.begin() + 0x300)),
              "Buffer size at offset 0x0 of buffer 1 (file offset 0x200, decompressed) is 0x225, which runs past the "
              "end of the file 0x100 bytes on");
    EXPECT_EQ(ErrorReading(Bytes(log.begin(), log.begin() + 0x200)),
              "The log file header counts 2 buffers written, but the 0x200-byte file holds 1: it is cut short");
}

// Every byte of the header buffer of a log, inverted in turn: each variant reads or ends in
// a FormatError, and none takes long.
TEST(CorruptLog, SingleByteCorruptionsOfTheHeaderBuffer)
{
    const Bytes log = EtlTest::ReadSample("lxcore_kernel.etl");
    const auto started = std::chrono::steady_clock::now();
    size_t errors = 0;
    for (size_t offset = 0; offset < 0x2000; ++offset) {
        Bytes corrupt = log;
        corrupt[offset] ^= 0xFF;
        const auto before = std::chrono::steady_clock::now();
        errors += ReadsOrFormatError(corrupt) ? 0 : 1;
        ASSERT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2)) << "offset " << offset;
    }
    // The buffer header's size and filled bytes, the header record's marker, size and hook,
    // PointerSize and the clock: far from every byte matters, but these do.
    EXPECT_GE(errors, 20u);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(60));
}

// One corruption each: the sample, the bytes written over it, the error it must end in.
struct Corruption {
    const char* what;
    const char* sample;
    std::vector<Patch> patches;
    const char* error;
};

const Corruption corruptions[] = {
    {"zero record size",
     "lxcore_kernel.etl",
     {{0x2048, 0, 2}},
     "Record header at offset 0x48 of buffer 1 (file offset 0x2000) gives a size of 0x0, "
     "less than the 0x50 bytes of its own header"},
    {"zero size of a kernel record",
     "ShutdownPerfDiagLogger.etl",
     {{0x10048 + 4, 0, 2}},
     "Record header at offset 0x48 of buffer 1 (file offset 0x10000) gives a size of 0x0, "
     "less than the 0x10 bytes of its own header"},
    {"flipped record size",
     "lxcore_kernel.etl",
     {{0x2048, 0xFFFF, 2}},
     "Record header at offset 0x48 of buffer 1 (file offset 0x2000) gives a size of "
     "0xFFFF, which runs past the buffer's 0x1A0 filled bytes"},
    {"buffer size larger than the file",
     "lxcore_kernel.etl",
     {{0x4000, 0x4000, 4}},
     "Buffer size at offset 0x0 of buffer 2 (file offset 0x4000) is 0x4000, which runs "
     "past the end of the file 0x2000 bytes on"},
    {"buffer size smaller than its header",
     "lxcore_kernel.etl",
     {{0x2000, 0, 4}},
     "Buffer size at offset 0x0 of buffer 1 (file offset 0x2000) is 0x0, less than the buffer's 0x48-byte "
     "header"},
    {"filled bytes past the buffer",
     "lxcore_kernel.etl",
     {{0x2030, 0x2100, 4}},
     "Filled bytes at offset 0x30 of buffer 1 (file offset 0x2000) are 0x2100, more than "
     "the 0x2000 bytes of the buffer"},
    {"filled bytes that do not cover the header",
     "lxcore_kernel.etl",
     {{0x2030, 0x40, 4}},
     "Filled bytes at offset 0x30 of buffer 1 (file offset 0x2000) are 0x40, less than "
     "the buffer's 0x48-byte header"},
    {"filled bytes that cut a record header",
     "lxcore_kernel.etl",
     {{0x2030, 0x4A, 4}},
     "Record header at offset 0x48 of buffer 1 (file offset 0x2000) is cut off by the "
     "buffer's 0x4A filled bytes"},
    {"filled bytes that cut a kernel record before its size",
     "ShutdownPerfDiagLogger.etl",
     {{0x10030, 0x4C, 4}},
     "Record header at offset 0x48 of buffer 1 (file offset 0x10000) is cut off by the buffer's 0x4C filled bytes"},
    {"bytes that begin no record header",
     "lxcore_kernel.etl",
     {{0x204B, 0x00, 1}},
     "Record header at offset 0x48 of buffer 1 (file offset 0x2000) begins with 0x130158, "
     "which begins no record header"},
    {"extended item larger than its record",
     "lxcore_kernel.etl",
     {{0x2098, 0x200, 2}},
     "Extended data item at offset 0x98 of buffer 1 (file offset 0x2000) gives a size of "
     "0x200 for 0x38 bytes of data, which does not fit its record's 0x158 bytes"},
    {"last extended item linked to another, record ending 4 bytes after it",
     "lxcore_kernel.etl",
     {{0x20DC, 1, 2}, {0x2048, 0x104, 2}},
     "Extended data item at offset 0x148 of buffer 1 (file offset 0x2000) runs past the end "
     "of its record"},
    {"first record that is no log file header",
     "powershell.etl",
     {{0x4E, 0x0050, 2}},
     "First record at offset 0x48 of buffer 0 (file offset 0x0) is not the log file header "
     "(a system record of hook 0x0000)"},
    {"pointer size neither 4 nor 8",
     "powershell.etl",
     {{0x68 + 0x2C, 6, 4}},
     "Log file header field PointerSize at offset 0x94 of buffer 0 (file offset 0x0) is 6; "
     "only 4 and 8 give the header a layout"},
    {"header record too short for the log file header",
     "powershell.etl",
     {{0x4C, 0x100, 2}},
     "Log file header at offset 0x68 of buffer 0 (file offset 0x0) is 0xE0 bytes long, too "
     "short for its fixed part"},
    {"unknown clock type",
     "powershell.etl",
     {{0x68 + 0x110, 7, 4}},
     "The log file header names clock type 7; only 1 (performance counter), 2 (system "
     "time) and 3 (CPU cycles) exist"},
    {"compressed buffer that decompresses short of its filled bytes",
     "SelfDescribingSingleEvent.etl",
     {{0x430, 0x1C08, 4}},
     "Compressed data at offset 0x48 of buffer 1 (file offset 0x400) decompresses to "
     "0x1BB8 bytes, where the buffer's filled bytes ask for 0x1BC0"},
    {"compressed stream whose first flag word makes its first symbol a match",
     "SelfDescribingSingleEvent.etl",
     {{0x448, 0xFFFFFFFF, 4}},
     "Compressed data at offset 0x48 of buffer 1 (file offset 0x400) does not decompress: XPRESS stream: the "
     "match at input offset 0x4 reaches 0x1 bytes back, before the start of the output (0x0 bytes written)"},
};

TEST(CorruptLog, EachCorruptionEndsInAnErrorNamingBufferAndOffset)
{
    for (const Corruption& corruption : corruptions) {
        EXPECT_EQ(ErrorWith(corruption.sample, corruption.patches), corruption.error) << corruption.what;
    }
}

TEST(CorruptLog, BufferLargerThanTheLimit)
{
    Etl::ReaderLimits limits;
    limits.maxBufferSize = 0x1000;
    EXPECT_EQ(ErrorReading(EtlTest::ReadSample("lxcore_kernel.etl"), limits),
              "Buffer size at offset 0x0 of buffer 0 (file offset 0x0) is 0x2000, more than the 0x1000 bytes a "
              "buffer may take");
}

TEST(CorruptLog, BuffersBeyondTheMemoryBudget)
{
    Etl::ReaderLimits limits;
    limits.maxBytesHeld = 0x1000;
    EXPECT_EQ(ErrorReading(EtlTest::ReadSample("SelfDescribingSingleEvent.etl"), limits),
              "Reading buffer 1 (file offset 0x400, decompressed) would hold more than the 0x1000 bytes of buffers "
              "the reader may keep in memory at once");
}

TEST(CorruptLog, ReaderRepeatsItsErrorOnceFailed)
{
    Bytes log = EtlTest::ReadSample("lxcore_kernel.etl");
    log[0x2048] = 0;
    log[0x2049] = 0;
    const auto reader = EtlTest::ReaderOver(log);
    Etl::Event event;
    ASSERT_TRUE(reader->Next(event)); // the log file header
    std::string first;
    try {
        while (reader->Next(event)) {
        }
    } catch (const Etl::FormatError& error) {
        first = error.what();
    }
    EXPECT_EQ(first.substr(0, 50), "Record header at offset 0x48 of buffer 1 (file off");
    try {
        reader->Next(event);
        FAIL() << "no error";
    } catch (const Etl::FormatError& error) {
        EXPECT_EQ(error.what(), first);
    }
}

} // namespace
