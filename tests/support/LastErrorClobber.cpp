#include "tests/support/LastErrorClobber.h"

#include <windows.h>

namespace Testing {

LastErrorClobber::LastErrorClobber() : saved(std::wcout.rdbuf()), buffer(saved)
{
    std::wcout.rdbuf(&buffer);
}

LastErrorClobber::~LastErrorClobber()
{
    std::wcout.rdbuf(saved);
}

LastErrorClobber::Buffer::int_type LastErrorClobber::Buffer::overflow(int_type c)
{
    const int_type result = traits_type::eq_int_type(c, traits_type::eof()) ? traits_type::not_eof(c)
                                                                            : next->sputc(traits_type::to_char_type(c));
    ::SetLastError(ClobberedLastError);
    return result;
}

std::streamsize LastErrorClobber::Buffer::xsputn(const wchar_t* text, std::streamsize count)
{
    const std::streamsize written = next->sputn(text, count);
    ::SetLastError(ClobberedLastError);
    return written;
}

LastErrorClobber::Buffer::pos_type LastErrorClobber::Buffer::seekoff(off_type offset, std::ios_base::seekdir direction,
                                                                     std::ios_base::openmode which)
{
    return next->pubseekoff(offset, direction, which);
}

int LastErrorClobber::Buffer::sync()
{
    const int result = next->pubsync();
    ::SetLastError(ClobberedLastError);
    return result;
}

} // namespace Testing
