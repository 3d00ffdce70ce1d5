// libFuzzer target: reads arbitrary bytes as a log from memory, every record to the end,
// and touches every byte of every span the reader hands out, so that the sanitizers see
// any read past the input. A FormatError is the expected end of most inputs; a crash, a
// sanitizer report, a hang or memory past the limit is a finding.

#include "etl/FormatError.h"
#include "etl/LogReader.h"
#include "etl/MemorySource.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace {

// Keeps the compiler from dropping the reads of the spans.
volatile uint8_t sink;

void Touch(std::span<const uint8_t> bytes)
{
    uint8_t sum = 0;
    for (const uint8_t byte : bytes) {
        sum = static_cast<uint8_t>(sum + byte);
    }
    sink = sum;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Smaller than the product's limits, so that one input cannot spend seconds
    // decompressing 16 MB buffers; the checks are the same.
    Etl::ReaderLimits limits;
    limits.maxBufferSize = 1024 * 1024;
    limits.maxBytesHeld = 64 * 1024 * 1024;
    try {
        Etl::LogReader reader(std::make_unique<Etl::MemorySource>(std::span(data, size)), limits);
        Etl::Event event;
        while (reader.Next(event)) {
            Touch(event.userData);
            for (const auto& item : event.extended) {
                Touch(item.data);
            }
        }
    } catch (const Etl::FormatError&) {
    }
    return 0;
}
