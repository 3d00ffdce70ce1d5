#pragma once

// A named value attached to a trace message, and how each value type is rendered.
//
//   integers            decimal
//   bool                true / false
//   pointers, Hex{}     hexadecimal with a 0x prefix; zero prints as 0
//   std::string(_view)  "text"
//   std::wstring(_view) "text", escaped and converted to the console code page
//   const char*, char[] "text" cut at trace-stringptr-maxlen (64), or null
//   const wchar_t*, []  the same for wide text
//   std::exception      "what()"

#include <cstdint>
#include <exception>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

namespace Trace {

// Marks an integer (an address, a module base) to be rendered in hexadecimal.
template <typename T> struct Hex {
    T value;
};
template <typename T> Hex(T) -> Hex<T>;

// Key and a reference to the value. Fields are built inside the logging call, so the
// referenced value always outlives them.
template <typename T> class Field {
public:
    constexpr Field(std::string_view key, const T& value) noexcept : key(key), value(value) {}

    std::string_view Key() const noexcept { return key; }
    const T& Value() const noexcept { return value; }

private:
    std::string_view key;
    const T& value;
};
template <typename T> Field(std::string_view, const T&) -> Field<T>;

namespace Detail {

void RenderQuoted(std::ostream& out, std::string_view text);
void RenderQuotedWide(std::ostream& out, std::wstring_view text);
void RenderStringPointer(std::ostream& out, const char* text);
void RenderStringPointer(std::ostream& out, const wchar_t* text);
void RenderHex(std::ostream& out, uint64_t value);

template <typename T> struct IsHex : std::false_type {
};
template <typename T> struct IsHex<Hex<T>> : std::true_type {
};

template <typename T> void RenderValue(std::ostream& out, const T& value)
{
    // Character arrays (literals, fixed buffers) decay here and are rendered as the raw
    // pointers they become: bounded, so that an unterminated buffer is never overrun.
    using V = std::decay_t<T>;
    if constexpr (std::is_same_v<V, bool>) {
        out << (value ? "true" : "false");
    } else if constexpr (std::is_same_v<V, const char*> || std::is_same_v<V, char*>) {
        RenderStringPointer(out, value);
    } else if constexpr (std::is_same_v<V, const wchar_t*> || std::is_same_v<V, wchar_t*>) {
        RenderStringPointer(out, value);
    } else if constexpr (std::is_convertible_v<const T&, std::string_view>) {
        RenderQuoted(out, value);
    } else if constexpr (std::is_convertible_v<const T&, std::wstring_view>) {
        RenderQuotedWide(out, value);
    } else if constexpr (std::is_pointer_v<V>) {
        RenderHex(out, reinterpret_cast<uintptr_t>(value));
    } else if constexpr (IsHex<V>::value) {
        if constexpr (std::is_pointer_v<decltype(value.value)>) {
            RenderHex(out, reinterpret_cast<uintptr_t>(value.value));
        } else {
            RenderHex(out, static_cast<uint64_t>(value.value));
        }
    } else if constexpr (std::is_enum_v<V>) {
        out << static_cast<std::underlying_type_t<V>>(value) + 0;
    } else if constexpr (std::is_integral_v<V>) {
        // + 0 promotes byte-sized numbers so that they print as numbers, not characters.
        out << (value + 0);
    } else if constexpr (std::is_base_of_v<std::exception, V>) {
        RenderQuoted(out, value.what());
    } else {
        static_assert(!sizeof(T), "no rendering for this field type");
    }
}

} // namespace Detail

// " { key:value, key:value }" for one or more fields; nothing at all for none.
template <typename... T> void RenderFields(std::ostream& out, const Field<T>&... fields)
{
    if constexpr (sizeof...(T) > 0) {
        out << " {";
        size_t remaining = sizeof...(T);
        ((out << ' ' << fields.Key() << ':', Detail::RenderValue(out, fields.Value()),
          out << (--remaining > 0 ? "," : "")),
         ...);
        out << " }";
    }
}

} // namespace Trace
