#include "session/SessionIdentity.h"
#include "session/LogFilePath.h"
#include "session/SessionControl.h"
#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <vector>

TEST(SessionIdentity, KernelProcessKeywordsAreTheOrOfTheRequests)
{
    EXPECT_EQ(0u, Session::KernelProcessKeywords(false, false, false));
    EXPECT_EQ(0x10u, Session::KernelProcessKeywords(true, false, false));
    EXPECT_EQ(0x20u, Session::KernelProcessKeywords(false, true, false));
    EXPECT_EQ(0x40u, Session::KernelProcessKeywords(false, false, true));
    EXPECT_EQ(0x70u, Session::KernelProcessKeywords(true, true, true));
}

TEST(SessionIdentity, ProductEnablePropertyAddsStacksToSessionIds)
{
    EXPECT_EQ(2u, Session::ProductEnableProperty(false));
    EXPECT_EQ(6u, Session::ProductEnableProperty(true));
}

TEST(SessionIdentity, AutologgerSessionPathAppendsTheLoggerName)
{
    EXPECT_EQ(L"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\Kestrova Diagnostics Log",
              Session::AutologgerSessionPath(Session::SessionName));
}

TEST(LogFilePath, SplitKeepsTheTrailingBackslashOnTheDirectory)
{
    const Session::LogFilePathParts parts = Session::SplitLogFilePath(L"C:\\ProgramData\\Logs\\k.etl");
    EXPECT_EQ(L"C:\\ProgramData\\Logs\\", parts.directory);
    EXPECT_EQ(L"k.etl", parts.fileName);
}

TEST(LogFilePath, BareFileNameHasNoDirectory)
{
    const Session::LogFilePathParts parts = Session::SplitLogFilePath(L"k.etl");
    EXPECT_EQ(L"", parts.directory);
    EXPECT_EQ(L"k.etl", parts.fileName);
}

TEST(LogFilePath, EmptyPathHasNeitherPart)
{
    const Session::LogFilePathParts parts = Session::SplitLogFilePath(L"");
    EXPECT_EQ(L"", parts.directory);
    EXPECT_EQ(L"", parts.fileName);
}

TEST(DefaultLogFilePath, ExpandsProgramDataAndComputerName)
{
    Testing::ScopedEnvironment programData("PROGRAMDATA", std::string("D:\\Data"));
    Testing::ScopedEnvironment computerName("COMPUTERNAME", std::string("HOST7"));
    EXPECT_EQ(L"D:\\Data\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log-HOST7.etl", Session::DefaultLogFilePath());
}

TEST(DefaultLogFilePath, UnsetVariablesStayAsWritten)
{
    Testing::ScopedEnvironment programData("PROGRAMDATA", std::nullopt);
    Testing::ScopedEnvironment computerName("COMPUTERNAME", std::string("HOST7"));
    EXPECT_EQ(L"%PROGRAMDATA%\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log-HOST7.etl", Session::DefaultLogFilePath());
}

// Expanded into 260 units: an expansion that needs more is whatever text the system
// leaves in those units, never longer, never the whole expansion.
TEST(DefaultLogFilePath, ExpansionLongerThanAPathIsWhatTheBufferOfAPathHolds)
{
    const std::string folder = "D:\\" + std::string(300, 'd');
    Testing::ScopedEnvironment programData("PROGRAMDATA", folder);
    Testing::ScopedEnvironment computerName("COMPUTERNAME", std::string("HOST7"));
    const std::wstring whole =
        std::wstring(folder.begin(), folder.end()) + L"\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log-HOST7.etl";
    std::vector<wchar_t> buffer(MAX_PATH + 1, L'\0');
    EXPECT_EQ(whole.size() + 1, ::ExpandEnvironmentStringsW(L"%PROGRAMDATA%\\Kestrova\\Diagnostics\\Logs\\Kestrova-Log-"
                                                            L"%COMPUTERNAME%.etl",
                                                            buffer.data(), MAX_PATH));

    const std::wstring path = Session::DefaultLogFilePath();

    EXPECT_EQ(std::wstring(buffer.data()), path);
    EXPECT_GE(259u, path.size());
    EXPECT_EQ(path, whole.substr(0, path.size()));
}
