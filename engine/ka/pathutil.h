// Path arithmetic on text, in POSIX or Windows dialect; nothing here normalises a path.
#pragma once

#include <string>

#include "string_range.h"

namespace ka::path {

enum Style { Posix = 0, Windows = 1 };

// Directory part; null range without any delimiter. The parent of "/a" is "/".
StringRange parent(StringRange path, Style style = Posix);
// Text behind the last delimiter; empty if the path ends in one.
StringRange basename(StringRange path, Style style = Posix);
// Extension with its dot, or an empty range at the end; leading dots of a name are no extension.
StringRange ext(StringRange path, Style style = Posix);
StringRange sansExt(StringRange path, Style style = Posix);
bool hasDrive(StringRange path, Style style = Posix);
StringRange drive(StringRange path, Style style = Posix);
StringRange sansDrive(StringRange path, Style style = Posix);
// The path without delimiters at its end, so that it can be cut from the paths below it; "/"
// stays "/".
std::string withoutFinalDelimiters(StringRange path, Style style = Posix);
// Joins with exactly one delimiter at the seam; an absolute `b` is not special.
std::string join(StringRange a, StringRange b, Style style = Posix);
char const* nativePathDelimiter(Style style = Posix);
char const* validPathDelimiters(Style style = Posix);
bool isAbsolute(StringRange path, Style style = Posix);

// First match of `name` along PATH; a name with a '/' is returned unchecked.
std::string searchPath(StringRange name);
std::string cwd();
std::string makeAbsolute(StringRange path);
std::string posixToNative(StringRange path);
std::string nativeToPosix(StringRange path);

}  // namespace ka::path
