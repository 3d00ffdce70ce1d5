#pragma once

// Walks the buffers and records of a log, for tests that check what the writer laid out.
// Test-only and trusting: it reads logs this writer wrote, not arbitrary files.

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace EtlWriterTesting {

struct WrittenBuffer {
    size_t fileOffset = 0;
    uint32_t bufferSize = 0;
    uint32_t savedOffset = 0;
    uint32_t currentOffset = 0;
    uint64_t timestamp = 0;
    uint64_t sequence = 0;
    uint32_t context = 0; // ETW_BUFFER_CONTEXT as one little-endian word
    uint32_t state = 0;
    uint32_t filled = 0;
    uint16_t flags = 0;
    uint16_t type = 0;
    // The buffer before compression: its header and records up to FilledBytes, then, for an
    // uncompressed buffer, the rest of its bytes as the file holds them.
    std::vector<uint8_t> bytes;
};

struct WrittenRecord {
    size_t offset = 0; // in WrittenBuffer::bytes
    uint16_t size = 0;
    uint8_t headerType = 0;
};

// Every buffer from the start of the log, each found at the end of the one before.
std::vector<WrittenBuffer> WalkBuffers(std::span<const uint8_t> log);

// Buffer index of a sample under tests/data/etl, decompressed where it is compressed.
std::vector<uint8_t> SampleBuffer(std::string_view name, size_t index);

// The records of a buffer, from 0x48 up to FilledBytes.
std::vector<WrittenRecord> WalkRecords(const WrittenBuffer& buffer);

} // namespace EtlWriterTesting
