#include "tests/etlwriter/LogWriter.h"

#include "tests/etlwriter/LittleEndian.h"
#include "tests/etlwriter/XpressCompressor.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace EtlWriter {

namespace {

constexpr uint8_t unusedByte = 0xFF; // what every sample has behind FilledBytes
constexpr uint32_t compressedHeaderRound = 0x200;
constexpr uint16_t logfileHeaderHook = 0x0000; // header group, type 0
constexpr uint16_t secondHeaderHook = 0x0050;
constexpr size_t secondHeaderDataSize = 0x30;
constexpr uint32_t smallestBuffer = 1024;
constexpr uint32_t largestBuffer = 16 * 1024 * 1024;

uint64_t MaximumFileBytes(const LogfileHeader& header)
{
    const uint64_t unit = (header.logFileMode & logFileModeKilobytesForSize) != 0 ? 1024 : 1024 * 1024;
    return header.maximumFileSize * unit;
}

void CheckOptions(const LogOptions& options)
{
    const LogfileHeader& header = options.header;
    if (header.bufferSize % 8 != 0 || header.bufferSize < smallestBuffer || header.bufferSize > largestBuffer) {
        throw std::invalid_argument("LogWriter: buffer size must be a multiple of 8 from 1 KB to 16 MB");
    }
    if (header.pointerSize != 4 && header.pointerSize != 8) {
        throw std::invalid_argument("LogWriter: pointer size must be 4 or 8");
    }
    if (header.numberOfProcessors == 0 || header.numberOfProcessors > 0xFFFF) {
        throw std::invalid_argument("LogWriter: the log needs 1 to 65535 processors");
    }
    if ((header.logFileMode & logFileModeCircular) != 0 && (header.logFileMode & logFileModeCompressed) != 0) {
        throw std::invalid_argument("LogWriter: a circular log cannot be compressed (its slots have one size)");
    }
}

int64_t ScaleToFileTime(int64_t counts, int64_t perSecond)
{
    // Whole seconds first, so that a long session at a high frequency does not overflow.
    return counts / perSecond * 10'000'000 + counts % perSecond * 10'000'000 / perSecond;
}

} // namespace

LogWriter::LogWriter(Output& output, LogOptions options)
    : output(output), options(std::move(options)), reorder(this->options.reorderSeed)
{
    CheckOptions(this->options);
    const LogfileHeader& header = this->options.header;
    compressed = (header.logFileMode & logFileModeCompressed) != 0;
    if ((header.logFileMode & logFileModeCircular) != 0) {
        const uint64_t buffers = MaximumFileBytes(header) / header.bufferSize;
        if (buffers < 2) {
            throw std::invalid_argument("LogWriter: a circular log needs room for two buffers or more");
        }
        circularSlots = buffers - 1;
    }
    processors.resize(header.numberOfProcessors);
    WriteHeaderBuffer();
    nextOffset = headerBufferSize;
    statistics.fileSize = headerBufferSize;
}

void LogWriter::Write(uint16_t processor, const EventRecord& record)
{
    EncodeEventRecord(record, Reserve(processor, EventRecordSize(record), record.timestamp));
}

void LogWriter::Write(uint16_t processor, const ClassicRecord& record)
{
    EncodeClassicRecord(record, Reserve(processor, ClassicRecordSize(record), record.timestamp));
}

void LogWriter::Write(uint16_t processor, const SystemRecord& record)
{
    EncodeSystemRecord(record, Reserve(processor, SystemRecordSize(record), record.timestamp));
}

