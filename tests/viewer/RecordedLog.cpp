#include "tests/viewer/RecordedLog.h"

#include "platform/EtlRecord.h"
#include "tests/etlwriter/FileOutput.h"
#include "tests/etlwriter/LogWriter.h"

#include <algorithm>

namespace Testing {

void WriteRecordedLog(const std::filesystem::path& path, const std::vector<RecordedEvent>& events,
                      const RecordedLogOptions& options)
{
    EtlWriter::LogOptions log;
    log.header.bufferSize = options.bufferSize;
    log.header.numberOfProcessors = options.processors;
    log.header.clockType = EtlWriter::ClockType::SystemTime;
    log.header.logFileMode = 0x1 | (options.compressed ? EtlWriter::logFileModeCompressed : 0);
    log.header.loggerName = u"Kestrova Diagnostics Log";
    log.header.logFileName = path.u16string();
    int64_t start = 0;
    for (const RecordedEvent& event : events) {
        const int64_t stamp = event.record.EventHeader.TimeStamp.QuadPart;
        start = start == 0 ? stamp : std::min(start, stamp);
    }
    log.header.startTime = start;
    log.startStamp = start;

    EtlWriter::FileOutput output(path);
    EtlWriter::LogWriter writer(output, log);
    Etl::Event event;
    for (size_t index = 0; index < events.size(); ++index) {
        Platform::EventFromRecord(events[index].record, event);
        EtlWriter::EventRecord record;
        const bool narrow = (event.flags & Etl::Flag32BitHeader) != 0;
        record.kind = narrow ? Etl::HeaderKind::Event32 : Etl::HeaderKind::Event64;
        record.flags = event.flags & ~(Etl::Flag32BitHeader | Etl::Flag64BitHeader | Etl::FlagExtendedInfo);
        record.property = event.property;
        record.threadId = event.threadId;
        record.processId = event.processId;
        record.timestamp = event.timestamp;
        record.provider = event.provider;
        record.descriptor = event.descriptor;
        record.kernelTime = event.kernelTime;
        record.userTime = event.userTime;
        record.activityId = event.activityId;
        record.extended = event.extended;
        record.userData = event.userData;
        writer.Write(static_cast<uint16_t>(index % options.processors), record);
    }
    writer.Close();
}

} // namespace Testing
