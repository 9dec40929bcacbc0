#include "download.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include "ka/strutil.h"

namespace update {

namespace {

// Runs the request to its end or until the cancel flag is set.
ka::Ref<net::HttpRequest> run(ka::Ref<net::HttpRequest> request, DownloadProgress& progress) {
  request->execute();
  while (!request->isComplete()) {
    if (progress.cancelFlag) {
      request->abort();
      return request;
    }
    // Short: a bundle of 16 MiB arrives in about as many milliseconds from a near server, and the
    // next one waits for this turn.
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    progress.bytesReceived = request->bytesRead();
  }
  ka::StringRange transportError = request->error();
  if (!transportError.empty()) {
    progress.error = transportError.str();
    progress.finished = true;
    return request;
  }
  ka::Ref<net::HttpResponse> response = request->response();
  if (response && response->responseCode() >= 200 && response->responseCode() <= 300) {
    progress.bytesReceived = progress.bytesExpected.load();
    return request;
  }
  std::string body = response ? response->results().str() : std::string();
  progress.error = body.empty() ? "error" : body;
  progress.finished = true;
  return request;
}

bool succeeded(DownloadProgress const& progress) { return progress.error.empty() && !progress.cancelFlag; }

ka::Ref<net::HttpRequest> makeRequest(net::HttpLoader& http, ka::StringRange url, std::string const& authToken) {
  ka::Ref<net::HttpRequest> request = http.createRequest();
  request->setURL(url);
  if (!authToken.empty()) request->addHeader(ka::stringprintf("X-Authorization: %s", authToken.c_str()));
  return request;
}

ka::Json makeError(ka::StringRange message, int code) {
  ka::Json error = ka::Json::makeObject();
  error.set("ErrorCode", ka::Json::makeNumber(code));
  error.set("Message", ka::Json::makeString(message));
  return error;
}

}  // namespace

void download(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, DownloadProgress& progress,
              std::vector<char>& out) {
  ka::Ref<net::HttpRequest> request = run(makeRequest(*http, url, ""), progress);
  out.clear();
  if (!succeeded(progress)) return;
  out.swap(request->response()->resultsVector());
  progress.finished = true;
}

void download(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, DownloadProgress& progress,
              std::function<void(char const*, unsigned long)> sink) {
  downloadFrom(std::move(http), url, 0, progress, nullptr, std::move(sink));
}

uint32_t downloadFrom(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, uint64_t offset,
                      DownloadProgress& progress, std::function<void(uint32_t)> status,
                      std::function<void(char const*, unsigned long)> sink) {
  ka::Ref<net::HttpRequest> request = makeRequest(*http, url, "");
  if (offset > 0) request->addHeader(ka::stringprintf("Range: bytes=%llu-", (unsigned long long)offset));
  if (status) request->setStatusHandler(std::move(status));
  request->setDataHandler(std::move(sink));
  run(request, progress);
  if (succeeded(progress)) progress.finished = true;
  ka::Ref<net::HttpResponse> response = request->response();
  return response ? response->responseCode() : 0;
}

std::string downloadString(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, DownloadProgress& progress,
                           std::string const& authToken) {
  ka::Ref<net::HttpRequest> request = run(makeRequest(*http, url, authToken), progress);
  if (!succeeded(progress)) return std::string();
  progress.finished = true;
  return request->response()->results().str();
}

ka::Json jsonRequest(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, ka::StringRange postData,
                     ka::StringRange contentType, DownloadProgress& progress, std::string const& authToken) {
  ka::Ref<net::HttpRequest> request = makeRequest(*http, url, authToken);
  if (!postData.empty()) request->setPostData(postData, contentType);
  run(request, progress);
  if (progress.cancelFlag) return ka::Json();
  if (!progress.error.empty()) return makeError(progress.error, -1);
  progress.finished = true;
  try {
    ka::StringRange body = request->response()->results();
    if (body.empty()) return ka::Json::makeObject();
    ka::StringRangeStream stream(body);
    return ka::Json::readFrom(stream);
  } catch (std::exception const& e) {
    return makeError(e.what(), -1);
  }
}

ka::Json jsonRequest(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, DownloadProgress& progress,
                     std::string const& authToken) {
  return jsonRequest(std::move(http), url, ka::StringRange(), ka::StringRange(), progress, authToken);
}

}  // namespace update
