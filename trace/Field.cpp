#include "trace/Field.h"

#include "base/ProcessArguments.h"
#include "base/TextConversion.h"
#include "base/TextUtilities.h"

#include <cwchar>
#include <ios>

namespace Trace::Detail {

namespace {

uint32_t StringPointerLimit()
{
    static const uint32_t limit = Base::ProcessArguments::GetUInt("trace-stringptr-maxlen", 64);
    return limit;
}

uint32_t WideStringPointerLimit()
{
    // A copy of its own, as the two pointer kinds are rendered by separate code paths
    // that may first run at different times.
    static const uint32_t limit = Base::ProcessArguments::GetUInt("trace-stringptr-maxlen", 64);
    return limit;
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
    RenderQuoted(out, std::string_view(text, BoundedLength(text, StringPointerLimit())));
}

void RenderStringPointer(std::ostream& out, const wchar_t* text)
{
    if (text == nullptr) {
        out << "null";
        return;
    }
    RenderQuotedWide(out, std::wstring_view(text, BoundedLength(text, WideStringPointerLimit())));
}

void RenderHex(std::ostream& out, uint64_t value)
{
    out << std::hex << std::showbase << value << std::dec << std::noshowbase;
}

} // namespace Trace::Detail
