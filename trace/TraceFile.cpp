#include "trace/TraceFile.h"

#include "base/NeverDestroyed.h"
#include "base/ProcessArguments.h"
#include "base/TextConversion.h"
#include "trace/FrameworkReset.h"
#include "trace/ProcessName.h"
#include "trace/StreamFailure.h"

#include <windows.h>

#include <ctime>

namespace Trace {

namespace {

// Never destroyed, so that a message logged while the runtime destroys static objects
// at exit still has its file. Every line is flushed as it is written, so nothing waits in
// the buffer for a destructor; the system closes the handle with the process.
Base::FileOutputStream& FileStream()
{
    static Base::NeverDestroyed<Base::FileOutputStream> stream;
    return *stream;
}

// Serialises the lines of all threads: the stream and its buffer are shared, and
// neither may be written by two threads at once. A slim reader/writer lock needs no
// destruction, so it too outlives every static destructor.
SRWLOCK fileLock = SRWLOCK_INIT;

class FileLockHolder {
public:
    FileLockHolder() noexcept { ::AcquireSRWLockExclusive(&fileLock); }
    FileLockHolder(const FileLockHolder&) = delete;
    FileLockHolder& operator=(const FileLockHolder&) = delete;
    ~FileLockHolder() { ::ReleaseSRWLockExclusive(&fileLock); }
};

std::string NonEmptyArgument(const char* name)
{
    Base::Argument argument;
    if (Base::ProcessArguments::Get(name, argument) && !argument.value.empty()) {
        return argument.value;
    }
    return {};
}

std::string FileNamePrefix()
{
    if (!Base::ProcessArguments::GetBool("trace-file-prefix")) {
        return {};
    }
    const __time64_t now = _time64(nullptr);
    std::tm utc{};
    _gmtime64_s(&utc, &now);
    char stamp[32] = {};
    std::strftime(stamp, sizeof(stamp), "%Y%m%d_%H%M%S", &utc);
    return std::string(stamp) + "_" + std::to_string(::GetCurrentProcessId()) + "_";
}

} // namespace

std::string& DefaultTraceFileName()
{
    static std::string name;
    return name;
}

std::filesystem::path ResolveTraceFilePath()
{
    for (const char* name : {"trace-file", "logging-file"}) {
        const std::string path = NonEmptyArgument(name);
        if (!path.empty()) {
            return std::filesystem::path(Base::AnsiToWide(path));
        }
    }

    const std::string baseName =
        !DefaultTraceFileName().empty() ? DefaultTraceFileName() : ProcessNameNarrow() + ".log";

    Base::Argument folderArgument;
    const std::filesystem::path folder = Base::ProcessArguments::Get("trace-folder", folderArgument)
                                             ? std::filesystem::path(Base::AnsiToWide(folderArgument.value))
                                             : std::filesystem::temp_directory_path();
    return folder / Base::AnsiToWide(FileNamePrefix() + baseName);
}

void OpenTraceFile()
{
    const std::filesystem::path path = ResolveTraceFilePath();
    if (path.empty()) {
        return;
    }
    Base::FileOutputStream& stream = FileStream();
    try {
        if (stream.IsOpen()) {
            stream.Close();
        }
        stream.Open(path.wstring());
    } catch (const std::ios_base::failure&) {
        // The exception mask asked for it; the stream stays closed and failed.
        throw StreamFailure(StreamFailureText(stream.rdstate()));
    }
}

void WriteTraceFileLine(std::string_view line)
{
    FileLockHolder holder;
    Base::FileOutputStream& stream = FileStream();
    if (!stream.IsOpen() || stream.bad()) {
        OpenTraceFile();
    }
    stream.write(line.data(), static_cast<std::streamsize>(line.size()));
    stream.flush();
}

Base::FileOutputStream& TraceFileStream()
{
    return FileStream();
}

bool IsTraceFileOpen()
{
    return FileStream().IsOpen();
}

void Reset::CloseTraceFile()
{
    FileLockHolder holder;
    DefaultTraceFileName().clear();
    Base::FileOutputStream& stream = FileStream();
    stream.exceptions(std::ios_base::goodbit);
    stream.Close();
    stream.clear();
}

} // namespace Trace
