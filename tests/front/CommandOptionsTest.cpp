#include "front/CommandOptions.h"
#include "tests/front/ArgumentVector.h"
#include "tests/front/ArgumentsKeyValue.h"
#include "tests/front/FakeOperations.h"
#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

using Testing::PopulateArguments;

namespace {

// The START record for this command line, read with a recognised level.
Session::StartOptions StartOptionsFor(std::vector<std::string> arguments)
{
    PopulateArguments(std::move(arguments));
    Session::StartOptions options;
    options.file = L"stale";
    EXPECT_TRUE(Front::ReadStartOptions(options));
    return options;
}

// Every field set to something no reader produces, to see that a reader sets them all.
Viewer::ViewOptions StaleViewOptions()
{
    return Viewer::ViewOptions{77, 77, 77, 77, 77, 77, 77, 77};
}

// The eight fields in record order: level, callstack, winlogon, process, threads,
// images, frameLimit, symbols.
std::vector<uint32_t> Fields(const Viewer::ViewOptions& options)
{
    return {options.level,   options.callstack, options.winlogon,   options.process,
            options.threads, options.images,    options.frameLimit, options.symbols};
}

// The VIEW and LIVE record for this command line, with whether a level was recognised.
std::pair<bool, std::vector<uint32_t>> ViewFieldsFor(std::vector<std::string> arguments)
{
    PopulateArguments(std::move(arguments));
    Viewer::ViewOptions options = StaleViewOptions();
    const bool read = Front::ReadViewOptions(options);
    return {read, Fields(options)};
}

using ViewFields = std::pair<bool, std::vector<uint32_t>>;

} // namespace

TEST(ReadStartOptions, DefaultsWithoutOptions)
{
    Testing::FakeOperations operations;
    const Session::StartOptions options = StartOptionsFor({"ksdiag", "START"});
    EXPECT_EQ(operations.Record().defaultPath, options.file);
    EXPECT_EQ(1024u, options.maxSizeMb);
    EXPECT_TRUE(options.circular);
    EXPECT_FALSE(options.callstacks);
    EXPECT_EQ(18, options.level);
    EXPECT_EQ(512u, options.bufferKb);
    EXPECT_FALSE(options.processes);
    EXPECT_FALSE(options.threads);
    EXPECT_FALSE(options.images);
}

TEST(ReadStartOptions, SequentialWithoutMaxSizeIsUnlimited)
{
    Testing::FakeOperations operations;
    const Session::StartOptions options = StartOptionsFor({"ksdiag", "START", "/sequential"});
    EXPECT_FALSE(options.circular);
    EXPECT_EQ(0u, options.maxSizeMb);
}

TEST(ReadStartOptions, MaxSizeForms)
{
    Testing::FakeOperations operations;
    const std::vector<std::pair<std::vector<std::string>, uint32_t>> cases = {
        {{"ksdiag", "START", "/sequential", "/maxSize:64"}, 64},
        {{"ksdiag", "START", "/maxSize:0x100"}, 256},
        {{"ksdiag", "START", "/MAXSIZE:0b101"}, 5},
        // A circular log of size 0 would be unlimited: it gets the default instead.
        {{"ksdiag", "START", "/maxsize:0"}, 1024},
        {{"ksdiag", "START", "/maxsize:huge"}, 1024},
    };
    for (const auto& [arguments, expected] : cases) {
        SCOPED_TRACE(arguments.back());
        EXPECT_EQ(expected, StartOptionsFor(arguments).maxSizeMb);
    }
}

TEST(ReadStartOptions, BufferForms)
{
    Testing::FakeOperations operations;
    EXPECT_EQ(512u, StartOptionsFor({"ksdiag", "START", "/buffer:abc"}).bufferKb);
    EXPECT_EQ(64u, StartOptionsFor({"ksdiag", "START", "/buffer:64"}).bufferKb);
    EXPECT_EQ(512u, StartOptionsFor({"ksdiag", "START", "/buffer:99999999999"}).bufferKb);
}

