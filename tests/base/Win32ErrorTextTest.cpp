#include "base/Exception.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <optional>
#include <string>

namespace {

// What the system itself says for a code, asked the way the product asks (system table,
// default language, 4096-byte buffer), optionally with FORMAT_MESSAGE_IGNORE_INSERTS.
// nullopt when FormatMessageA fails. The expectations are built from this, never from
// a remembered sentence, because every Windows version and Wine word them differently.
std::optional<std::string> SystemMessage(uint32_t code, DWORD extraFlags = 0)
{
    char buffer[4096] = {};
    const DWORD length = ::FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | extraFlags, nullptr, code, 0, buffer,
                                          static_cast<DWORD>(sizeof(buffer)), nullptr);
    if (length == 0) {
        return std::nullopt;
    }
    return std::string(buffer, length);
}

// Leading white space off, trailing white space and NULs off: the trimming the product
// applies, written out here independently.
std::string Trimmed(std::string text)
{
    const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    while (!text.empty() && (isSpace(text.back()) || text.back() == '\0')) {
        text.pop_back();
    }
    size_t begin = 0;
    while (begin < text.size() && isSpace(text[begin])) {
        ++begin;
    }
    return text.substr(begin);
}

std::string ExpectedText(uint32_t code)
{
    const auto message = SystemMessage(code);
    return message ? Trimmed(*message) + " (Err " + std::to_string(code) + ")" : "Err " + std::to_string(code);
}

} // namespace

TEST(Win32ErrorText, FileNotFoundIsTheTrimmedSystemSentenceWithTheCode)
{
    const auto message = SystemMessage(ERROR_FILE_NOT_FOUND);
    ASSERT_TRUE(message.has_value());
    // The system text ends in a line break that must not survive.
    ASSERT_NE(Trimmed(*message), *message);

    EXPECT_EQ(Trimmed(*message) + " (Err 2)", Base::Win32ErrorText(ERROR_FILE_NOT_FOUND));
}

TEST(Win32ErrorText, AccessDeniedIsTheTrimmedSystemSentenceWithTheCode)
{
    const auto message = SystemMessage(ERROR_ACCESS_DENIED);
    ASSERT_TRUE(message.has_value());

    const std::string text = Base::Win32ErrorText(ERROR_ACCESS_DENIED);

    EXPECT_EQ(Trimmed(*message) + " (Err 5)", text);
    EXPECT_EQ(std::string::npos, text.find_first_of("\r\n"));
}

TEST(Win32ErrorText, SuccessCodeHasItsOwnSentence)
{
    ASSERT_TRUE(SystemMessage(ERROR_SUCCESS).has_value());

    EXPECT_EQ(Trimmed(*SystemMessage(ERROR_SUCCESS)) + " (Err 0)", Base::Win32ErrorText(ERROR_SUCCESS));
}

TEST(Win32ErrorText, CodeWithoutSystemTextIsTheBareNumber)
{
    ASSERT_FALSE(SystemMessage(0xE0000001).has_value());

    EXPECT_EQ("Err 3758096385", Base::Win32ErrorText(0xE0000001));
}

TEST(Win32ErrorText, LargestCodeIsPrintedUnsigned)
{
    ASSERT_FALSE(SystemMessage(0xFFFFFFFF).has_value());

    EXPECT_EQ("Err 4294967295", Base::Win32ErrorText(0xFFFFFFFF));
}

TEST(Win32ErrorText, HresultStyleCodeIsPrintedAsUnsignedDecimal)
{
    const std::string text = Base::Win32ErrorText(0x80070005);

    EXPECT_EQ(ExpectedText(0x80070005), text);
    EXPECT_NE(std::string::npos, text.find("2147942405"));
    EXPECT_EQ(std::string::npos, text.find('-'));
}

TEST(Win32ErrorText, MessageWithInsertMarkersFallsBackToTheBareNumber)
{
    // The first system message that carries an insert marker; asked without
    // FORMAT_MESSAGE_IGNORE_INSERTS and without arguments, the system refuses it.
    uint32_t code = 0;
    for (uint32_t candidate = 1; candidate < 2000 && code == 0; ++candidate) {
        const auto message = SystemMessage(candidate, FORMAT_MESSAGE_IGNORE_INSERTS);
        if (message && message->find("%1") != std::string::npos) {
            code = candidate;
        }
    }
    ASSERT_NE(0u, code) << "no system message with an insert marker below 2000";
    ASSERT_FALSE(SystemMessage(code).has_value());

    EXPECT_EQ("Err " + std::to_string(code), Base::Win32ErrorText(code));
}
