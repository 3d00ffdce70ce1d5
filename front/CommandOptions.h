#pragma once

// The option records of START, VIEW and LIVE, filled from the argument store (command
// line, KESTROVA_ environment variables and the registry arguments keys alike; names
// in any case, '-' and '_' alike; values never case-folded).

#include "session/StartOptions.h"
#include "viewer/ViewOptions.h"

#include <cstdint>
#include <string>

namespace Front {

// A circular log with no /maxSize grows to this. The help text says 500Mb; the help
// text is wrong and both stay as they are.
constexpr uint32_t DefaultCircularMaxSizeMb = 1024;
constexpr uint32_t DefaultBufferKb = 512;
// ViewOptions::process for a bare or unparsable /process: events of every process.
constexpr uint32_t EveryProcess = 0xFFFFFFFF;

// The /file value in UTF-16 as its source gave it (ProcessArguments::GetWideValue),
// else the session's default path. The default is computed either way.
std::wstring LogFilePath();

// START: file, level (ParseStartLevel), then maxsize, buffer, sequential, callstacks,
// processes, threads, images, then the circular size default. Returns false when the
// level word is not recognised; options.level then still holds its preset 18 and the
// sizes and flags are not read.
bool ReadStartOptions(Session::StartOptions& options);

// VIEW and LIVE: every field zeroed and the level preset to 4, then level
// (ParseViewLevel), callstack, frameLimit, symbols, winlogon, threads, images, process.
// Returns false when no level was given or recognised; the rest is then not read.
bool ReadViewOptions(Viewer::ViewOptions& options);

// VIEW's /reader: absent, ReaderAutomatic; "system" or "builtin" in any case, that reader.
// Returns false for any other value, a bare /reader included; reader is then unchanged.
bool ReadReaderChoice(uint32_t& reader);

// /format: absent, FormatText; "text" or "json" in any case, that format. Returns false for
// any other value, a bare /format included; format is then unchanged.
bool ReadFormat(uint32_t& format);

// Whether /format asks for JSON: the banner then goes to standard error, so that standard
// output holds JSON only.
bool JsonFormatRequested();

// The choice of output of VIEW and LIVE after the level: /format, /all, /from and /to.
enum class OutputOptionsResult {
    Read,
    UnknownFormat, // /format is neither text nor json
    AllNeedsJson,  // /all without /format:json: the text view knows three providers only
    BadTime,       // /from or /to is not an ISO 8601 time
};
OutputOptionsResult ReadOutputOptions(Viewer::ViewOptions& options);

} // namespace Front
