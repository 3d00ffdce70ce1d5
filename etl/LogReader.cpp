#include "etl/LogReader.h"

#include "etl/BufferIndex.h"
#include "etl/BufferLoader.h"
#include "etl/FormatError.h"
#include "etl/HexText.h"
#include "etl/LogClock.h"
#include "etl/ProcessorStream.h"
#include "etl/RecordDecoder.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

namespace Etl {

namespace {

// The log file header is a system record of the EventTrace group, type 0.
constexpr uint16_t logFileHeaderHook = 0x0000;
constexpr size_t systemHeaderSize = 0x20;

int64_t TicksPerSecond(const LogHeader& header)
{
    if (header.clockType == static_cast<uint32_t>(ClockType::CpuCycles)) {
        return int64_t{header.cpuSpeedMHz} * 1'000'000;
    }
    return header.perfFreq;
}

} // namespace

struct LogReader::State {
    std::unique_ptr<ByteSource> source;
    std::vector<BufferEntry> buffers;
    BufferLoader loader;
    LogHeader header;
    std::optional<LogClock> clock;
    ReadCounts counts;

    // The log file header record, copied out of buffer 0 so that its event outlives the
    // buffer, and where the records after it begin. Those records are delivered like any
    // other, merged by time, because ProcessTrace delivers them: SelfDescribingSingleEvent.etl
    // was relogged through it, and its buffer 1 holds, at offsets 0x48 and 0x5D0, the
    // EventTrace records of type 80 that follow the header in the first buffer of AMSITrace.etl,
    // lxcore_kernel.etl, powershell.etl and ShutdownPerfDiagLogger.etl: the relogger received
    // them from its sources as events (the sources' header records it replaced by its own).
    std::vector<uint8_t> headerRecord;
    RecordHead headerHead;
    size_t headerRecordEnd = 0;
    bool headerDelivered = false;

    std::vector<ProcessorStream> streams;
    // Indices of the streams that have a record to deliver, a min-heap on that record's
    // stamp (ties: the earlier buffer in sequence, then the lower processor).
    std::vector<size_t> heap;
    bool primed = false;
    std::optional<size_t> delivering; // the stream whose record the caller holds
    std::optional<std::string> failure;

    State(std::unique_ptr<ByteSource> ownedSource, const ReaderLimits& limits)
        : source(std::move(ownedSource)), buffers(IndexBuffers(*source, limits.maxBufferSize)),
          loader(*source, limits.maxBytesHeld)
    {
        ReadHeaderRecord();
        CheckBufferCount();
        BuildStreams();
        counts.buffers = buffers.size();
        counts.compressedBuffers = static_cast<uint64_t>(std::count_if(
            buffers.begin(), buffers.end(), [](const BufferEntry& entry) { return entry.header.Compressed(); }));
    }

    void ReadHeaderRecord()
    {
        const BufferEntry& first = buffers.front();
        std::vector<uint8_t> storage;
        const ByteCursor bytes(loader.Load(first, storage));
        // The pointer size only sizes messages, which this record must not be.
        const auto head = ReadRecordHead(bytes, bufferHeaderSize, first.place, 8);
        ByteCursor record = head ? bytes.At(bufferHeaderSize, head->size) : ByteCursor();
        if (!head || head->layout != RecordLayout::System || record.At(6, 2).U16() != logFileHeaderHook) {
            ThrowAt(first.place, bufferHeaderSize, "First record",
                    "is not the log file header (a system record of hook 0x0000)");
        }
        headerHead = *head;
        headerRecord.assign(record.Span().begin(), record.Span().end());
        headerRecordEnd = bufferHeaderSize + (head->size + 7u) / 8 * 8;
        const ByteCursor payload = bytes.At(bufferHeaderSize + systemHeaderSize, head->size - systemHeaderSize);
        header = ReadLogHeader(payload, head->stamp, first.place);
        clock.emplace(header.clockType, TicksPerSecond(header), header.startTime, header.referenceStamp);
        loader.Release(storage);
    }

