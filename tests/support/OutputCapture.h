#pragma once

// Redirects std::cout, std::cerr and std::wcout into strings for the lifetime of the
// object, so that a test can assert exactly what a routine printed and where.

#include <iostream>
#include <sstream>
#include <string>

namespace Testing {

class OutputCapture {
public:
    OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;
    ~OutputCapture();

    std::string Out() const { return out.str(); }
    std::string Err() const { return err.str(); }
    std::wstring WideOut() const { return wideOut.str(); }

    void Clear();

private:
    std::ostringstream out;
    std::ostringstream err;
    std::wostringstream wideOut;
    std::streambuf* savedOut;
    std::streambuf* savedErr;
    std::wstreambuf* savedWideOut;
};

} // namespace Testing
