// Any bytes given to the URI parsers and editors end in a text, never a crash, a hang or a read
// outside the input. The input is a base and a reference, split at the first newline; the first
// byte also serves as the flags of the resolution.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "ka/uri.h"

namespace {

// Every part of a parsed text lies inside it, in order.
void checkParts(ka::StringRange text) {
  ka::Uri uri{text};
  uri.parse();
  ka::StringRange const parts[] = {uri.scheme, uri.authority, uri.path, uri.query, uri.fragment};
  char const* at = text.begin;
  for (ka::StringRange const& part : parts) {
    if (part.begin < at || part.end < part.begin || part.end > text.end) std::abort();
    at = part.end;
  }
  ka::UriAuthority authority{uri.authority};
  authority.parse();
  ka::UriQuery query{uri.query};
  int pairs = 0;
  for (query.parseFirst(); !query.atEnd(); query.parseNext()) {
    if (++pairs > int(text.size()) + 1) std::abort();  // each pair takes at least one byte
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::string input(reinterpret_cast<char const*>(data), size);
  size_t newline = input.find('\n');
  std::string base = input.substr(0, newline);
  std::string reference = newline == std::string::npos ? std::string() : input.substr(newline + 1);
  int flags = size > 0 ? int(data[0]) * 32 + int(size % 32) : 0;
  checkParts(base);
  checkParts(reference);
  ka::uriNormalize(base);
  ka::uriNormalize(reference);
  ka::uriResolve(base, reference, flags);
  ka::uriGetParameter(base, reference);
  ka::uriSetParameter(base, reference, base);
  ka::uriEraseParameter(base, reference);
  ka::uriPushScheme(ka::uriPopScheme(base), ka::uriTopScheme(reference));
  return 0;
}