std::span<uint8_t> LogWriter::Reserve(uint16_t processor, size_t size, int64_t timestamp)
{
    if (closed) {
        throw std::logic_error("LogWriter: the log is closed");
    }
    if (processor >= processors.size() || (options.processorIndex == ProcessorIndexForm::Number8 && processor > 0xFF)) {
        throw std::invalid_argument("LogWriter: no processor " + std::to_string(processor) + " in this log");
    }
    const uint32_t bufferSize = options.header.bufferSize;
    const size_t aligned = AlignTo8(size);
    if (aligned > bufferSize - bufferHeaderSize) {
        throw std::length_error("LogWriter: a record of " + std::to_string(size) + " bytes does not fit a buffer");
    }
    // The record's own stamp is "now" for the buffer it pushes out.
    latestStamp = anyRecord ? std::max(latestStamp, timestamp) : timestamp;
    anyRecord = true;
    OpenBuffer& buffer = processors[processor];
    if (buffer.sequence != 0 && buffer.filled + aligned > bufferSize) {
        Finish(processor, static_cast<uint32_t>(aligned));
    }
    if (buffer.sequence == 0) {
        if (spare.empty()) {
            buffer.bytes.assign(bufferSize, 0);
        } else {
            buffer.bytes = std::move(spare.back());
            spare.pop_back();
        }
        buffer.filled = bufferHeaderSize;
        buffer.sequence = nextSequence++;
    }
    const std::span<uint8_t> slot = std::span<uint8_t>(buffer.bytes).subspan(buffer.filled, aligned);
    std::fill(slot.begin() + static_cast<ptrdiff_t>(size), slot.end(), uint8_t{0});
    buffer.filled += static_cast<uint32_t>(aligned);
    ++statistics.records;
    return slot.first(size);
}

void LogWriter::Finish(uint16_t processor, uint32_t overflowSize)
{
    OpenBuffer& buffer = processors[processor];
    const uint32_t bufferSize = options.header.bufferSize;
    FullBuffer full;
    full.header.bufferSize = bufferSize;
    full.header.savedOffset = buffer.filled;
    full.header.currentOffset = overflowSize != 0 ? buffer.filled + overflowSize : bufferSize + buffer.filled;
    full.header.timestamp = latestStamp;
    full.header.sequenceNumber = buffer.sequence;
    full.header.processor = processor;
    full.header.loggerId = options.loggerId;
    full.header.filledBytes = buffer.filled;
    full.header.flags = options.processorIndex == ProcessorIndexForm::Index16 ? bufferFlagProcessorIndex : 0;
    std::fill(buffer.bytes.begin() + buffer.filled, buffer.bytes.end(), unusedByte);
    EncodeBufferHeader(full.header, buffer.bytes);
    full.bytes = std::move(buffer.bytes);
    buffer.bytes.clear();
    buffer.filled = 0;
    buffer.sequence = 0;
    Emit(std::move(full));
}

void LogWriter::Emit(FullBuffer buffer)
{
    heldBack.push_back(std::move(buffer));
    Drain(options.reorderWindow);
}

void LogWriter::Drain(size_t keep)
{
    while (heldBack.size() > keep) {
        const size_t pick = options.reorderWindow == 0 ? 0 : reorder() % heldBack.size();
        std::swap(heldBack[pick], heldBack.back());
        WriteOut(heldBack.back());
        spare.push_back(std::move(heldBack.back().bytes));
        heldBack.pop_back();
    }
}

void LogWriter::WriteOut(FullBuffer& buffer)
{
    uint64_t offset = nextOffset;
    if (compressed) {
        const auto records = std::span<const uint8_t>(buffer.bytes)
                                 .subspan(bufferHeaderSize, buffer.header.filledBytes - bufferHeaderSize);
        XpressCompress(records, compressedData);
        buffer.header.bufferSize = static_cast<uint32_t>(bufferHeaderSize + compressedData.size());
        buffer.header.flags |= bufferFlagCompressed;
        EncodeBufferHeader(buffer.header, buffer.bytes);
        output.WriteAt(offset, std::span<const uint8_t>(buffer.bytes).first(bufferHeaderSize));
        output.WriteAt(offset + bufferHeaderSize, compressedData);
    } else {
        if (circularSlots != 0) {
            offset = headerBufferSize + statistics.eventBuffers % circularSlots * options.header.bufferSize;
        }
        output.WriteAt(offset, buffer.bytes);
    }
    nextOffset = std::max(nextOffset, offset + buffer.header.bufferSize);
    statistics.fileSize = nextOffset;
    statistics.uncompressedBytes += buffer.header.filledBytes;
    ++statistics.eventBuffers;
    lastOffset = offset;
    lastHeader = buffer.header;
}

void LogWriter::Close()
{
    if (closed) {
        return;
    }
    for (size_t processor = 0; processor < processors.size(); ++processor) {
        if (processors[processor].sequence != 0) {
            Finish(static_cast<uint16_t>(processor), 0);
        }
    }
    Drain(0);
    closed = true;
    if (statistics.eventBuffers != 0) {
        lastHeader.flags |= bufferFlagFlushMarker;
        std::vector<uint8_t> header(bufferHeaderSize);
        EncodeBufferHeader(lastHeader, header);
        output.WriteAt(lastOffset, header);
    }
    WriteHeaderBuffer();
    output.Flush();
}

