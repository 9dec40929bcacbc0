// printf into strings, UTF conversions, splitting, replacing and URI encoding.
#pragma once

#include <cstdarg>
#include <string>
#include <vector>

#include "string_range.h"

namespace ka {

// Append formatted text to `out`; results below 256 bytes need no extra heap work.
void stringvprintf(std::string& out, char const* format, va_list args);
std::string stringvprintf(char const* format, va_list args);
void stringprintf(std::string& out, char const* format, ...) __attribute__((format(printf, 2, 3)));
std::string stringprintf(char const* format, ...) __attribute__((format(printf, 1, 2)));

// Code point at `pos`, moving `pos` behind it; throws "malformed UTF-8 sequence".
unsigned decodeUtf8Char(char const*& pos, char const* end);
// Code point before `pos`, moving `pos` back to its first byte.
unsigned prevUtf8Char(char const*& pos, char const* begin);

std::string utf16_to_utf8(unsigned short const* begin, unsigned short const* end);
std::string utf32_to_utf8(unsigned int const* begin, unsigned int const* end);
std::string wstr_to_utf8(wchar_t const* begin, wchar_t const* end);
std::string wstr_to_utf8(wchar_t const* text);
std::string wstr_to_utf8(std::wstring const& text);
std::wstring utf8_to_wstr(StringRange text);

// White-space words; `out` is replaced.
void split(StringRange text, std::vector<std::string>& out);
// Fields between `delimiter`s, appended; a delimiter at the very end adds no empty field.
void split(StringRange text, char delimiter, std::vector<std::string>& out);
// Fields between any of `delimiters`; `out` is replaced and the text behind the last one is always a field.
void split(StringRange text, std::string const& delimiters, std::vector<std::string>& out);

bool replace(std::string& text, StringRange from, StringRange to);
size_t replaceAll(std::string& text, StringRange from, StringRange to);
std::string strLower(StringRange text);
std::string strUpper(StringRange text);

// Percent-encodes every byte outside the unreserved set plus `extraSet`, in lower-case hex.
std::string uriEncode(StringRange text, bool plusForSpace, char const* extraSet);

}  // namespace ka
