// etl_generate: writes a product-like .etl log of N events for the reader's tests and
// benchmarks, streaming, and reports what it wrote, how fast, and the process's peak
// memory.
//
//   etl_generate <events> <path> [--processors N] [--buffer-kb N] [--circular-mb N]
//                [--sequential] [--compressed] [--seed N]
//
// By default the log is what ksdiag START records: 512 KB buffers of a circular 1024 MB
// file, four processors. --compressed needs --sequential.

#include "tests/etlwriter/FileOutput.h"
#include "tests/etlwriter/ProductLogGenerator.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#if defined(__unix__)
#include <sys/resource.h>
#endif

namespace {

constexpr const char* usage = "usage: etl_generate <events> <path> [--processors N] [--buffer-kb N] [--circular-mb N]\n"
                              "                    [--sequential] [--compressed] [--seed N]\n";

std::optional<uint64_t> Number(std::string_view text)
{
    if (text.empty() || text.size() > 19 || text.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    return std::stoull(std::string(text));
}

std::optional<EtlWriter::GeneratorOptions> Parse(int argc, char** argv, std::string& path)
{
    if (argc < 3) {
        return std::nullopt;
    }
    EtlWriter::GeneratorOptions options;
    const std::optional<uint64_t> events = Number(argv[1]);
    if (!events) {
        return std::nullopt;
    }
    options.events = *events;
    path = argv[2];
    for (int index = 3; index < argc; ++index) {
        const std::string_view option = argv[index];
        if (option == "--sequential") {
            options.circularMegabytes = 0;
            continue;
        }
        if (option == "--compressed") {
            options.compressed = true;
            continue;
        }
        const std::optional<uint64_t> value = index + 1 < argc ? Number(argv[index + 1]) : std::nullopt;
        if (!value || *value > 0xFFFFFFFF) {
            return std::nullopt;
        }
        ++index;
        if (option == "--processors") {
            options.processors = static_cast<uint32_t>(*value);
        } else if (option == "--buffer-kb") {
            options.bufferSize = static_cast<uint32_t>(*value * 1024);
        } else if (option == "--circular-mb") {
            options.circularMegabytes = static_cast<uint32_t>(*value);
        } else if (option == "--seed") {
            options.seed = static_cast<uint32_t>(*value);
        } else {
            return std::nullopt;
        }
    }
    return options;
}

// The peak resident set in MB, where the platform tells it.
double PeakMegabytes()
{
#if defined(__unix__)
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0; // KB on Linux
#else
    return 0.0;
#endif
}

} // namespace

int main(int argc, char** argv)
{
    std::string path;
    const std::optional<EtlWriter::GeneratorOptions> options = Parse(argc, argv, path);
    if (!options) {
        std::fputs(usage, stderr);
        return 2;
    }
    try {
        const auto start = std::chrono::steady_clock::now();
        EtlWriter::FileOutput file(path);
        const EtlWriter::LogWriter::Statistics statistics = EtlWriter::GenerateProductLog(file, *options);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const double megabytes = static_cast<double>(statistics.fileSize) / (1024.0 * 1024.0);
        std::printf("%s: %llu events in %llu buffers, %.1f MB (%.1f MB before compression)\n", path.c_str(),
                    static_cast<unsigned long long>(statistics.records),
                    static_cast<unsigned long long>(statistics.eventBuffers), megabytes,
                    static_cast<double>(statistics.uncompressedBytes) / (1024.0 * 1024.0));
        std::printf("%.2f s: %.0f events/s, %.1f MB/s; peak resident set %.1f MB\n", seconds,
                    static_cast<double>(statistics.records) / seconds, megabytes / seconds, PeakMegabytes());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "etl_generate: %s\n", error.what());
        return 1;
    }
    return 0;
}
