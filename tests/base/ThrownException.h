#pragma once

// Catches what an action throws as exactly the exception type a test expects, so that the
// test can assert the text and the code. Throwing nothing, or another type, fails the
// calling test and gives nullopt.

#include "base/Exception.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

namespace Testing {

template <typename Action> std::optional<Base::ExceptionWin32> ThrownWin32(Action&& action)
{
    try {
        action();
    } catch (const Base::ExceptionWin32& thrown) {
        return thrown;
    } catch (const std::exception& other) {
        ADD_FAILURE() << "expected Base::ExceptionWin32, caught: " << other.what();
        return std::nullopt;
    }
    ADD_FAILURE() << "expected Base::ExceptionWin32, nothing was thrown";
    return std::nullopt;
}

// The message of a plain Base::Exception; a Base::ExceptionWin32 does not count.
template <typename Action> std::optional<std::string> ThrownPlainMessage(Action&& action)
{
    try {
        action();
    } catch (const Base::ExceptionWin32& thrown) {
        ADD_FAILURE() << "expected a plain Base::Exception, caught Base::ExceptionWin32: " << thrown.what();
        return std::nullopt;
    } catch (const Base::Exception& thrown) {
        return std::string(thrown.what());
    } catch (const std::exception& other) {
        ADD_FAILURE() << "expected a plain Base::Exception, caught: " << other.what();
        return std::nullopt;
    }
    ADD_FAILURE() << "expected a plain Base::Exception, nothing was thrown";
    return std::nullopt;
}

// What a Base::ExceptionWin32 made from a message and a code reports, with the
// platform's own text for the code.
inline std::string Win32Text(const char* message, uint32_t code)
{
    return std::string(message) + " - " + Base::Win32ErrorText(code);
}

// The exception was thrown, with that message and code.
inline void ExpectWin32(const std::optional<Base::ExceptionWin32>& thrown, const char* message, uint32_t code)
{
    ASSERT_TRUE(thrown.has_value());
    EXPECT_EQ(Win32Text(message, code), thrown->what());
    EXPECT_EQ(code, thrown->ErrorCode());
}

} // namespace Testing
