#include "base/RedirectedText.h"

#include <windows.h>

#include <algorithm>
#include <climits>

namespace Base {

namespace {

// Converts one piece of at most INT_MAX units, appending it to encoded.
void AppendUtf8(std::wstring_view text, std::string& encoded)
{
    const int length = static_cast<int>(text.size());
    // Three bytes per UTF-16 unit is the most UTF-8 needs (a surrogate pair, two units,
    // takes four), so one call with room to spare does without a sizing call.
    const size_t start = encoded.size();
    encoded.resize(start + text.size() * 3);
    const int written = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, encoded.data() + start,
                                              static_cast<int>(text.size() * 3), nullptr, nullptr);
    encoded.resize(start + static_cast<size_t>(std::max(written, 0)));
}

} // namespace

void EncodeRedirectedText(std::wstring_view text, std::string& encoded)
{
    encoded.clear();
    // Line by line, so that every line feed becomes CR LF without a second pass.
    while (!text.empty()) {
        const size_t lineFeed = text.find(L'\n');
        const size_t lineLength = lineFeed == std::wstring_view::npos ? text.size() : lineFeed;
        const std::wstring_view line = text.substr(0, std::min<size_t>(lineLength, INT_MAX / 3));
        if (!line.empty()) {
            AppendUtf8(line, encoded);
        }
        text.remove_prefix(line.size());
        if (line.size() == lineLength && lineFeed != std::wstring_view::npos) {
            encoded += "\r\n";
            text.remove_prefix(1);
        }
    }
}

} // namespace Base
