#include "tests/support/OutputCapture.h"

namespace Testing {

OutputCapture::OutputCapture()
    : savedOut(std::cout.rdbuf(out.rdbuf())), savedErr(std::cerr.rdbuf(err.rdbuf())),
      savedWideOut(std::wcout.rdbuf(wideOut.rdbuf()))
{
}

OutputCapture::~OutputCapture()
{
    std::cout.rdbuf(savedOut);
    std::cerr.rdbuf(savedErr);
    std::wcout.rdbuf(savedWideOut);
    std::cout.clear();
    std::cerr.clear();
    std::wcout.clear();
}

void OutputCapture::Clear()
{
    out.str(std::string());
    err.str(std::string());
    wideOut.str(std::wstring());
}

} // namespace Testing
