#include "tests/support/TraceLines.h"
#include "tests/trace/TraceTestSupport.h"
#include "trace/Log.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <iostream>
#include <map>
#include <mutex>
#include <streambuf>
#include <thread>

namespace {

const Trace::Category testLog("threads");

// A standard-output buffer that serialises its writes, as the C runtime's console
// stream does; the plain string buffer of OutputCapture is not safe for two threads.
class SerialisedBuffer : public std::streambuf {
public:
    std::string Text()
    {
        std::lock_guard<std::mutex> hold(lock);
        return text;
    }

protected:
    int_type overflow(int_type c) override
    {
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            std::lock_guard<std::mutex> hold(lock);
            text.push_back(traits_type::to_char_type(c));
        }
        return traits_type::not_eof(c);
    }

    std::streamsize xsputn(const char* data, std::streamsize count) override
    {
        std::lock_guard<std::mutex> hold(lock);
        text.append(data, static_cast<size_t>(count));
        return count;
    }

private:
    std::mutex lock;
    std::string text;
};

class StandardOutputSwap {
public:
    explicit StandardOutputSwap(std::streambuf* buffer) : saved(std::cout.rdbuf(buffer)) {}
    StandardOutputSwap(const StandardOutputSwap&) = delete;
    StandardOutputSwap& operator=(const StandardOutputSwap&) = delete;
    ~StandardOutputSwap() { std::cout.rdbuf(saved); }

private:
    std::streambuf* saved;
};

constexpr int messagesPerThread = 300;

void LogSequence(int thread, DWORD& threadId)
{
    threadId = ::GetCurrentThreadId();
    const std::string padding(40, static_cast<char>('a' + thread));
    for (int sequence = 0; sequence < messagesPerThread; ++sequence) {
        testLog->Info("Concurrent message", Trace::Field{"thread", thread}, Trace::Field{"sequence", sequence},
                      Trace::Field{"padding", padding});
    }
}

} // namespace

TEST(ThreadStreams, ConcurrentThreadsEachWriteWholeLinesOfTheirOwn)
{
    Testing::ConfigureWith({"/trace-console"});
    SerialisedBuffer buffer;
    DWORD threadIds[2] = {};
    {
        StandardOutputSwap swap(&buffer);
        std::thread first(LogSequence, 0, std::ref(threadIds[0]));
        std::thread second(LogSequence, 1, std::ref(threadIds[1]));
        first.join();
        second.join();
    }

    const auto lines = Testing::SplitLines(buffer.Text());
    ASSERT_EQ(2u * messagesPerThread, lines.size());
    std::map<DWORD, int> nextSequence;
    for (const std::string& line : lines) {
        const auto parsed = Testing::ParseTraceLine(line);
        ASSERT_TRUE(parsed) << line;
        const int thread = parsed->threadId == threadIds[0] ? 0 : 1;
        ASSERT_EQ(threadIds[thread], parsed->threadId) << line;
        const std::string padding(40, static_cast<char>('a' + thread));
        const std::string expected = "Concurrent message { thread:" + std::to_string(thread) +
                                     ", sequence:" + std::to_string(nextSequence[parsed->threadId]++) + ", padding:\"" +
                                     padding + "\" }";
        ASSERT_EQ(expected, parsed->text);
    }
    EXPECT_EQ(messagesPerThread, nextSequence[threadIds[0]]);
    EXPECT_EQ(messagesPerThread, nextSequence[threadIds[1]]);
}

TEST(ThreadStreams, ThreadsThatLogAndEndLeaveTheProcessSound)
{
    // Every thread's streams are destroyed as it ends; a runtime that got that wrong
    // corrupted the heap within a few dozen such threads.
    Testing::ConfigureWith({"/trace-console"});
    SerialisedBuffer buffer;
    constexpr int rounds = 100;
    {
        StandardOutputSwap swap(&buffer);
        for (int round = 0; round < rounds; ++round) {
            std::thread first([round] { testLog->Info("Short-lived", Trace::Field{"round", round}); });
            std::thread second([round] { testLog->Info("Short-lived", Trace::Field{"round", round}); });
            first.join();
            second.join();
        }
        testLog->Info("Main thread");
    }
    const auto texts = Testing::TraceTexts(buffer.Text());
    ASSERT_EQ(2u * rounds + 1, texts.size());
    EXPECT_EQ("Short-lived { round:0 }", texts.front());
    EXPECT_EQ("Main thread", texts.back());
}
