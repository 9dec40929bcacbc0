#include "pathutil.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include "die.h"

namespace ka::path {

namespace {

void checkStyle(Style style) {
  if (style != Posix && style != Windows) die("strange value for style");
}

bool isSlash(char c, Style style) { return c == '/' || (style == Windows && c == '\\'); }

// Delimiters that end the last component: a drive's ':' counts too on Windows.
bool endsComponent(char c, Style style) { return isSlash(c, style) || (style == Windows && c == ':'); }

// Start of the last component.
char const* lastComponent(StringRange path, Style style) {
  char const* p = path.end;
  while (p != path.begin && !endsComponent(p[-1], style)) --p;
  return p;
}

}  // namespace

StringRange parent(StringRange path, Style style) {
  checkStyle(style);
  for (char const* p = path.end; p != path.begin;) {
    --p;
    if (style == Windows && *p == ':') return StringRange(path.begin, p + 1);
    if (isSlash(*p, style)) {
      bool keep = p == path.begin || (style == Windows && p[-1] == ':');
      return StringRange(path.begin, keep ? p + 1 : p);
    }
  }
  return StringRange();
}

StringRange basename(StringRange path, Style style) {
  checkStyle(style);
  return StringRange(lastComponent(path, style), path.end);
}

StringRange ext(StringRange path, Style style) {
  if (style != Windows) style = Posix;
  char const* p = lastComponent(path, style);
  while (p != path.end && *p == '.') ++p;
  if (p == path.end) return StringRange(path.end, path.end);
  for (char const* q = path.end; q != p;) {
    if (*--q == '.') return StringRange(q, path.end);
  }
  return StringRange(path.end, path.end);
}

StringRange sansExt(StringRange path, Style style) { return StringRange(path.begin, ext(path, style).begin); }

bool hasDrive(StringRange path, Style style) { return style == Windows && path.size() >= 2 && path[1] == ':'; }

StringRange drive(StringRange path, Style style) {
  return hasDrive(path, style) ? StringRange(path.begin, path.begin + 2) : StringRange();
}

StringRange sansDrive(StringRange path, Style style) {
  return hasDrive(path, style) ? StringRange(path.begin + 2, path.end) : path;
}

std::string withoutFinalDelimiters(StringRange path, Style style) {
  checkStyle(style);
  std::string out = path.str();
  while (out.size() > 1 && isSlash(out.back(), style)) out.pop_back();
  return out;
}

std::string join(StringRange a, StringRange b, Style style) {
  checkStyle(style);
  if (a.empty()) return b.str();
  if (b.empty()) return a.str();
  std::string out = a.str();
  bool aEnds = isSlash(a.end[-1], style);
  bool bStarts = isSlash(b[0], style);
  if (style == Windows && a.end[-1] == ':') {
    out.append(b.begin, b.end);
  } else if (aEnds && bStarts) {
    out.append(b.begin + 1, b.end);
  } else if (aEnds || bStarts) {
    out.append(b.begin, b.end);
  } else {
    out += nativePathDelimiter(style);
    out.append(b.begin, b.end);
  }
  return out;
}

char const* nativePathDelimiter(Style style) {
  checkStyle(style);
  return style == Windows ? "\\" : "/";
}

char const* validPathDelimiters(Style style) {
  checkStyle(style);
  return style == Windows ? "\\/" : "/";
}

bool isAbsolute(StringRange path, Style style) {
  checkStyle(style);
  if (style == Posix) return !path.empty() && path[0] == '/';
  return hasDrive(path, style) && path.size() >= 3 && isSlash(path[2], style);
}

std::string searchPath(StringRange name) {
  if (name.view().find('/') != std::string_view::npos) return name.str();
  char const* pathVariable = std::getenv("PATH");
  if (!pathVariable) return std::string();
  std::string_view rest(pathVariable);
  while (!rest.empty()) {
    size_t cut = rest.find(':');
    std::string_view entry = rest.substr(0, cut);
    rest = cut == std::string_view::npos ? std::string_view() : rest.substr(cut + 1);
    if (entry.empty()) continue;
    std::string candidate = join(entry, name);
    struct stat info;
    if (::stat(candidate.c_str(), &info) == 0) return candidate;
  }
  return std::string();
}

std::string cwd() {
  std::vector<char> buffer(256);
  while (!::getcwd(buffer.data(), buffer.size())) {
    if (errno != ERANGE) die("Could not get the current directory");
    buffer.resize(buffer.size() * 2);
  }
  return buffer.data();
}

std::string makeAbsolute(StringRange path) {
  if (!path.empty() && path[0] == '/') return path.str();
  return join(cwd(), path);
}

std::string posixToNative(StringRange path) { return path.str(); }
std::string nativeToPosix(StringRange path) { return path.str(); }

}  // namespace ka::path