TEST(ReadStartOptions, FlagsAreReadInAnyCase)
{
    Testing::FakeOperations operations;
    const Session::StartOptions options =
        StartOptionsFor({"ksdiag", "START", "/CALLSTACKS", "/Processes", "/threads", "/IMAGES"});
    EXPECT_TRUE(options.callstacks);
    EXPECT_TRUE(options.processes);
    EXPECT_TRUE(options.threads);
    EXPECT_TRUE(options.images);
    EXPECT_TRUE(options.circular);
}

TEST(ReadStartOptions, FileOptionReplacesTheDefaultPath)
{
    Testing::FakeOperations operations;
    // As the runtime hands over /file:"D:\Logs\Run 1.etl", its quotes removed.
    const Session::StartOptions options = StartOptionsFor({"ksdiag", "START", "/file:D:\\Logs\\Run 1.etl"});
    EXPECT_EQ(L"D:\\Logs\\Run 1.etl", options.file);
    EXPECT_EQ(1, operations.Record().defaultPathCalls);
}

TEST(ReadStartOptions, UnrecognisedLevelKeepsThePresetAndReadsNoFurther)
{
    Testing::FakeOperations operations;
    PopulateArguments({"ksdiag", "START", "/level:INFO", "/maxSize:64", "/callstacks"});
    Session::StartOptions options;
    options.maxSizeMb = 7;
    EXPECT_FALSE(Front::ReadStartOptions(options));
    EXPECT_EQ(18, options.level);
    EXPECT_EQ(operations.Record().defaultPath, options.file);
    EXPECT_EQ(0u, options.maxSizeMb);
    EXPECT_FALSE(options.callstacks);
}

TEST(ReadStartOptions, SizeFromEnvironmentVariable)
{
    Testing::FakeOperations operations;
    Testing::ScopedEnvironment variable("KESTROVA_MAXSIZE", "300");
    EXPECT_EQ(300u, StartOptionsFor({"ksdiag", "START"}).maxSizeMb);
}

TEST(ReadStartOptions, SizeFromRegistryDwordValue)
{
    Testing::FakeOperations operations;
    Testing::ArgumentsKeyValue value(L"front_tests", L"buffer", 128);
    EXPECT_EQ(128u, StartOptionsFor({"ksdiag", "START"}).bufferKb);
}

TEST(ReadViewOptions, OnlyTheLevelGivenLeavesEveryOtherFieldZero)
{
    EXPECT_EQ((ViewFields{true, {4, 0, 0, 0, 0, 0, 0, 0}}), ViewFieldsFor({"ksdiag", "VIEW", "/level:info"}));
}

TEST(ReadViewOptions, MissingLevelFailsWithTheRecordZeroedAndLevelPreset)
{
    EXPECT_EQ((ViewFields{false, {4, 0, 0, 0, 0, 0, 0, 0}}),
              ViewFieldsFor({"ksdiag", "VIEW", "/winlogon", "/process:12", "/callstack"}));
}

TEST(ReadViewOptions, ProcessForms)
{
    EXPECT_EQ(0xFFFFFFFFu, ViewFieldsFor({"ksdiag", "VIEW", "/level:info", "/process"}).second[3]);
    EXPECT_EQ(0xFFFFFFFFu, ViewFieldsFor({"ksdiag", "VIEW", "/level:info", "/process:notapid"}).second[3]);
    EXPECT_EQ(1234u, ViewFieldsFor({"ksdiag", "VIEW", "/level:info", "/process:1234"}).second[3]);
    EXPECT_EQ(0u, ViewFieldsFor({"ksdiag", "VIEW", "/level:info"}).second[3]);
}

