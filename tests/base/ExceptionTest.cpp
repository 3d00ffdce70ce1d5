#include "base/Exception.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

TEST(Exception, NullTextGivesEmptyMessage)
{
    EXPECT_STREQ("", Base::Exception(static_cast<const char*>(nullptr)).what());
}

TEST(Exception, TextIsCopiedNotReferenced)
{
    char text[] = "Failed to parse";
    const Base::Exception error(static_cast<const char*>(text));
    text[0] = 'X';

    EXPECT_STREQ("Failed to parse", error.what());
}

TEST(Exception, FromStringKeepsTheWholeText)
{
    EXPECT_STREQ("Value Not Set", Base::Exception(std::string("Value Not Set")).what());
}

TEST(Exception, FromStandardExceptionCopiesItsWhatText)
{
    const std::runtime_error source("Input is not valid base64-encoded data.");

    const Base::Exception error(source);

    EXPECT_STREQ("Input is not valid base64-encoded data.", error.what());
    EXPECT_NE(source.what(), error.what());
}

TEST(Exception, CopyHasTheSameText)
{
    const Base::Exception source("Method not loaded");

    const Base::Exception copy(source);

    EXPECT_STREQ("Method not loaded", copy.what());
}

TEST(ExceptionWin32, FromCodeAloneIsTheErrorText)
{
    const Base::ExceptionWin32 error(ERROR_ACCESS_DENIED);

    EXPECT_EQ(Base::Win32ErrorText(ERROR_ACCESS_DENIED), error.what());
    EXPECT_EQ(5u, error.ErrorCode());
}

TEST(ExceptionWin32, FromMessageAndCodeJoinsThemWithADash)
{
    const Base::ExceptionWin32 error("Failed to open registry key", ERROR_ACCESS_DENIED);
    const std::string text = error.what();

    EXPECT_EQ("Failed to open registry key - " + Base::Win32ErrorText(ERROR_ACCESS_DENIED), text);
    // The system's sentence sits between the dash and the code, on one line.
    EXPECT_TRUE(text.starts_with("Failed to open registry key - ")) << text;
    EXPECT_TRUE(text.ends_with(" (Err 5)")) << text;
    EXPECT_GT(text.size(), std::string("Failed to open registry key -  (Err 5)").size()) << text;
    EXPECT_EQ(std::string::npos, text.find_first_of("\r\n")) << text;
    EXPECT_EQ(5u, error.ErrorCode());
}

TEST(ExceptionWin32, FromMessageAndUnknownCodeEndsWithTheBareNumber)
{
    const Base::ExceptionWin32 error("Failed to set registry value", 0xE0000001);

    EXPECT_STREQ("Failed to set registry value - Err 3758096385", error.what());
    EXPECT_EQ(0xE0000001u, error.ErrorCode());
}

TEST(ExceptionWin32, NullMessageCountsAsEmpty)
{
    const Base::ExceptionWin32 error(nullptr, 0xE0000001);

    EXPECT_STREQ(" - Err 3758096385", error.what());
}

TEST(ExceptionWin32, HresultCodeIsKeptWhole)
{
    const Base::ExceptionWin32 error(0x80070005);

    EXPECT_EQ(0x80070005u, error.ErrorCode());
    EXPECT_EQ(Base::Win32ErrorText(0x80070005), error.what());
}

TEST(ExceptionWin32, ConstructorsLeaveTheBaseMessageEmpty)
{
    const Base::ExceptionWin32 fromCode(ERROR_ACCESS_DENIED);
    const Base::ExceptionWin32 fromMessage("Failed to open registry key", ERROR_ACCESS_DENIED);

    EXPECT_STREQ("", fromCode.Base::Exception::what());
    EXPECT_STREQ("", fromMessage.Base::Exception::what());
}

TEST(ExceptionWin32, CopyTakesTheSourceTextAsItsBaseMessage)
{
    const Base::ExceptionWin32 source("Failed to open registry key", ERROR_ACCESS_DENIED);

    const Base::ExceptionWin32 copy(source);

    EXPECT_STREQ(source.what(), copy.what());
    EXPECT_EQ(5u, copy.ErrorCode());
    EXPECT_STREQ(source.what(), copy.Base::Exception::what());
}

TEST(ExceptionWin32, AssignmentTakesTheSourceTextAsItsBaseMessage)
{
    const Base::ExceptionWin32 source("Failed to delete registry key", ERROR_FILE_NOT_FOUND);
    Base::ExceptionWin32 target(ERROR_ACCESS_DENIED);

    target = source;

    EXPECT_STREQ(source.what(), target.what());
    EXPECT_EQ(2u, target.ErrorCode());
    EXPECT_STREQ(source.what(), target.Base::Exception::what());
}

TEST(ExceptionWin32, CaughtAsBaseExceptionStillReportsTheFullText)
{
    const std::string expected = "Failed to open registry key - " + Base::Win32ErrorText(ERROR_ACCESS_DENIED);
    try {
        throw Base::ExceptionWin32("Failed to open registry key", ERROR_ACCESS_DENIED);
    } catch (const Base::Exception& error) {
        EXPECT_EQ(expected, error.what());
        return;
    }
    FAIL() << "nothing was caught";
}

TEST(ExceptionWin32, CopySlicedToBaseExceptionKeepsTheFullText)
{
    const Base::ExceptionWin32 source("Failed to open registry key", ERROR_ACCESS_DENIED);
    const Base::ExceptionWin32 copy(source);

    const Base::Exception sliced(static_cast<const Base::Exception&>(copy));

    EXPECT_STREQ(source.what(), sliced.what());
}
