#include "tests/etlwriter/SampleOptions.h"

namespace EtlWriterTesting {

namespace {

EtlWriter::TimeZone TzresZone(int32_t bias, const char16_t* standardName, const char16_t* daylightName)
{
    EtlWriter::TimeZone zone;
    zone.bias = bias;
    zone.standardName = standardName;
    zone.standardDate = {0, 11, 0, 1, 2, 0, 0, 0};
    zone.daylightName = daylightName;
    zone.daylightDate = {0, 3, 0, 2, 2, 0, 0, 0};
    zone.daylightBias = -60;
    return zone;
}

} // namespace

EtlWriter::LogOptions PowershellOptions()
{
    EtlWriter::LogOptions options;
    EtlWriter::LogfileHeader& header = options.header;
    header.bufferSize = 0x2000;
    header.version = 0x0501000A;
    header.providerVersion = 22623;
    header.numberOfProcessors = 32;
    header.endTime = 0x01D9625137F0D6D4;
    header.timerResolution = 156250;
    header.maximumFileSize = 1;
    header.logFileMode = 0x9;
    header.pointerSize = 8;
    header.cpuSpeedMHz = 3400;
    header.loggerNamePointer = 0xA;
    header.logFileNamePointer = 0x7;
    header.timeZone = TzresZone(300, u"@tzres.dll,-112", u"@tzres.dll,-111");
    header.bootTime = 0x01D9624DF285D040;
    header.perfFreq = 10'000'000;
    header.startTime = 0x01D96250E605A459;
    header.loggerName = u"usermode_trace";
    header.logFileName = u"C:\\Users\\aaaaa\\output1.etl";
    options.loggerId = 0x21;
    options.sessionThreadId = 0x928;
    options.sessionProcessId = 0x187C;
    options.startStamp = 0x2F395521F;
    return options;
}

EtlWriter::LogOptions TestData32Options()
{
    EtlWriter::LogOptions options;
    EtlWriter::LogfileHeader& header = options.header;
    header.bufferSize = 0x10000;
    header.version = 0x04010006;
    header.providerVersion = 6001;
    header.numberOfProcessors = 2;
    header.endTime = 0x01CAC8FA485A7F30;
    header.timerResolution = 156001;
    header.maximumFileSize = 100;
    header.logFileMode = 0x1;
    header.pointerSize = 4;
    header.cpuSpeedMHz = 2161;
    header.loggerNamePointer = 0x9C530178;
    header.logFileNamePointer = 0x9C5301A6;
    header.timeZone = TzresZone(300, u"@tzres.dll,-112", u"@tzres.dll,-111");
    header.bootTime = 0x01CAC6A463BD1238;
    header.perfFreq = 14318180;
    header.startTime = 0x01CAC8FA471750D0;
    header.loggerName = u"Make Test Data Session";
    header.logFileName = u"c:\\code\\sawbuck\\src\\sawbuck\\viewer\\test_data\\test_data_32_v0.etl";
    options.loggerId = 0x13;
    options.processorIndex = EtlWriter::ProcessorIndexForm::Number8;
    options.sessionThreadId = 0x1218;
    options.startStamp = 0x35A551AE1D8;
    options.sessionKernelTime = 4;
    options.sessionUserTime = 1;
    options.headerBufferStamp = 0x35A551B53C7;
    options.secondHeaderRecord = false;
    return options;
}

EtlWriter::LogOptions SmallEtlFileOptions()
{
    EtlWriter::LogOptions options;
    EtlWriter::LogfileHeader& header = options.header;
    header.bufferSize = 0x10000;
    header.version = 0x0002000A;
    header.providerVersion = 10586;
    header.numberOfProcessors = 4;
    header.endTime = 0x01D1F8DF52C7FCFD;
    header.timerResolution = 156250;
    header.logFileMode = 0x04011001;
    header.pointerSize = 4;
    header.cpuSpeedMHz = 3193;
    header.loggerNamePointer = 0xA;
    header.logFileNamePointer = 0x6;
    header.timeZone = TzresZone(480, u"@tzres.dll,-212", u"@tzres.dll,-211");
    header.bootTime = 0x01D1F8550082C702;
    header.perfFreq = 3117777;
    header.startTime = 0x01D1F8DF52C34482;
    header.loggerName = u"PerfWatsonGCHeapETLSession688";
    header.logFileName = u"ReloggedFile.ETL";
    options.loggerId = 0;
    options.sessionThreadId = 0x8D0;
    options.sessionProcessId = 0x82C;
    options.startStamp = 0x2B2066B55D;
    options.sessionKernelTime = 0xC;
    options.sessionUserTime = 0x7F;
    options.secondHeaderRecord = false;
    return options;
}

} // namespace EtlWriterTesting
