#include "update/manifest.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <sstream>
#include <stdexcept>

#include "ka/logsink.h"
#include "support/temp_dir.h"
#include "vorn/gzip.h"

namespace {

using update::Manifest;

ka::Json parse(std::string const& text) {
  std::istringstream in(text);
  return ka::Json::readFrom(in);
}

std::vector<char> gzipped(std::string const& text) {
  std::vector<char> out;
  EXPECT_TRUE(vorn::gzip(std::vector<char>(text.begin(), text.end()), out));
  return out;
}

std::string compact(ka::Json const& v) {
  std::ostringstream os;
  v.writeTo(os);
  return os.str();
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
  m->bundles = {bundle, update::ManifestBundle()};
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
  std::string path = dir.write("manifest.gz", gzipped(compact(json)));
  auto read = Manifest::fromZippedFile(path);
  ASSERT_TRUE(read);
  expectSame(*original, *read);
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
    auto m = Manifest::fromJson(parse(std::string("{\"bundles\":[{\"size\":") + c.size + ",\"entries\":[]}]}"));
    ASSERT_EQ(m->bundles.size(), 1u);
    EXPECT_EQ(m->bundles[0].size, c.value) << c.size;
  }
  EXPECT_TRUE(log.messages().empty()) << "bad digits are silent";

  auto m = Manifest::fromJson(parse("{\"bundles\":[{\"entries\":[{\"executable\":\"yes\"}, {\"executable\":0}]}]}"));
  EXPECT_EQ(m->version, "null");
  EXPECT_EQ(m->patchesFrom, "null");
  EXPECT_EQ(m->bundles[0].checksum, "null");
  auto const& e = m->bundles[0].entries;
  EXPECT_EQ(e[0].filename, "null");
  EXPECT_EQ(e[0].checksumZ, "null");
  EXPECT_TRUE(e[0].executable);
  EXPECT_FALSE(e[1].executable);
}

TEST(Manifest, WrongShapesAreLoggedAndReadAsFarAsTheyGo) {
  struct Case {
    char const* json;
    char const* log;  // nullptr: nothing logged
    char const* version;
    size_t bundles;
  } const cases[] = {
      {"{\"version\":\"v\",\"bundles\":[]}", nullptr, "v", 0},
      {"{\"version\":\"v\"}", "Error parsing json: Json value isn't an array", "v", 0},
      {"{\"version\":7,\"bundles\":{}}", "Error parsing json: Json value isn't an array", "7", 0},
      {"[1,2]", "Error parsing json: Json value isn't an object", "", 0},
      {"{\"version\":\"v\",\"bundles\":[{\"entries\":[]}, 5, {\"entries\":[]}]}",
       "Error parsing json: Json value isn't an object", "v", 3},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.json);
    ka::LogSinkMemory log(0);
    auto m = Manifest::fromJson(parse(c.json));
    ASSERT_TRUE(m);
    EXPECT_EQ(m->version, c.version);
    EXPECT_EQ(m->bundles.size(), c.bundles);
    if (!c.log) {
      EXPECT_TRUE(log.messages().empty());
    } else {
      ASSERT_EQ(log.messages().size(), 1u);
      std::string const& line = log.messages()[0];
      EXPECT_NE(line.find(std::string(" ERROR ") + c.log + "\n"), std::string::npos) << line;
    }
  }
  auto partial = Manifest::fromJson(parse("{\"bundles\":[{\"checksum\":\"x\",\"entries\":[{\"size\":\"3\"}, []]}]}"));
  ASSERT_EQ(partial->bundles[0].entries.size(), 2u);
  EXPECT_EQ(partial->bundles[0].entries[0].size, 3u);
  EXPECT_EQ(partial->bundles[0].entries[1].checksum, "") << "unfilled records keep their defaults";
}

TEST(Manifest, ZippedFileFaults) {
  TempDir dir;
  EXPECT_EQ(Manifest::fromZippedFile(dir.file("missing")), nullptr);
  EXPECT_EQ(Manifest::fromZippedFile(dir.path()), nullptr);

  auto errorOf = [&](std::vector<char> const& bytes) -> std::string {
    std::string path = dir.write("m", bytes);
    try {
      Manifest::fromZippedFile(path);
    } catch (std::runtime_error const& e) {
      return e.what();
    }
    return "<no error>";
  };
  std::string plain = "{\"version\":\"1\",\"bundles\":[]}";
  EXPECT_EQ(errorOf(std::vector<char>(plain.begin(), plain.end())), "EOF encountered while skipping whitespace");
  EXPECT_EQ(errorOf({}), "EOF encountered while skipping whitespace");
  std::vector<char> zipped = gzipped(compact(Manifest::toJson(sample())));
  zipped.resize(zipped.size() * 2 / 3);
  EXPECT_NE(errorOf(zipped), "<no error>");

  uLongf size = compressBound(uLong(plain.size()));
  std::vector<char> zlib(size);
  compress(reinterpret_cast<Bytef*>(zlib.data()), &size, reinterpret_cast<Bytef const*>(plain.data()), plain.size());
  zlib.resize(size);
  auto m = Manifest::fromZippedFile(dir.write("zlib", zlib));
  ASSERT_TRUE(m);
  EXPECT_EQ(m->version, "1");
}

}  // namespace
