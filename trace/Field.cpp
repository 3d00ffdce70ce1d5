#include "trace/Field.h"

#include "base/ProcessArguments.h"
#include "base/TextConversion.h"
#include "base/TextUtilities.h"
#include "trace/FrameworkReset.h"

#include <windows.h>

#include <cwchar>
#include <ios>

namespace Trace::Detail {

namespace {

// "trace-stringptr-maxlen", read from the argument store on first use. Each pointer kind
// has a copy of its own, as the two are rendered by separate code paths that may first
// run at different times.
struct OnceReadLimit {
    INIT_ONCE once = INIT_ONCE_STATIC_INIT;
    uint32_t value = 0;
};

OnceReadLimit stringPointerLimit;
OnceReadLimit wideStringPointerLimit;

BOOL CALLBACK ReadLimit(PINIT_ONCE, PVOID limit, PVOID*)
{
    static_cast<OnceReadLimit*>(limit)->value = Base::ProcessArguments::GetUInt("trace-stringptr-maxlen", 64);
    return TRUE;
}

uint32_t Limit(OnceReadLimit& limit)
{
    ::InitOnceExecuteOnce(&limit.once, ReadLimit, &limit, nullptr);
    return limit.value;
}

template <typename Char> size_t BoundedLength(const Char* text, size_t limit)
{
    size_t length = 0;
    while (length < limit && text[length] != Char{}) {
        ++length;
    }
    return length;
}

} // namespace

void RenderQuoted(std::ostream& out, std::string_view text)
{
    out << '"' << text << '"';
}

void RenderQuotedWide(std::ostream& out, std::wstring_view text)
{
    RenderQuoted(out, Base::WideToConsole(Base::EscapeNonPrintable(text, false)));
}

void RenderStringPointer(std::ostream& out, const char* text)
{
    if (text == nullptr) {
        out << "null";
        return;
    }
    RenderQuoted(out, std::string_view(text, BoundedLength(text, Limit(stringPointerLimit))));
}

void RenderStringPointer(std::ostream& out, const wchar_t* text)
{
    if (text == nullptr) {
        out << "null";
        return;
    }
    RenderQuotedWide(out, std::wstring_view(text, BoundedLength(text, Limit(wideStringPointerLimit))));
}

void RenderHex(std::ostream& out, uint64_t value)
{
    out << std::hex << std::showbase << value << std::dec << std::noshowbase;
}

} // namespace Trace::Detail

namespace Trace {

void Reset::ForgetStringLimits()
{
    ::InitOnceInitialize(&Detail::stringPointerLimit.once);
    ::InitOnceInitialize(&Detail::wideStringPointerLimit.once);
}

} // namespace Trace
