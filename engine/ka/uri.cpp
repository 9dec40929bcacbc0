#include "ka/uri.h"

#include <cctype>
#include <cstring>

#include "ka/strutil.h"

namespace ka {

namespace {

bool beginsScheme(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }
bool continuesScheme(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '-' || c == '.';
}

char const* findAny(char const* p, char const* end, char const* set) {
  while (p != end && !std::strchr(set, *p)) ++p;
  return p;
}

char const* const kUserSet = "!$&'()*+,;=:";
char const* const kHostSet = "!$&'()*+,;=";
char const* const kPathSet = "!$&'()*+,;=:@/";
char const* const kQuerySet = "!$'()*+,;:@/?";
char const* const kFragmentSet = "!$&'()*+,;=:@/?";

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Decodes and encodes again, so that escapes of characters that need none go, and the others
// come out in lower case.
void recode(StringRange text, bool plusForSpace, char const* extraSet, std::string& out) {
  std::string decoded;
  decoded.reserve(text.size());
  for (char const* p = text.begin; p != text.end; ++p) {
    if (*p == '%') {
      if (text.end - p < 3) break;
      int high = hexValue(p[1]), low = hexValue(p[2]);
      if (high >= 0 && low >= 0) decoded += char(high * 16 + low);
      p += 2;
    } else if (*p == '+' && plusForSpace) {
      decoded += ' ';
    } else {
      decoded += *p;
    }
  }
  out += uriEncode(decoded, plusForSpace, extraSet);
}

// The segment of the path in out[start, end) that ends just before `end`: its first position.
size_t segmentStart(std::string const& out, size_t start, size_t end) {
  size_t at = end;
  while (at > start && out[at - 1] != '/') --at;
  return at;
}

// Ends a ".." segment that occupies out[w - 2, w); returns the new write position.
size_t endDotDot(std::string& out, size_t start, size_t w, bool slash) {
  size_t dots = w - 2;
  if (dots == start) {
    if (slash) out[w++] = '/';
    return w;
  }
  if (dots == start + 1 && out[start] == '/') return start + 1;
  size_t prevEnd = dots - 1;  // the '/' before the dots
  size_t prevStart = segmentStart(out, start, prevEnd);
  if (prevEnd - prevStart == 2 && out[prevStart] == '.' && out[prevStart + 1] == '.') {
    // A relative path's leading ".." segments pile up.
    if (slash) out[w++] = '/';
    return w;
  }
  return prevStart == prevEnd ? prevStart + 1 : prevStart;
}

// In place, from `start` (where the path begins) to the end of `out`.
void removeDotSegments(std::string& out, size_t start) {
  size_t w = start;
  int n = 0;  // the dots of the present segment; 3 for an ordinary one, 0 right after a '/'
  for (size_t r = start; r < out.size(); ++r) {
    char c = out[r];
    if (c == '.') {
      out[w++] = c;
      ++n;
    } else if (c != '/') {
      out[w++] = c;
      n = 3;
    } else if (n >= 3) {
      out[w++] = c;
      n = 0;
    } else if (n == 1) {
      --w;  // the "." goes, and the '/' before it serves
      n = 0;
    } else if (n == 0) {
      if (w == start) out[w++] = c;  // doubled slashes collapse, but not the path's first
    } else {
      w = endDotDot(out, start, w, true);
      n = 0;
    }
  }
  if (n == 1) --w;
  if (n == 2) w = endDotDot(out, start, w, false);
  out.resize(w);
}

bool sameRange(StringRange a, StringRange b) { return a.view() == b.view(); }

}  // namespace

void Uri::parse() {
  char const* p = uri.begin;
  char const* end = uri.end;
  scheme = {p, p};
  if (p != end && beginsScheme(*p)) {
    char const* q = p + 1;
    while (q != end && continuesScheme(*q)) ++q;
    if (q != end && *q == ':') {
      scheme = {p, q};
      p = q + 1;
    }
  }
  if (end - p >= 2 && p[0] == '/' && p[1] == '/') {
    char const* q = findAny(p + 2, end, "/?#");
    authority = {p + 2, q};
    p = q;
  } else {
    authority = {p, p};
  }
  char const* q = findAny(p, end, "?#");
  path = {p, q};
  p = q;
  if (p != end && *p == '?') {
    q = findAny(p + 1, end, "#");
    query = {p + 1, q};
    p = q;
  } else {
    query = {p, p};
  }
  fragment = p != end && *p == '#' ? StringRange(p + 1, end) : StringRange(p, p);
}

StringRange Uri::topScheme() const {
  char const* plus = findAny(scheme.begin, scheme.end, "+");
  return {scheme.begin, plus};
}

StringRange Uri::popScheme() const {
  if (!hasScheme()) return uri;
  char const* plus = findAny(scheme.begin, scheme.end, "+");
  return plus != scheme.end ? StringRange(plus + 1, uri.end) : StringRange(scheme.end + 1, uri.end);
}

void Uri::resolve(Uri const& base, std::string& out, int flags) const {
  bool authority = true, inheritPath = true, inheritQuery = true;
  if (hasScheme()) {
    out.append(scheme.begin, scheme.end).append(":");
    bool same = sameRange(scheme, base.scheme);
    authority = (flags & URI_Authority) || ((flags & URI_AuthorityIfSameScheme) && same);
    inheritPath = (flags & URI_Path) || ((flags & URI_PathIfSameScheme) && same);
    inheritQuery = (flags & URI_Query) || ((flags & URI_QueryIfSameScheme) && same);
  } else if (base.hasScheme()) {
    out.append(base.scheme.begin, base.scheme.end).append(":");
  }
  bool wroteAuthority = false;
  if (hasAuthority()) {
    out.append("//").append(this->authority.begin, this->authority.end);
    wroteAuthority = true;
    bool sameAuthority = sameRange(this->authority, base.authority);
    inheritPath = inheritPath && ((flags & URI_PathWhateverAuthority) ||
                                  ((flags & URI_PathOnlyIfSameAuthority) && sameAuthority));
    inheritQuery = inheritQuery && ((flags & URI_QueryWhateverAuthority) ||
                                    ((flags & URI_QueryOnlyIfSameAuthority) && sameAuthority));
  } else if (authority && base.hasAuthority()) {
    out.append("//").append(base.authority.begin, base.authority.end);
    wroteAuthority = true;
  }

  size_t pathStart = out.size();
  if (!inheritPath || (!path.empty() && path[0] == '/')) {
    out.append(path.begin, path.end);
  } else if (path.empty()) {
    out.append(base.path.begin, base.path.end);
  } else {
    char const* slash = base.path.end;
    while (slash != base.path.begin && slash[-1] != '/') --slash;
    if (slash != base.path.begin)
      out.append(base.path.begin, slash);
    else if (wroteAuthority)
      out += '/';
    out.append(path.begin, path.end);
  }
  removeDotSegments(out, pathStart);

  if (!path.empty()) {
    bool samePath = std::string_view(out).substr(pathStart) == base.path.view();
    inheritQuery = inheritQuery && ((flags & URI_QueryWithPath) || ((flags & URI_QueryWithPathIfSamePath) && samePath));
  }
  if (hasQuery()) {
    out += '?';
    if (inheritQuery && (flags & URI_QueryBaseFirst) && !base.query.empty()) {
      out.append(base.query.begin, base.query.end);
      if (!query.empty()) out += '&';
    }
    out.append(query.begin, query.end);
  } else if (inheritQuery && base.hasQuery()) {
    out.append("?").append(base.query.begin, base.query.end);
  }
  if (hasFragment()) out.append("#").append(fragment.begin, fragment.end);
}

void UriAuthority::parse() {
  char const* end = authority.end;
  char const* first = findAny(authority.begin, end, ":@");
  user = password = port = {authority.begin, authority.begin};
  char const* hostStart = authority.begin;
  if (first == end) {
    host = authority;
    return;
  }
  if (*first == ':') {
    char const* at = findAny(first + 1, end, "@");
    if (at == end) {
      host = {authority.begin, first};
      port = {first + 1, end};
      return;
    }
    user = {authority.begin, first};
    password = {first + 1, at};
    hostStart = at + 1;
  } else {
    user = {authority.begin, first};
    password = {first, first};
    hostStart = first + 1;
  }
  char const* colon = findAny(hostStart, end, ":");
  host = {hostStart, colon};
  port = colon != end ? StringRange(colon + 1, end) : StringRange(end, end);
}

void UriQuery::parseFirst() {
  key = value = {query.begin, query.begin};
  parseNext();
}

void UriQuery::parseNext() {
  char const* p = value.end;
  char const* end = query.end;
  while (p != end && *p == '&') ++p;
  char const* q = findAny(p, end, "=&");
  key = {p, q};
  if (q != end && *q == '=') {
    char const* v = findAny(q + 1, end, "&");
    value = {q + 1, v};
  } else {
    value = {q, q};
  }
}

bool UriQuery::find(StringRange wanted) {
  for (parseFirst(); !atEnd(); parseNext()) {
    if (key == wanted) return true;
  }
  return false;
}

std::string uriNormalize(StringRange text) {
  Uri uri{text};
  uri.parse();
  std::string out;
  char const* defaultPort = nullptr;
  if (uri.hasScheme()) {
    std::string scheme = strLower(uri.scheme.str());
    out += scheme + ":";
    if (scheme == "http") defaultPort = "80";
    else if (scheme == "https") defaultPort = "443";
    else if (scheme == "ftp") defaultPort = "21";
    else if (scheme == "gopher") defaultPort = "70";
  }
  if (uri.hasAuthority()) {
    out += "//";
    UriAuthority authority{uri.authority};
    authority.parse();
    if (!authority.user.empty()) {
      recode({authority.user.begin, authority.password.end}, false, kUserSet, out);
      out += '@';
    }
    size_t hostStart = out.size();
    recode(authority.host, false, kHostSet, out);
    for (size_t i = hostStart; i < out.size(); ++i) out[i] = char(std::tolower(static_cast<unsigned char>(out[i])));
    if (!authority.port.empty() && !(defaultPort && authority.port == StringRange(defaultPort)))
      out.append(":").append(authority.port.begin, authority.port.end);
  }
  size_t pathStart = out.size();
  recode(uri.path, false, kPathSet, out);
  removeDotSegments(out, pathStart);
  if (!uri.query.empty()) {
    out += '?';
    size_t queryStart = out.size();
    UriQuery query{uri.query};
    for (query.parseFirst(); !query.atEnd(); query.parseNext()) {
      if (query.key.empty()) continue;
      if (out.size() != queryStart) out += '&';
      recode(query.key, true, kQuerySet, out);
      if (!query.value.empty()) {
        out += '=';
        recode(query.value, true, kQuerySet, out);
      }
    }
    if (out.size() == queryStart) out.pop_back();
  }
  if (!uri.fragment.empty()) {
    out += '#';
    recode(uri.fragment, false, kFragmentSet, out);
  }
  return out;
}

std::string uriResolve(StringRange base, StringRange reference, int flags) {
  Uri b{base}, r{reference};
  b.parse();
  r.parse();
  std::string out;
  r.resolve(b, out, flags);
  return out;
}

std::string uriGetParameter(StringRange uri, StringRange key) {
  Uri parsed{uri};
  parsed.parse();
  UriQuery query{parsed.query};
  return query.find(key) ? query.value.str() : std::string();
}

namespace {

// The text with its query rebuilt: `keep` says for each pair whether it stays, and `extra` is
// appended as the last pair when not empty.
template <class Keep>
std::string rewriteQuery(StringRange text, Keep const& keep, std::string const& extra) {
  Uri uri{text};
  uri.parse();
  std::string out(uri.uri.begin, uri.path.end);
  bool first = true;
  auto write = [&](std::string const& pair) {
    out += first ? '?' : '&';
    out += pair;
    first = false;
  };
  UriQuery query{uri.query};
  for (query.parseFirst(); !query.atEnd(); query.parseNext()) {
    if (query.key.empty()) continue;
    std::string pair = keep(query.key, query.value);
    if (!pair.empty()) write(pair);
  }
  if (!extra.empty()) write(extra);
  if (uri.hasFragment()) out.append("#").append(uri.fragment.begin, uri.fragment.end);
  return out;
}

std::string pairText(StringRange key, StringRange value) {
  return value.empty() ? key.str() : key.str() + "=" + value.str();
}

}  // namespace

std::string uriSetParameter(StringRange uri, StringRange key, StringRange value) {
  bool found = false;
  std::string out = rewriteQuery(
      uri,
      [&](StringRange k, StringRange v) {
        if (!(k == key)) return pairText(k, v);
        if (found) return std::string();
        found = true;
        return pairText(k, value);
      },
      std::string());
  return found ? out : rewriteQuery(uri, [](StringRange k, StringRange v) { return pairText(k, v); }, pairText(key, value));
}

std::string uriEraseParameter(StringRange uri, StringRange key) {
  return rewriteQuery(
      uri, [&](StringRange k, StringRange v) { return k == key ? std::string() : pairText(k, v); }, std::string());
}

std::string uriTopScheme(StringRange uri) {
  Uri parsed{uri};
  parsed.parse();
  return parsed.topScheme().str();
}

std::string uriPopScheme(StringRange uri) {
  Uri parsed{uri};
  parsed.parse();
  return parsed.popScheme().str();
}

std::string uriPushScheme(StringRange uri, StringRange scheme) {
  if (scheme.empty()) return uri.str();
  Uri parsed{uri};
  parsed.parse();
  return scheme.str() + (parsed.hasScheme() ? "+" : ":") + uri.str();
}

}  // namespace ka
