// The engine's view of the UI folder: what it may read, and that it never writes.
#include "webui/file_handler.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ka/logsink.h"
#include "ka/strutil.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

struct Response : webui::ResourceResponse {
  void* GetBuffer(size_t size) override {
    if (refuseBuffer) return nullptr;
    bytes.resize(size);
    return bytes.data();
  }
  void SignalSuccess() override { outcome = "success"; }
  void SignalFailure() override { outcome = "failure"; }
  std::string text() const { return std::string(bytes.begin(), bytes.end()); }
  std::vector<char> bytes;
  std::string outcome = "none";
  bool refuseBuffer = false;
};

struct Data : webui::ResourceData {
  void SignalFailure() override { failed = true; }
  bool failed = false;
};

TEST(ExternalFileHandler, ReadsBelowItsRootAndNeverWrites) {
  TempDir root;
  std::filesystem::create_directories(root.file("css"));
  root.write("index.html", "<html></html>");
  root.write("css/site.css", "body{}");
  webui::ExternalFileHandler handler(root.path());
  ka::LogSinkMemory log(0);

  Response page;
  handler.ReadFile(L"coui://ui/index.html", &page);
  EXPECT_EQ(page.outcome, "success");
  EXPECT_EQ(page.text(), "<html></html>");
  Response style;
  handler.ReadFile(L"coui://ui/css/site.css", &style);
  EXPECT_EQ(style.text(), "body{}");
  Response missing;
  handler.ReadFile(L"coui://ui/nothing.js", &missing);
  EXPECT_EQ(missing.outcome, "failure");
  EXPECT_NE(logText(log).find(" INFO Opening " + root.file("index.html") + "\n"), std::string::npos);
  EXPECT_NE(logText(log).find(" ERROR Can't open " + root.file("nothing.js") + "\n"), std::string::npos);

  Data data;
  handler.WriteFile(L"coui://ui/index.html", &data);
  EXPECT_TRUE(data.failed);
  EXPECT_NE(logText(log).find(". Coherent file writing is disabled."), std::string::npos);
}

// URLs that name files outside the handler's folder, in the forms a page or a frame could
// write them; the engine passes some of them on as they are.
std::vector<std::wstring> escapes(std::string const& outside) {
  std::wstring absolute = ka::utf8_to_wstr(outside);
  return {
      L"coui:../../../secret.txt",
      L"coui:../../secret.txt",
      L"coui://ui/../secret.txt",
      L"coui://ui/css/../../secret.txt",
      L"coui://ui/%2e%2e/secret.txt",
      L"coui://ui/.%2E/secret.txt",
      L"coui://ui/..%2fsecret.txt",
      L"coui://ui/css%2f..%2f..%2fsecret.txt",
      L"coui://ui/" + absolute,
      L"coui://ui/..",
      L"coui:" + absolute,
      L"coui://" + absolute,
      L"coui:///../secret.txt",
      L"coui://../secret.txt",
      L"coui://ui/index.html%00.png",
  };
}

TEST(ExternalFileHandler, ServesNothingOutsideItsFolder) {
  TempDir outer;
  std::filesystem::create_directories(outer.file("ui/css"));
  outer.write("secret.txt", "secret");
  outer.write("ui/index.html", "<html></html>");
  outer.write("ui/a b.html", "spaced");
  webui::ExternalFileHandler handler(outer.file("ui"));
  ka::LogSinkMemory log(0);
  for (std::wstring const& url : escapes(outer.file("secret.txt"))) {
    Response response;
    handler.ReadFile(url.c_str(), &response);
    EXPECT_EQ(response.outcome, "failure") << ka::wstr_to_utf8(url);
    EXPECT_EQ(response.text().find("secret"), std::string::npos) << ka::wstr_to_utf8(url);
  }
  // What stays inside is served, once decoded and without its query or fragment.
  struct Case {
    wchar_t const* url;
    char const* text;
  } const inside[] = {
      {L"coui://ui/css/../index.html", "<html></html>"},
      {L"coui://ui/./index.html?v=2#top", "<html></html>"},
      {L"coui://ui//index.html", "<html></html>"},
      {L"coui://ui/a%20b.html", "spaced"},
  };
  for (Case const& c : inside) {
    Response response;
    handler.ReadFile(c.url, &response);
    EXPECT_EQ(response.outcome, "success") << ka::wstr_to_utf8(c.url);
    EXPECT_EQ(response.text(), c.text) << ka::wstr_to_utf8(c.url);
  }
  Response folder;
  handler.ReadFile(L"coui://ui/css", &folder);
  EXPECT_EQ(folder.outcome, "failure") << "a folder is no file";
  EXPECT_NE(logText(log).find(" ERROR Refused to read coui://ui/../secret.txt, which is not a file of the UI folder\n"),
            std::string::npos)
      << logText(log);
}

