// The manifest's Json both ways, and what it refuses: wrong shapes, unsafe names, bad digests.
#include "update/manifest.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <sstream>
#include <stdexcept>

#include "ka/logsink.h"
#include "support/temp_dir.h"
#include "support/text.h"
#include "vorn/gzip.h"

namespace {

using update::Manifest;

// The Json's text, gzipped.
std::vector<char> gzipped(ka::Json const& json) {
  std::ostringstream os;
  json.writeTo(os);
  std::string text = os.str();
  std::vector<char> out;
  EXPECT_TRUE(vorn::gzip(std::vector<char>(text.begin(), text.end()), out));
  return out;
}

std::shared_ptr<Manifest> sample() {
  auto m = std::make_shared<Manifest>();
  m->version = "1.2";
  m->patchesFrom = "";
  update::ManifestBundle bundle;
  bundle.checksum = std::string(40, 'a');
  bundle.size = 18446744073709551615ull;
  update::ManifestEntry run{"/bin/game", std::string(40, 'b'), std::string(40, 'c'), 10, 7, 0, true};
  update::ManifestEntry data{"/data/x y.pak", std::string(40, 'd'), "", 5, 0, 7, false};
  bundle.entries = {run, data};
  update::ManifestBundle empty;
  empty.checksum = std::string(40, 'e');
  m->bundles = {bundle, empty};
  return m;
}

void expectSame(Manifest const& a, Manifest const& b) {
  EXPECT_EQ(a.version, b.version);
  EXPECT_EQ(a.patchesFrom, b.patchesFrom);
  ASSERT_EQ(a.bundles.size(), b.bundles.size());
  for (size_t i = 0; i < a.bundles.size(); ++i) {
    EXPECT_EQ(a.bundles[i].checksum, b.bundles[i].checksum);
    EXPECT_EQ(a.bundles[i].size, b.bundles[i].size);
    ASSERT_EQ(a.bundles[i].entries.size(), b.bundles[i].entries.size());
    for (size_t j = 0; j < a.bundles[i].entries.size(); ++j) {
      auto const& x = a.bundles[i].entries[j];
      auto const& y = b.bundles[i].entries[j];
      EXPECT_EQ(std::tie(x.filename, x.checksum, x.checksumZ, x.size, x.sizeZ, x.offset, x.executable),
                std::tie(y.filename, y.checksum, y.checksumZ, y.size, y.sizeZ, y.offset, y.executable));
    }
  }
}

TEST(Manifest, WritesNumbersAsDigitTextAndReadsBackTheSameFields) {
  auto original = sample();
  ka::Json json = Manifest::toJson(original);
  ka::Json entry = json.get("bundles").get(0).get("entries").get(1);
  EXPECT_FALSE(entry.hasKey("executable"));
  EXPECT_EQ(entry.get("offset").type(), ka::Json::TYPE_String);
  EXPECT_EQ(json.get("bundles").get(0).get("size").asString(""), "18446744073709551615");
  EXPECT_EQ(json.get("bundles").get(0).get("entries").get(0).get("executable"), ka::Json::makeBoolean(true));
  EXPECT_EQ(json.get("patchesFrom").asString("null"), "");

  TempDir dir;
  std::string path = dir.write("manifest.gz", gzipped(json));
  auto read = Manifest::fromZippedFile(path);
  ASSERT_TRUE(read);
  expectSame(*original, *read);
}

std::string const kSum(40, '0');

// A manifest of one bundle holding the given entry objects.
std::string withEntries(std::string const& entries) {
  return "{\"bundles\":[{\"checksum\":\"" + kSum + "\",\"entries\":[" + entries + "]}]}";
}

std::string entry(std::string const& filename, std::string const& checksum = kSum) {
  return "{\"filename\":" + filename + ",\"checksum\":\"" + checksum + "\"}";
}

TEST(Manifest, ReadsDigitsStrictlyAndMissingTextsAsNull) {
  struct Case {
    char const* size;
    uint64_t value;
  } const cases[] = {
      {"\"18446744073709551615\"", 18446744073709551615ull},
      {"\"18446744073709551616\"", 0},
      {"\"99999999999999999999\"", 0},
      {"\"12a\"", 0},
      {"\"-1\"", 0},
      {"\"+1\"", 0},
      {"\"1.0\"", 0},
      {"\"1 \"", 0},
      {"\"\"", 0},
      {"\"007\"", 7},
      {"12", 12},
      {"true", 0},
  };
  ka::LogSinkMemory log(0);
  for (Case const& c : cases) {
    auto m = Manifest::fromJson(parseJson("{\"bundles\":[{\"checksum\":\"" + kSum + "\",\"size\":" + c.size + ",\"entries\":[]}]}"));
    ASSERT_EQ(m->bundles.size(), 1u);
    EXPECT_EQ(m->bundles[0].size, c.value) << c.size;
  }
  EXPECT_TRUE(log.messages().empty()) << "bad digits are silent";

  auto m = Manifest::fromJson(parseJson(withEntries(
      "{\"filename\":\"/a\",\"checksum\":\"" + kSum + "\",\"executable\":\"yes\"}, " +
      "{\"filename\":\"/b\",\"checksum\":\"" + kSum + "\",\"executable\":0}")));
  EXPECT_EQ(m->version, "null");
  EXPECT_EQ(m->patchesFrom, "null");
  auto const& e = m->bundles[0].entries;
  EXPECT_EQ(e[0].checksumZ, "null");
  EXPECT_TRUE(e[0].executable);
  EXPECT_FALSE(e[1].executable);
}

// A server's manifest decides where files are written: any record that is wrong refuses it whole.
TEST(Manifest, RefusesWrongShapesAndUnsafeNamesNamingTheFirstBadRecord) {
  std::string const upper(40, 'A');
  struct Case {
    std::string json;
    std::string error;  // after "Refusing manifest: "
  } const cases[] = {
      {"[1,2]", "it is not a Json object"},
      {"{\"version\":\"v\"}", "it has no \"bundles\" array"},
      {"{\"version\":7,\"bundles\":{}}", "it has no \"bundles\" array"},
      {"{\"bundles\":[[[[[[[]]]]]]]}", "bundle 1 is not an object"},
      {"{\"bundles\":[{\"entries\":[]}]}", "bundle 1 has the checksum \"null\", not 40 lower-case hexadecimal digits"},
      {"{\"bundles\":[{\"checksum\":\"../../" + kSum.substr(6) + "\",\"entries\":[]}]}",
       "bundle 1 has the checksum \"../../" + kSum.substr(6) + "\", not 40 lower-case hexadecimal digits"},
      {"{\"bundles\":[{\"checksum\":\"" + upper + "\",\"entries\":[]}]}",
       "bundle 1 has the checksum \"" + upper + "\", not 40 lower-case hexadecimal digits"},
      {"{\"bundles\":[{\"checksum\":\"" + kSum + "\"}]}", "bundle 1 has no \"entries\" array"},
      {withEntries(entry("\"/ok\"") + ", 5"), "entry 2 of bundle 1 is not an object"},
      {withEntries(entry("\"/../../../../outside/dotdot.txt\"")),
       "entry 1 of bundle 1 names \"/../../../../outside/dotdot.txt\", which is not a plain path inside the game folder"},
      {withEntries(entry("\"/ok\"") + "," + entry("\"/a/./b\"")),
       "entry 2 of bundle 1 names \"/a/./b\", which is not a plain path inside the game folder"},
      {withEntries(entry("\"relative\"")), "entry 1 of bundle 1 names \"relative\", which is not a plain path inside the game folder"},
      {withEntries(entry("\"/a//b\"")), "entry 1 of bundle 1 names \"/a//b\", which is not a plain path inside the game folder"},
      {withEntries(entry("\"/a/\"")), "entry 1 of bundle 1 names \"/a/\", which is not a plain path inside the game folder"},
      {withEntries(entry("\"/nul\\u0000.txt\"")),
       "entry 1 of bundle 1 names \"/nul\\x00.txt\", which is not a plain path inside the game folder"},
      {withEntries("{\"checksum\":\"" + kSum + "\"}"),
       "entry 1 of bundle 1 names \"null\", which is not a plain path inside the game folder"},
      {withEntries(entry("\"/a\"", "../" + kSum.substr(3))),
       "entry 1 of bundle 1 (\"/a\") has the checksum \"../" + kSum.substr(3) + "\", not 40 lower-case hexadecimal digits"},
      {withEntries(entry("\"/.zandor-installed\"")),
       "entry 1 of bundle 1 names \"/.zandor-installed\", a name the launcher keeps for its own files"},
      {withEntries(entry("\"/x.zandor-part\"")),
       "entry 1 of bundle 1 names \"/x.zandor-part\", a name the launcher keeps for its own files"},
      {withEntries(entry("\"/twice\"") + "," + entry("\"/twice\"")), "\"/twice\" is listed twice"},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.json);
    try {
      Manifest::fromJson(parseJson(c.json));
      ADD_FAILURE() << "accepted";
    } catch (std::runtime_error const& e) {
      EXPECT_EQ(e.what(), "Refusing manifest: " + c.error);
    }
  }
  auto fine = Manifest::fromJson(parseJson(withEntries(entry("\"/..hidden/a..b/.c\"") + "," + entry("\"/README.txt\"") +
                                                   "," + entry("\"/readme.txt\""))));
  EXPECT_EQ(fine->bundles[0].entries.size(), 3u) << "dots inside names and case twins are plain names";
}

// Data that is no gzip, or cut short, is refused in the update's own tests, where it arrives.
TEST(Manifest, ZippedFileFaults) {
  TempDir dir;
  EXPECT_EQ(Manifest::fromZippedFile(dir.file("missing")), nullptr);
  EXPECT_EQ(Manifest::fromZippedFile(dir.path()), nullptr);

  std::string plain = "{\"version\":\"1\",\"bundles\":[]}";
  uLongf size = compressBound(uLong(plain.size()));
  std::vector<char> zlib(size);
  compress(reinterpret_cast<Bytef*>(zlib.data()), &size, reinterpret_cast<Bytef const*>(plain.data()), plain.size());
  zlib.resize(size);
  auto m = Manifest::fromZippedFile(dir.write("zlib", zlib));
  ASSERT_TRUE(m);
  EXPECT_EQ(m->version, "1");
}

}  // namespace