TEST(ReadViewOptions, CallstackWithFrameLimit)
{
    EXPECT_EQ((ViewFields{true, {4, 1, 0, 0, 0, 0, 5, 0}}),
              ViewFieldsFor({"ksdiag", "VIEW", "/level:info", "/callstack:5"}));
}

TEST(ReadViewOptions, BareCallstackHasNoFrameLimit)
{
    EXPECT_EQ((ViewFields{true, {4, 1, 0, 0, 0, 0, 0, 0}}),
              ViewFieldsFor({"ksdiag", "VIEW", "/level:info", "/callstack"}));
}

TEST(ReadViewOptions, FlagsAreRead)
{
    EXPECT_EQ((ViewFields{true, {5, 0, 1, 0, 1, 1, 0, 1}}),
              ViewFieldsFor({"ksdiag", "LIVE", "/verbose", "/symbols", "/WINLOGON", "/threads", "/images"}));
}

TEST(ReadViewOptions, ProcessFromEnvironmentVariable)
{
    Testing::ScopedEnvironment variable("KESTROVA_PROCESS", "0x10");
    EXPECT_EQ((ViewFields{true, {2, 0, 0, 16, 0, 0, 0, 0}}), ViewFieldsFor({"ksdiag", "VIEW", "/level:error"}));
}

TEST(CommandLogFilePath, DefaultWithoutFileOption)
{
    Testing::FakeOperations operations;
    PopulateArguments({"ksdiag", "VIEW"});
    EXPECT_EQ(operations.Record().defaultPath, Front::LogFilePath());
}

TEST(CommandLogFilePath, EmptyFileValueIsTakenAsGiven)
{
    Testing::FakeOperations operations;
    PopulateArguments({"ksdiag", "VIEW", "/file:"});
    EXPECT_EQ(L"", Front::LogFilePath());
    EXPECT_EQ(1, operations.Record().defaultPathCalls);
}

namespace {

// The reader choice for this command line, from a stale value; nothing when refused.
std::optional<uint32_t> ReaderFor(std::vector<std::string> arguments)
{
    PopulateArguments(std::move(arguments));
    uint32_t reader = 77;
    if (!Front::ReadReaderChoice(reader)) {
        EXPECT_EQ(77u, reader);
        return std::nullopt;
    }
    return reader;
}

} // namespace

TEST(ReadReaderChoice, AbsentIsAutomatic)
{
    EXPECT_EQ(Viewer::ReaderAutomatic, ReaderFor({"ksdiag", "VIEW", "/level:info"}));
}

TEST(ReadReaderChoice, SystemAndBuiltinInAnyCase)
{
    EXPECT_EQ(Viewer::ReaderSystem, ReaderFor({"ksdiag", "VIEW", "/reader:system"}));
    EXPECT_EQ(Viewer::ReaderSystem, ReaderFor({"ksdiag", "VIEW", "/Reader=SYSTEM"}));
    EXPECT_EQ(Viewer::ReaderBuiltin, ReaderFor({"ksdiag", "VIEW", "/reader:builtin"}));
    EXPECT_EQ(Viewer::ReaderBuiltin, ReaderFor({"ksdiag", "VIEW", "/READER:BuiltIn"}));
}

TEST(ReadReaderChoice, AnyOtherValueIsRefused)
{
    EXPECT_FALSE(ReaderFor({"ksdiag", "VIEW", "/reader"}));
    EXPECT_FALSE(ReaderFor({"ksdiag", "VIEW", "/reader:"}));
    EXPECT_FALSE(ReaderFor({"ksdiag", "VIEW", "/reader:built-in"}));
    EXPECT_FALSE(ReaderFor({"ksdiag", "VIEW", "/reader:tdh"}));
}

TEST(ReadReaderChoice, EnvironmentVariableAnswersToo)
{
    Testing::ScopedEnvironment variable("KESTROVA_READER", "builtin");
    EXPECT_EQ(Viewer::ReaderBuiltin, ReaderFor({"ksdiag", "VIEW"}));
}