class SynchronousFileHandlerTest : public ::testing::Test {
 protected:
  SynchronousFileHandlerTest() {
    filesystem->mount(root.path(), "/", true);
    std::filesystem::create_directories(root.file("ui/lib"));
    root.write("ui/lib/a.js", "var a = 1;\n");
    root.write("ui/lib/b.JS", "var b = 2;\n");
    root.write("ui/lib/base.css", "body{}\n");
    root.write("ui/lib/notes.txt", "no");
    root.write("ui/index.html", "<html></html>");
  }
  std::string read(webui::FileHandler& handler, wchar_t const* url, std::string* outcome = nullptr) {
    Response response;
    handler.ReadFile(url, &response);
    if (outcome) *outcome = response.outcome;
    return response.outcome == "success" ? response.text() : "<" + response.outcome + ">";
  }

  TempDir root;
  ka::Ref<vorn::Filesystem> filesystem = vorn::createStdioFilesystem();
  ka::LogSinkMemory log{0};
};

TEST_F(SynchronousFileHandlerTest, JoinsTheBootFilesByTheirOwnExtensions) {
  root.write("ui/boot.json",
             R"({"js": ["/ui/lib/a.js", "/ui/lib/base.css", "/ui/lib/notes.txt"], "css": ["/ui/lib/b.JS"]})");
  webui::SynchronousFileHandler handler(filesystem, false);
  EXPECT_EQ(read(handler, L"coui://ui/alpha/shared/js/boot.js?v=3"), "var a = 1;\nvar b = 2;\n");
  EXPECT_EQ(read(handler, L"coui://ui/alpha/shared/css/boot.css"), "body{}\n");
  EXPECT_EQ(read(handler, L"coui://ui/index.html?x"), "<html></html>");
  EXPECT_EQ(read(handler, L"coui://ui/missing.html"), "<failure>");
  EXPECT_NE(logText(log).find("ERROR Don't know how to boot file of type .txt"), std::string::npos);

  // Cached for the handler's life unless told otherwise.
  root.write("ui/lib/a.js", "var a = 10;\n");
  EXPECT_EQ(read(handler, L"coui://ui/alpha/shared/js/boot.js"), "var a = 1;\nvar b = 2;\n");
  webui::SynchronousFileHandler uncached(filesystem, true);
  EXPECT_EQ(read(uncached, L"coui://ui/alpha/shared/js/boot.js"), "var a = 10;\nvar b = 2;\n");
  root.write("ui/lib/a.js", "var a = 11;\n");
  EXPECT_EQ(read(uncached, L"coui://ui/alpha/shared/js/boot.js"), "var a = 11;\nvar b = 2;\n");
}

TEST_F(SynchronousFileHandlerTest, ServesNothingOutsideTheUIFolder) {
  root.write("secret.txt", "secret");
  root.write("ui/boot.json", R"({"js": ["/ui/lib/a.js"]})");
  webui::SynchronousFileHandler handler(filesystem, false);
  std::vector<std::wstring> urls = escapes(root.file("secret.txt"));
  urls.push_back(L"coui://other/../secret.txt");
  urls.push_back(L"coui:/secret.txt");
  for (std::wstring const& url : urls) EXPECT_EQ(read(handler, url.c_str()), "<failure>") << ka::wstr_to_utf8(url);
  EXPECT_EQ(read(handler, L"coui://ui/lib/../index.html"), "<html></html>");
  EXPECT_EQ(read(handler, L"coui://ui/alpha/shared/js/../js/boot.js"), "var a = 1;\n");
}

TEST_F(SynchronousFileHandlerTest, ABrokenListLeavesTheBootFilesFailing) {
  struct Case {
    char const* list;
    char const* reason;
  } const cases[] = {
      {"[1, 2]", "Expected object as root element"},
      {R"({"js": ["/ui/lib/missing.js"]})", "Failed to load /ui/lib/missing.js"},
      {R"({"js": ["lib/a.js"]})", "Failed to load lib/a.js"},
      {"{not json", ""},
  };
  for (Case const& c : cases) {
    log.clear();
    root.write("ui/boot.json", c.list);
    webui::SynchronousFileHandler handler(filesystem, false);
    EXPECT_EQ(read(handler, L"coui://ui/alpha/shared/js/boot.js"), "<failure>") << c.list;
    EXPECT_EQ(read(handler, L"coui://ui/alpha/shared/css/boot.css"), "<failure>") << c.list;
    std::string text = logText(log);
    EXPECT_NE(text.find("ERROR Failed to load /ui/boot.json\n"), std::string::npos) << c.list;
    EXPECT_NE(text.find(std::string("ERROR ") + c.reason), std::string::npos) << text;
  }
  // Without "css" the style sheet stays empty and fails on every request.
  root.write("ui/boot.json", R"({"js": ["/ui/lib/a.js"]})");
  webui::SynchronousFileHandler handler(filesystem, false);
  EXPECT_EQ(read(handler, L"coui://ui/alpha/shared/css/boot.css"), "<failure>");
  EXPECT_EQ(read(handler, L"coui://ui/alpha/shared/js/boot.js"), "var a = 1;\n");
}

}  // namespace
