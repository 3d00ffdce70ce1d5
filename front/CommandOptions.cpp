#include "front/CommandOptions.h"

#include "base/ProcessArguments.h"
#include "base/TextUtilities.h"
#include "front/LevelParsing.h"
#include "front/Operations.h"
#include "front/TimeOption.h"

namespace Front {

using Base::ProcessArguments;

std::wstring LogFilePath()
{
    std::wstring path = CommandOperations().DefaultLogFilePath();
    // The UTF-16 form, not the narrow value: that holds only the characters of a code
    // page, and a path converted through the wrong one names another folder.
    ProcessArguments::GetWideValue("file", path);
    return path;
}

bool ReadStartOptions(Session::StartOptions& options)
{
    options = Session::StartOptions{};
    options.file = LogFilePath();
    options.level = LevelDebug;
    if (!ParseStartLevel(options.level)) {
        return false;
    }
    options.maxSizeMb = ProcessArguments::GetUInt("maxsize", 0);
    options.bufferKb = ProcessArguments::GetUInt("buffer", DefaultBufferKb);
    options.circular = !ProcessArguments::Has("sequential");
    options.callstacks = ProcessArguments::Has("callstacks");
    options.processes = ProcessArguments::Has("processes");
    options.threads = ProcessArguments::Has("threads");
    options.images = ProcessArguments::Has("images");
    // A sequential log keeps 0, which the session takes as unlimited.
    if (options.circular && options.maxSizeMb == 0) {
        options.maxSizeMb = DefaultCircularMaxSizeMb;
    }
    return true;
}

bool ReadViewOptions(Viewer::ViewOptions& options)
{
    options = Viewer::ViewOptions{};
    // Never used as it stands: ParseViewLevel either replaces it or fails the command.
    options.level = LevelInfo;
    if (!ParseViewLevel(options.level)) {
        return false;
    }
    options.callstack = ProcessArguments::Has("callstack");
    options.frameLimit = ProcessArguments::GetUInt("callstack", 0);
    options.symbols = ProcessArguments::Has("symbols");
    options.winlogon = ProcessArguments::Has("winlogon");
    options.threads = ProcessArguments::Has("threads");
    options.images = ProcessArguments::Has("images");
    options.process = ProcessArguments::Has("process") ? ProcessArguments::GetUInt("process", EveryProcess) : 0;
    return true;
}

bool ReadReaderChoice(uint32_t& reader)
{
    Base::Argument argument;
    if (!ProcessArguments::Get("reader", argument)) {
        reader = Viewer::ReaderAutomatic;
        return true;
    }
    // Unlike the level words, which keep their lower-case-only match, a new option takes
    // its words in any case.
    const std::string word = Base::ToLower(argument.value);
    if (word == "system") {
        reader = Viewer::ReaderSystem;
        return true;
    }
    if (word == "builtin") {
        reader = Viewer::ReaderBuiltin;
        return true;
    }
    return false;
}

bool ReadFormat(uint32_t& format)
{
    Base::Argument argument;
    if (!ProcessArguments::Get("format", argument)) {
        format = Viewer::FormatText;
        return true;
    }
    const std::string word = Base::ToLower(argument.value);
    if (word == "text") {
        format = Viewer::FormatText;
        return true;
    }
    if (word == "json") {
        format = Viewer::FormatJson;
        return true;
    }
    return false;
}

bool JsonFormatRequested()
{
    uint32_t format = Viewer::FormatText;
    return ReadFormat(format) && format == Viewer::FormatJson;
}

OutputOptionsResult ReadOutputOptions(Viewer::ViewOptions& options)
{
    if (!ReadFormat(options.format)) {
        return OutputOptionsResult::UnknownFormat;
    }
    options.all = ProcessArguments::Has("all");
    if (options.all != 0 && options.format != Viewer::FormatJson) {
        return OutputOptionsResult::AllNeedsJson;
    }
    if (!ReadTimeOption("from", options.from) || !ReadTimeOption("to", options.to)) {
        return OutputOptionsResult::BadTime;
    }
    return OutputOptionsResult::Read;
}

} // namespace Front
