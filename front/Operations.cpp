#include "front/Operations.h"

#include "session/SessionControl.h"
#include "viewer/LogReader.h"

namespace Front {

const Operations& SystemOperations()
{
    static const Operations system{Session::StartLog,           Session::StopLog,    Session::ReportStatus,
                                   Session::DefaultLogFilePath, Viewer::ViewLogFile, Viewer::RunLiveView,
                                   Session::ReportStatusJson};
    return system;
}

Operations& CommandOperations()
{
    // A function-local copy, ready whenever the first caller arrives.
    static Operations live = SystemOperations();
    return live;
}

} // namespace Front
