#include "tests/front/FakeOperations.h"

namespace Testing {

namespace {

// The fakes are plain functions, as the table takes; they reach the record of the one
// FakeOperations alive.
OperationsRecord* current = nullptr;

void During()
{
    if (current->during) {
        current->during();
    }
}

std::wstring FakeDefaultLogFilePath()
{
    ++current->defaultPathCalls;
    During();
    return current->defaultPath;
}

uint32_t FakeStartLog(const Session::StartOptions& options)
{
    ++current->startCalls;
    current->startOptions = options;
    During();
    return current->startResult;
}

uint32_t FakeStopLog()
{
    ++current->stopCalls;
    During();
    return current->stopResult;
}

uint32_t FakeReportStatus()
{
    ++current->statusCalls;
    During();
    return current->statusResult;
}

uint32_t FakeReportStatusJson()
{
    ++current->statusJsonCalls;
    During();
    return current->statusResult;
}

uint32_t FakeViewLogFile(const std::wstring& path, Viewer::ViewOptions& options)
{
    ++current->viewCalls;
    current->viewPath = path;
    current->viewOptions = options;
    During();
    return current->viewResult;
}

void FakeRunLiveView(Viewer::ViewOptions& options)
{
    ++current->liveCalls;
    current->liveOptions = options;
    During();
}

} // namespace

FakeOperations::FakeOperations() : table(Front::CommandOperations())
{
    current = &record;
    *table = Front::Operations{FakeStartLog,    FakeStopLog,     FakeReportStatus,    FakeDefaultLogFilePath,
                               FakeViewLogFile, FakeRunLiveView, FakeReportStatusJson};
}

FakeOperations::~FakeOperations()
{
    current = nullptr;
}

} // namespace Testing
