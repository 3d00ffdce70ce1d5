// etl_benchmark: how fast the reader reads a log from a file, and in how much memory.
//
//     etl_benchmark LOG [READS]
//         reads LOG whole READS times (default 1) in this process, through the file source
//         as VIEW reads, and prints MB/s, records/s and the peak resident set.
//     etl_benchmark --grow COPIES LOG OUT
//         writes OUT: LOG's header buffer, then all its other buffers COPIES times over, their
//         sequence numbers moved on each time and BuffersWritten set to match: a large log
//         to show that memory stays flat (its stamps repeat, so time goes back between copies).
//
// Native only (getrusage); build it without the sanitizers to measure.

#include "etl/FileSource.h"
#include "etl/FormatError.h"
#include "etl/LogReader.h"

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

long PeakResidentKilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

int Measure(const char* path, long reads)
{
    uint64_t records = 0;
    uint64_t bytes = 0;
    const auto started = std::chrono::steady_clock::now();
    for (long read = 0; read < reads; ++read) {
        std::error_code error;
        auto source = Etl::OpenFile(path, error);
        if (!source) {
            std::fprintf(stderr, "Cannot open %s: %s\n", path, error.message().c_str());
            return 1;
        }
        bytes += source->Size();
        Etl::LogReader reader(std::move(source));
        Etl::Event event;
        while (reader.Next(event)) {
            ++records;
        }
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::printf("%s read %ld times: %.1f MB and %llu records in %.3f s: %.1f MB/s, %.0f records/s, peak RSS %.1f MB\n",
                path, reads, bytes / 1e6, static_cast<unsigned long long>(records), seconds, bytes / 1e6 / seconds,
                records / seconds, PeakResidentKilobytes() / 1024.0);
    return 0;
}

void Put(std::vector<char>& bytes, size_t offset, uint64_t value, size_t width)
{
    for (size_t index = 0; index < width; ++index) {
        bytes[offset + index] = static_cast<char>(value >> (8 * index));
    }
}

uint64_t Get(const std::vector<char>& bytes, size_t offset, size_t width)
{
    uint64_t value = 0;
    for (size_t index = 0; index < width; ++index) {
        value |= static_cast<uint64_t>(static_cast<uint8_t>(bytes[offset + index])) << (8 * index);
    }
    return value;
}

int Grow(long copies, const char* path, const char* outPath)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<char> log((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const size_t headerBuffer = Get(log, 0, 4);
    if (log.size() < 0x48 || headerBuffer > log.size()) {
        std::fprintf(stderr, "%s is no log\n", path);
        return 1;
    }
    std::vector<size_t> offsets;
    for (size_t offset = headerBuffer; offset + 0x48 <= log.size(); offset += Get(log, offset, 4)) {
        offsets.push_back(offset);
        if (Get(log, offset, 4) == 0) {
            return 1;
        }
    }
    const uint64_t written = 1 + offsets.size() * static_cast<uint64_t>(copies);
    Put(log, 0x48 + 0x20 + 0x24, written, 4); // the log file header's BuffersWritten
    std::ofstream out(outPath, std::ios::binary);
    out.write(log.data(), static_cast<std::streamsize>(headerBuffer));
    for (long copy = 0; copy < copies; ++copy) {
        for (const size_t offset : offsets) {
            std::vector<char> buffer(log.begin() + static_cast<std::ptrdiff_t>(offset),
                                     log.begin() + static_cast<std::ptrdiff_t>(offset + Get(log, offset, 4)));
            Put(buffer, 0x18, Get(buffer, 0x18, 8) + static_cast<uint64_t>(copy) * written, 8);
            out.write(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        }
    }
    std::printf("%s: %llu buffers\n", outPath, static_cast<unsigned long long>(written));
    return out ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (argc == 5 && std::string(argv[1]) == "--grow") {
            return Grow(std::atol(argv[2]), argv[3], argv[4]);
        }
        if (argc == 2 || argc == 3) {
            return Measure(argv[1], argc == 3 ? std::atol(argv[2]) : 1);
        }
    } catch (const Etl::FormatError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    std::fprintf(stderr, "usage: etl_benchmark LOG [READS] | etl_benchmark --grow COPIES LOG OUT\n");
    return 2;
}
