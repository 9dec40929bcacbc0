#include "ka/uri.h"

#include <gtest/gtest.h>

#include "ka/strutil.h"

namespace {

using namespace ka;

TEST(Uri, ParsesIntoRangesAndTellsWhichDelimitersWereThere) {
  std::string text = "http://user:pw@Example.com:8080/a/b?x=1&y#frag";
  Uri uri{text};
  uri.parse();
  EXPECT_EQ(uri.scheme.str(), "http");
  EXPECT_EQ(uri.authority.str(), "user:pw@Example.com:8080");
  EXPECT_EQ(uri.path.str(), "/a/b");
  EXPECT_EQ(uri.query.str(), "x=1&y");
  EXPECT_EQ(uri.fragment.str(), "frag");
  EXPECT_TRUE(uri.hasAuthority() && uri.hasQuery() && uri.hasFragment());

  std::string bare = "a/b?";
  Uri relative{bare};
  relative.parse();
  EXPECT_FALSE(relative.hasScheme());
  EXPECT_FALSE(relative.hasAuthority());
  EXPECT_TRUE(relative.hasQuery()) << "an empty query is still a query";
  EXPECT_FALSE(relative.hasFragment());
  // Not a scheme: it doesn't begin with a letter, or has no colon before a slash.
  for (std::string notScheme : {"1x:y", ":y", "a/b:c"}) {
    Uri u{notScheme};
    u.parse();
    EXPECT_FALSE(u.hasScheme()) << notScheme;
    EXPECT_EQ(u.path.str(), notScheme);
  }
}

TEST(UriAuthority, SplitsUserPasswordHostAndPort) {
  auto parts = [](std::string const& text) {
    UriAuthority a{text};
    a.parse();
    return a.user.str() + "|" + a.password.str() + "|" + a.host.str() + "|" + a.port.str();
  };
  EXPECT_EQ(parts("host"), "||host|");
  EXPECT_EQ(parts("host:80"), "||host|80");
  EXPECT_EQ(parts("u:p@host:80"), "u|p|host|80");
  EXPECT_EQ(parts("u@host"), "u||host|");
  // No bracketed literals: an IPv6 host splits at its first colon.
  EXPECT_EQ(parts("[::1]:80"), "||[|:1]:80");
}

TEST(UriQuery, WalksPairsSkippingEmptySeparatorsAndFindsByKey) {
  std::string text = "&&a=1&&b&c=x=y&";
  UriQuery q{text};
  std::vector<std::string> pairs;
  for (q.parseFirst(); !q.atEnd(); q.parseNext()) pairs.push_back(q.key.str() + "=" + q.value.str());
  EXPECT_EQ(pairs, (std::vector<std::string>{"a=1", "b=", "c=x=y"}));
  EXPECT_TRUE(q.find("c"));
  EXPECT_EQ(q.value.str(), "x=y");
  EXPECT_FALSE(q.find("d"));
}

TEST(UriEncode, KeepsTheExtraSetAndWritesBlanksEitherWay) {
  EXPECT_EQ(uriEncode("a/b:c", false, "/'!*:(),"), "a/b:c");
  EXPECT_EQ(uriEncode("a b", false, "/'!*:(),"), "a%20b");
  EXPECT_EQ(uriEncode("a b", true, nullptr), "a+b");
}

TEST(UriNormalize, LowersSchemeAndHostAndDropsDefaultPorts) {
  EXPECT_EQ(uriNormalize("HTTP://Example.COM:80/A"), "http://example.com/A");
  EXPECT_EQ(uriNormalize("https://h:443/"), "https://h/");
  EXPECT_EQ(uriNormalize("https://h:80/"), "https://h:80/");
  EXPECT_EQ(uriNormalize("ftp://h:21/x"), "ftp://h/x");
  EXPECT_EQ(uriNormalize("http://U%41:p@h/"), "http://UA:p@h/");
}

TEST(UriNormalize, UndoesNeedlessEscapesAndLowersTheRest) {
  EXPECT_EQ(uriNormalize("http://h/%7e"), "http://h/~");
  EXPECT_EQ(uriNormalize("http://a%2Fb/"), "http://a%2fb/") << "a slash is no host character";
  EXPECT_EQ(uriNormalize("http://h/a%zzb"), "http://h/ab") << "a bad escape vanishes";
  EXPECT_EQ(uriNormalize("http://h/ab%4"), "http://h/ab") << "a cut escape ends the text";
  EXPECT_EQ(uriNormalize("x:a b"), "x:a%20b");
  EXPECT_EQ(uriNormalize("x:?a b=c+d"), "x:?a+b=c+d");
  EXPECT_EQ(uriNormalize("x:#f%41 g"), "x:#fA%20g");
}

TEST(UriNormalize, RemovesDotSegments) {
  EXPECT_EQ(uriNormalize("/a/b/../c/./d"), "/a/c/d");
  EXPECT_EQ(uriNormalize("../../x"), "../../x");
  EXPECT_EQ(uriNormalize("/../x"), "/x");
  EXPECT_EQ(uriNormalize("a//b"), "a/b");
  EXPECT_EQ(uriNormalize("./a"), "a");
  EXPECT_EQ(uriNormalize("/a/."), "/a/");
  EXPECT_EQ(uriNormalize("/a/b/.."), "/a/");
  EXPECT_EQ(uriNormalize("/a/...b/..."), "/a/...b/...") << "more dots make an ordinary segment";
}

TEST(UriNormalize, DropsEmptyQueryPairs) {
  EXPECT_EQ(uriNormalize("x:?a=1&&b"), "x:?a=1&b");
  EXPECT_EQ(uriNormalize("x:?&"), "x:");
  EXPECT_EQ(uriNormalize("x:?=x"), "x:");
}

// RFC 3986, section 5.4: a reference without a scheme inherits as the RFC says.
TEST(UriResolve, AgreesWithTheRfcExamples) {
  std::string const base = "http://a/b/c/d;p?q";
  std::pair<char const*, char const*> const cases[] = {
      {"g", "http://a/b/c/g"},          {"./g", "http://a/b/c/g"},         {"g/", "http://a/b/c/g/"},
      {"/g", "http://a/g"},             {"//g", "http://g"},               {"?y", "http://a/b/c/d;p?y"},
      {"g?y", "http://a/b/c/g?y"},      {"#s", "http://a/b/c/d;p?q#s"},    {"g#s", "http://a/b/c/g#s"},
      {"g?y#s", "http://a/b/c/g?y#s"},  {";x", "http://a/b/c/;x"},         {"g;x", "http://a/b/c/g;x"},
      {"", "http://a/b/c/d;p?q"},       {".", "http://a/b/c/"},            {"./", "http://a/b/c/"},
      {"..", "http://a/b/"},            {"../", "http://a/b/"},            {"../g", "http://a/b/g"},
      {"../..", "http://a/"},           {"../../", "http://a/"},           {"../../g", "http://a/g"},
      {"g:h", "g:h"},                   {"/./g", "http://a/g"},            {"/../g", "http://a/g"},
      {"g.", "http://a/b/c/g."},        {".g", "http://a/b/c/.g"},         {"g..", "http://a/b/c/g.."},
      {"..g", "http://a/b/c/..g"},      {"./../g", "http://a/b/g"},        {"./g/.", "http://a/b/c/g/"},
      {"g/./h", "http://a/b/c/g/h"},    {"g/../h", "http://a/b/c/h"},      {"g;x=1/./y", "http://a/b/c/g;x=1/y"},
      {"g;x=1/../y", "http://a/b/c/y"}, {"g?y/./x", "http://a/b/c/g?y/./x"}, {"g#s/../x", "http://a/b/c/g#s/../x"},
      {"http:g", "http:g"},
  };
  for (auto const& [reference, expected] : cases) EXPECT_EQ(uriResolve(base, reference, 0), expected) << reference;
}

TEST(UriResolve, FlagsSayWhatAReferenceWithItsOwnSchemeInherits) {
  std::string const base = "http://a/b/c?q#f";
  EXPECT_EQ(uriResolve(base, "http:g", URI_AuthorityIfSameScheme | URI_PathIfSameScheme), "http://a/b/g");
  EXPECT_EQ(uriResolve(base, "ftp:g", URI_AuthorityIfSameScheme | URI_PathIfSameScheme), "ftp:g");
  EXPECT_EQ(uriResolve(base, "ftp:g", URI_Authority | URI_Path), "ftp://a/b/g");
  EXPECT_EQ(uriResolve(base, "http:", URI_AuthorityIfSameScheme | URI_PathIfSameScheme | URI_QueryIfSameScheme),
            "http://a/b/c?q");
  // An authority of its own: the path is inherited only where the bits say so.
  EXPECT_EQ(uriResolve(base, "//a", URI_PathOnlyIfSameAuthority), "http://a/b/c");
  EXPECT_EQ(uriResolve(base, "//z", URI_PathOnlyIfSameAuthority), "http://z");
  EXPECT_EQ(uriResolve(base, "//z", URI_PathWhateverAuthority), "http://z/b/c");
  // A path of its own keeps the base's query only with the query bits.
  EXPECT_EQ(uriResolve(base, "c", URI_QueryWithPathIfSamePath), "http://a/b/c?q");
  EXPECT_EQ(uriResolve(base, "d", URI_QueryWithPathIfSamePath), "http://a/b/d");
  EXPECT_EQ(uriResolve(base, "d", URI_QueryWithPath), "http://a/b/d?q");
  EXPECT_EQ(uriResolve(base, "?r", URI_QueryBaseFirst), "http://a/b/c?q&r");
}

TEST(UriParameters, GetSetAndEraseLeaveEverythingElseAsItWas) {
  EXPECT_EQ(uriGetParameter("x:/p?a=1%20&b", "a"), "1%20");
  EXPECT_EQ(uriGetParameter("x:/p?a=1&b", "b"), "");
  EXPECT_EQ(uriGetParameter("x:/p?a=1", "z"), "");
  EXPECT_EQ(uriSetParameter("x:/p#f", "k", "v"), "x:/p?k=v#f");
  EXPECT_EQ(uriSetParameter("x:/p?a=1&&k=old&b&k=again#f", "k", "new"), "x:/p?a=1&k=new&b#f");
  EXPECT_EQ(uriSetParameter("x:/p?a=1", "k", ""), "x:/p?a=1&k");
  EXPECT_EQ(uriEraseParameter("x:/p?k=1&a&k=2#f", "k"), "x:/p?a#f");
  EXPECT_EQ(uriEraseParameter("x:/p?k=1", "k"), "x:/p");
}

TEST(UriSchemes, StackAndUnstack) {
  EXPECT_EQ(uriPushScheme("x:y", "z"), "z+x:y");
  EXPECT_EQ(uriPushScheme("y", "z"), "z:y");
  EXPECT_EQ(uriPushScheme("x:y", ""), "x:y");
  EXPECT_EQ(uriPopScheme("z+x:y"), "x:y");
  EXPECT_EQ(uriPopScheme("x:y"), "y");
  EXPECT_EQ(uriPopScheme("y"), "y");
  EXPECT_EQ(uriTopScheme("z+x:y"), "z");
  EXPECT_EQ(uriTopScheme("x:y"), "x");
}

}  // namespace
