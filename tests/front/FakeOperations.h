#pragma once

// Puts recording fakes of the five operations and of the default log path into the
// front end's operations table for the lifetime of the object, so that a test sees
// exactly what a command handed over and chooses what the operation answers.

#include "front/Operations.h"
#include "tests/support/ScopedApi.h"

#include <cstdint>
#include <functional>
#include <string>

namespace Testing {

struct OperationsRecord {
    std::wstring defaultPath = L"C:\\ProgramData\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log-TESTHOST.etl";
    int defaultPathCalls = 0;

    uint32_t startResult = 0;
    int startCalls = 0;
    Session::StartOptions startOptions;

    uint32_t stopResult = 0;
    int stopCalls = 0;

    uint32_t statusResult = 0;
    int statusCalls = 0;
    int statusJsonCalls = 0; // answered with statusResult too

    uint32_t viewResult = 0;
    int viewCalls = 0;
    std::wstring viewPath;
    Viewer::ViewOptions viewOptions;

    int liveCalls = 0;
    Viewer::ViewOptions liveOptions;

    // Runs inside every operation after it has recorded its call: a test can throw or
    // trace from within a command.
    std::function<void()> during;
};

class FakeOperations {
public:
    FakeOperations();
    FakeOperations(const FakeOperations&) = delete;
    FakeOperations& operator=(const FakeOperations&) = delete;
    ~FakeOperations();

    OperationsRecord& Record() { return record; }

private:
    ScopedApi<Front::Operations> table;
    OperationsRecord record;
};

} // namespace Testing
