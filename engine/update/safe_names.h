// What a name that came from a server must look like before the launcher writes under it.
#pragma once

#include "ka/string_range.h"

namespace update {

// A path below a folder in the manifest's form: "/" then components separated by single "/",
// none of them empty, "." or "..", and no NUL anywhere.
bool isSafeGamePath(ka::StringRange name);
// The same without the leading "/": what a stream's manifest name or folder may be.
bool isSafeRelativePath(ka::StringRange name);
// 40 lower-case hexadecimal digits: a SHA-1 as the manifest writes it, and so a file name.
bool isChecksumText(ka::StringRange text);

}  // namespace update
