// URIs after RFC 3986: parsing into ranges of the text (no allocation), normalizing, resolving a
// reference against a base, editing query parameters, and schemes stacked with "+".
#pragma once

#include <string>

#include "ka/string_range.h"

namespace ka {

// Set `uri`, then `parse`. The text must outlive the record. A part that is absent is an empty
// range; whether its delimiter was there is told by the has... members.
struct Uri {
  StringRange uri{}, scheme{}, authority{}, path{}, query{}, fragment{};

  void parse();
  bool hasScheme() const { return !scheme.empty(); }
  bool hasAuthority() const { return authority.begin - uri.begin >= 2 && authority.begin[-2] == '/' && authority.begin[-1] == '/'; }
  bool hasQuery() const { return query.begin > uri.begin && query.begin[-1] == '?'; }
  bool hasFragment() const { return fragment.begin > uri.begin && fragment.begin[-1] == '#'; }
  // The first of stacked schemes ("z" of "z+x:y").
  StringRange topScheme() const;
  // The text with the top scheme taken off ("x:y" of "z+x:y", "y" of "x:y").
  StringRange popScheme() const;
  // This reference resolved against `base`, written to `out`; `flags` say what a reference with a
  // scheme of its own inherits (UriInherit).
  void resolve(Uri const& base, std::string& out, int flags) const;
};

// Bits of the flags of resolve: what a reference with its own scheme inherits from the base.
enum UriInherit : int {
  URI_AuthorityIfSameScheme = 1,
  URI_Authority = 2,
  URI_PathIfSameScheme = 4,
  URI_Path = 8,
  URI_PathOnlyIfSameAuthority = 16,
  URI_PathWhateverAuthority = 32,
  URI_QueryIfSameScheme = 64,
  URI_Query = 128,
  URI_QueryOnlyIfSameAuthority = 256,
  URI_QueryWhateverAuthority = 512,
  URI_QueryWithPathIfSamePath = 1024,
  URI_QueryWithPath = 2048,
  URI_QueryBaseFirst = 4096,
};

// Set `authority`, then `parse`. No bracketed IPv6 hosts: such a host splits at its first colon.
struct UriAuthority {
  StringRange authority{}, user{}, password{}, host{}, port{};
  void parse();
};

// Set `query`, then walk the pairs with parseFirst and parseNext; `key` and `value` hold the
// present pair, undecoded, and are empty at the end.
struct UriQuery {
  StringRange query{}, key{}, value{};
  void parseFirst();
  void parseNext();
  // Past the last pair.
  bool atEnd() const { return key.empty() && key.begin == query.end; }
  // From the first pair on, to the first with this key; false if there is none.
  bool find(StringRange wanted);
};

// Lower-case scheme and host, no default port, escapes only where needed and in lower case, dot
// segments removed, empty query pairs dropped.
std::string uriNormalize(StringRange uri);
std::string uriResolve(StringRange base, StringRange reference, int flags);
// The raw value, escapes and all; empty when the key is absent.
std::string uriGetParameter(StringRange uri, StringRange key);
// Replaces the first pair of that key (dropping later ones) or appends it; an empty value writes
// the key alone. Nothing is encoded.
std::string uriSetParameter(StringRange uri, StringRange key, StringRange value);
std::string uriEraseParameter(StringRange uri, StringRange key);
std::string uriTopScheme(StringRange uri);
std::string uriPopScheme(StringRange uri);
// `scheme` on top of the text's schemes, or as its scheme when it has none.
std::string uriPushScheme(StringRange uri, StringRange scheme);

}  // namespace ka