    // A log cut at a buffer boundary would otherwise read as a shorter log. A circular log
    // counts every buffer it ever wrote, more than its file keeps, so it cannot be checked.
    void CheckBufferCount() const
    {
        if ((header.logFileMode & LogFileModeCircular) != 0 || buffers.size() >= header.buffersWritten) {
            return;
        }
        throw FormatError("The log file header counts " + std::to_string(header.buffersWritten) +
                          " buffers written, but the " + Hex(source->Size()) + "-byte file holds " +
                          std::to_string(buffers.size()) + ": it is cut short");
    }

    void BuildStreams()
    {
        std::map<uint16_t, std::vector<const BufferEntry*>> byProcessor;
        for (const auto& entry : buffers) {
            byProcessor[entry.header.processor].push_back(&entry);
        }
        for (auto& [processor, entries] : byProcessor) {
            std::stable_sort(entries.begin(), entries.end(), [](const BufferEntry* a, const BufferEntry* b) {
                return a->header.sequence < b->header.sequence;
            });
            streams.emplace_back(std::move(entries), headerRecordEnd);
        }
    }

    // True when stream a's record comes after stream b's: the heap keeps the earliest on top.
    bool Later(size_t a, size_t b) const
    {
        const ProcessorStream& first = streams[a];
        const ProcessorStream& second = streams[b];
        if (first.Head().stamp != second.Head().stamp) {
            return first.Head().stamp > second.Head().stamp;
        }
        if (first.Buffer().header.sequence != second.Buffer().header.sequence) {
            return first.Buffer().header.sequence > second.Buffer().header.sequence;
        }
        return a > b;
    }

    void Push(size_t stream)
    {
        heap.push_back(stream);
        std::push_heap(heap.begin(), heap.end(), [this](size_t a, size_t b) { return Later(a, b); });
    }

    size_t Pop()
    {
        std::pop_heap(heap.begin(), heap.end(), [this](size_t a, size_t b) { return Later(a, b); });
        const size_t stream = heap.back();
        heap.pop_back();
        return stream;
    }

    void AdvanceAndPush(size_t stream)
    {
        if (streams[stream].Advance(loader, counts, header.pointerSize)) {
            Push(stream);
        }
    }

    void DeliverHeader(Event& event)
    {
        const BufferEntry& first = buffers.front();
        DecodeRecord(ByteCursor(headerRecord, bufferHeaderSize), headerHead, first.place, event);
        Finish(first, bufferHeaderSize, event);
        headerDelivered = true;
    }

    // The fields that come from the buffer and the clock rather than the record.
    void Finish(const BufferEntry& buffer, size_t offset, Event& event)
    {
        event.timestamp = clock->ToFileTime(event.rawTimestamp);
        event.processor = buffer.header.processor;
        event.loggerId = buffer.header.loggerId;
        if (buffer.header.ProcessorIndex()) {
            event.flags |= FlagProcessorIndex;
        }
        event.bufferIndex = buffer.place.index;
        event.bufferOffset = static_cast<uint32_t>(offset);
        ++counts.delivered[static_cast<size_t>(event.kind)];
    }

    bool Next(Event& event)
    {
        if (!headerDelivered) {
            DeliverHeader(event);
            return true;
        }
        if (!primed) {
            primed = true;
            for (size_t stream = 0; stream < streams.size(); ++stream) {
                AdvanceAndPush(stream);
            }
        } else if (delivering) {
            const size_t stream = *delivering;
            delivering.reset();
            AdvanceAndPush(stream);
        }
        if (heap.empty()) {
            return false;
        }
        const size_t stream = Pop();
        delivering = stream;
        const ProcessorStream& source = streams[stream];
        DecodeRecord(source.Record(), source.Head(), source.Buffer().place, event);
        Finish(source.Buffer(), source.RecordOffset(), event);
        return true;
    }
};

LogReader::LogReader(std::unique_ptr<ByteSource> source, const ReaderLimits& limits)
{
    if (!source) {
        throw FormatError("No log to read: the byte source is missing");
    }
    state_ = std::make_unique<State>(std::move(source), limits);
}

LogReader::~LogReader() = default;

const LogHeader& LogReader::Header() const
{
    return state_->header;
}

bool LogReader::Next(Event& event)
{
    if (state_->failure) {
        throw FormatError(*state_->failure);
    }
    try {
        return state_->Next(event);
    } catch (const FormatError& error) {
        state_->failure = error.what();
        throw;
    }
}

const ReadCounts& LogReader::Counts() const
{
    return state_->counts;
}

} // namespace Etl