int64_t LogWriter::EndTime() const
{
    const LogfileHeader& header = options.header;
    if (header.endTime != 0) {
        return header.endTime;
    }
    if (!anyRecord) {
        return header.startTime;
    }
    const int64_t elapsed = latestStamp - options.startStamp;
    switch (header.clockType) {
    case ClockType::SystemTime:
        return latestStamp;
    case ClockType::CpuCycleCounter:
        return header.startTime + ScaleToFileTime(elapsed, int64_t{header.cpuSpeedMHz} * 1'000'000);
    case ClockType::QueryPerformanceCounter:
    default:
        return header.startTime + ScaleToFileTime(elapsed, header.perfFreq);
    }
}

void LogWriter::WriteHeaderBuffer()
{
    LogfileHeader header = options.header;
    header.buffersWritten = static_cast<uint32_t>(1 + statistics.eventBuffers);
    header.endTime = EndTime();
    const std::vector<uint8_t> data = EncodeLogfileHeader(header);
    const std::vector<uint8_t> secondData(secondHeaderDataSize, 0);

    SystemRecord first;
    first.kind = header.pointerSize == 8 ? Etl::HeaderKind::System64 : Etl::HeaderKind::System32;
    first.hookId = logfileHeaderHook;
    first.threadId = options.sessionThreadId;
    first.processId = options.sessionProcessId;
    first.timestamp = options.startStamp;
    first.kernelTime = options.sessionKernelTime;
    first.userTime = options.sessionUserTime;
    first.data = data;
    SystemRecord second = first;
    second.hookId = secondHeaderHook;
    second.data = secondData;

    const size_t firstSize = SystemRecordSize(first);
    const size_t secondOffset = bufferHeaderSize + AlignTo8(firstSize);
    const size_t filled = options.secondHeaderRecord ? secondOffset + SystemRecordSize(second) : secondOffset;
    headerBufferSize = compressed ? static_cast<uint32_t>((filled + compressedHeaderRound - 1) / compressedHeaderRound *
                                                          compressedHeaderRound)
                                  : header.bufferSize;
    if (filled > headerBufferSize) {
        throw std::invalid_argument("LogWriter: the logfile header does not fit a buffer");
    }
    std::vector<uint8_t> bytes(headerBufferSize, unusedByte);
    std::fill(bytes.begin() + bufferHeaderSize, bytes.begin() + static_cast<ptrdiff_t>(filled), uint8_t{0});
    EncodeSystemRecord(first, std::span<uint8_t>(bytes).subspan(bufferHeaderSize, firstSize));
    if (options.secondHeaderRecord) {
        EncodeSystemRecord(second, std::span<uint8_t>(bytes).subspan(secondOffset, SystemRecordSize(second)));
    }

    // The header buffer's own header differs by generation, as the samples show it.
    BufferHeader buffer;
    buffer.bufferSize = headerBufferSize;
    buffer.timestamp = options.headerBufferStamp;
    buffer.loggerId = options.loggerId;
    buffer.filledBytes = static_cast<uint32_t>(filled);
    buffer.type = bufferTypeHeader;
    buffer.flags = bufferFlagFlushMarker;
    if (compressed) {
        // smallEtlFile.etl: SavedOffset = FilledBytes, CurrentOffset 0, context all zero.
        buffer.savedOffset = buffer.filledBytes;
        buffer.alignment = 0;
    } else if (options.processorIndex == ProcessorIndexForm::Index16) {
        // powershell.etl, AMSITrace.etl, lxcore_kernel.etl: both offsets = FilledBytes.
        buffer.savedOffset = buffer.filledBytes;
        buffer.currentOffset = buffer.filledBytes;
        buffer.flags |= bufferFlagProcessorIndex;
    } else {
        // KernelProcess-Win7.etl, test_data_32_v0.etl: SavedOffset 0.
        buffer.currentOffset = buffer.filledBytes;
    }
    EncodeBufferHeader(buffer, bytes);
    output.WriteAt(0, bytes);
}

} // namespace EtlWriter
