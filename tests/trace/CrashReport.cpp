#include "tests/trace/CrashReport.h"

#include "tests/support/TraceLines.h"

namespace Testing {

const std::string FinishedDumpHint = "Finished dumping stack trace. For missing symbols, run \"dbh.exe -n moduleName\" "
                                     "then \"base moduleHandle\" and \"addr frameAddress\".";

std::vector<std::string> CrashHandlerTexts(const std::string& output)
{
    std::vector<std::string> texts;
    for (const std::string& line : SplitLines(output)) {
        const auto parsed = ParseTraceLine(line);
        if (parsed && parsed->category == "crash_handler") {
            texts.push_back(parsed->text);
        }
    }
    return texts;
}

} // namespace Testing
