// The HTTP client on libcurl's multi interface. Every libcurl call but one runs on the
// network thread, as a task on the loader's queue; callers never touch a handle.
#include <curl/curl.h>

#include <atomic>
#include <cstdio>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string>

#include "http.h"
#include "ka/format.h"
#include "ka/log.h"

namespace net {

namespace {

class CurlHttpLoaderImpl;

class CurlHttpResponse final : public HttpResponse {
 public:
  CurlHttpResponse(HttpDataHandler data, HttpStatusHandler status)
      : dataHandler(std::move(data)), statusHandler(std::move(status)) {}

  uint32_t responseCode() const override { return code.load(std::memory_order_relaxed); }
  ka::StringRange header(ka::StringRange) const override { return ka::StringRange(); }
  ka::StringRange results() const override {
    if (body.empty()) return ka::StringRange();
    return ka::StringRange(body.data(), body.data() + body.size());
  }
  std::vector<char>& resultsVector() override { return body; }

  std::atomic<uint32_t> code{0};  // written once the transfer has ended
  std::vector<char> body;
  HttpDataHandler dataHandler;
  HttpStatusHandler statusHandler;
  CURL* easy = nullptr;  // set on the network thread before the transfer starts
  bool statusTold = false;  // network thread only
  std::atomic<uint64_t> bytesRead{0};  // progress only: relaxed
};

size_t curlWriteData(char* data, size_t size, size_t count, void* userData) {
  auto* response = static_cast<CurlHttpResponse*>(userData);
  if (response->statusHandler && !response->statusTold) {
    // The headers are in by the first body byte; the code is that of the final response.
    long code = 0;
    curl_easy_getinfo(response->easy, CURLINFO_RESPONSE_CODE, &code);
    response->statusTold = true;
    response->statusHandler(uint32_t(code));
  }
  response->bytesRead.fetch_add(size * count, std::memory_order_relaxed);
  if (response->dataHandler) {
    response->dataHandler(data, static_cast<unsigned long>(size * count));
  } else {
    response->body.insert(response->body.end(), data, data + size * count);
  }
  return count;  // libcurl always passes a size of 1
}

class CurlHttpRequest final : public HttpRequest {
 public:
  explicit CurlHttpRequest(CurlHttpLoaderImpl* owner) : loader(owner) { errorBuffer[0] = 0; }
  ~CurlHttpRequest() override {
    // Only an orphaned request still holds these here; its loader and network thread are gone.
    if (easy) curl_easy_cleanup(easy);
    if (headers) curl_slist_free_all(headers);
  }

  void setURL(ka::StringRange value) override {
    std::lock_guard lock(mutex);
    requireIdle();
    url = value.str();
  }

  void setPostData(ka::StringRange data, ka::StringRange contentType) override {
    std::lock_guard lock(mutex);
    requireIdle();
    isPost = true;
    postData = data.str();
    appendHeader((ka::Formatter("Content-Type: %0%") % contentType).str());
  }

  void setConnectionTimeout(float seconds) override {
    std::lock_guard lock(mutex);
    requireIdle();
    connectionTimeoutMs = int64_t(seconds * 1000);
  }

  void setLowSpeedLimit(uint32_t bytesPerSecond, uint32_t seconds) override {
    std::lock_guard lock(mutex);
    requireIdle();
    lowSpeedBytesPerSecond = bytesPerSecond;
    lowSpeedSeconds = seconds;
  }

  void addHeader(ka::StringRange line) override {
    std::lock_guard lock(mutex);
    requireIdle();
    appendHeader(line.str());
  }

  void setHandler(HttpResultHandler* resultHandler, ka::TaskQueue* queue) override {
    std::lock_guard lock(mutex);
    requireIdle();
    handler = resultHandler;
    handlerQueue = queue;
  }

  void setDataHandler(HttpDataHandler value) override {
    std::lock_guard lock(mutex);
    requireIdle();
    dataHandler = std::move(value);
  }

  void setStatusHandler(HttpStatusHandler value) override {
    std::lock_guard lock(mutex);
    requireIdle();
    statusHandler = std::move(value);
  }

  void execute() override;
  void abort() override;

  bool isComplete() const override {
    std::lock_guard lock(mutex);
    return complete;
  }

  ka::StringRange error() const override {
    std::lock_guard lock(mutex);
    return ka::StringRange(errorBuffer);
  }

  ka::Ref<HttpResponse> response() const override {
    std::lock_guard lock(mutex);
    return complete ? ka::Ref<HttpResponse>(current) : ka::Ref<HttpResponse>();
  }

  uint64_t bytesRead() const override {
    ka::Ref<CurlHttpResponse> r;
    {
      std::lock_guard lock(mutex);
      r = current;
    }
    return r ? r->bytesRead.load(std::memory_order_relaxed) : 0;
  }

  void release() override;

  // Network thread: set the handle up for the present transfer and hand it to the multi handle.
  void setUp();
  // Network thread, after the handle has left the multi handle.
  void completed();
  // `result` names the failure where libcurl left the error buffer empty.
  void failed(CURLcode result);
  // Loader's destruction: the request outlives its loader and reports complete.
  void orphan();

  CurlHttpLoaderImpl* loader;
  mutable std::recursive_mutex mutex;
  CURL* easy = nullptr;
  std::string url;
  bool isPost = false;
  std::string postData;  // libcurl reads it in place during the transfer
  int64_t connectionTimeoutMs = 0;
  uint32_t lowSpeedBytesPerSecond = 1;
  uint32_t lowSpeedSeconds = 30;
  curl_slist* headers = nullptr;  // network thread only
  HttpResultHandler* handler = nullptr;
  ka::TaskQueue* handlerQueue = nullptr;
  ka::Ref<CurlHttpResponse> current;  // what response() shows
  // What the write function fills: kept until the handle has left the multi handle, even if
  // an abort has already dropped `current`.
  ka::Ref<CurlHttpResponse> receiving;
  HttpDataHandler dataHandler;
  HttpStatusHandler statusHandler;
  bool complete = true;
  uint64_t transfer = 0;  // counts executions, so that a late abort can't touch a newer transfer
  bool releasePending = false;  // the last reference is gone; a task on the loader's queue frees it
  std::list<CurlHttpRequest*>::iterator inAllRequests;
  char errorBuffer[CURL_ERROR_SIZE];

 private:
  void requireIdle() const {
    if (!complete) throw std::runtime_error("Cannot change request parameters while a request is active");
  }
  void appendHeader(std::string line);
  void freeOnNetworkThread();
  void notify(std::function<void(HttpResultHandler*)> call);
};

class CurlHttpLoaderImpl final : public CurlHttpLoader {
 public:
  explicit CurlHttpLoaderImpl(ka::StringRange caBundle) : caBundlePath(caBundle.str()), multi(curl_multi_init()) {}

  ~CurlHttpLoaderImpl() override {
    std::lock_guard lock(mutex);
    for (auto& request : activeRequests) curl_multi_remove_handle(multi, request->easy);
    for (CurlHttpRequest* request : allRequests) {
      request->orphan();
      // Its freeing task won't run now: free it here.
      if (request->releasePending) delete request;
    }
    // Only now that no request reaches this loader can no caller be waking `multi`.
    curl_multi_cleanup(multi);
    allRequests.clear();
    activeRequests.clear();
  }

  ka::Ref<HttpRequest> createRequest() override {
    std::lock_guard lock(mutex);
    auto* request = new CurlHttpRequest(this);
    allRequests.push_front(request);
    request->inAllRequests = allRequests.begin();
    return ka::Ref<HttpRequest>(request);
  }

  void push() override {
    tasks.run();
    std::vector<ka::Ref<CurlHttpRequest>> successes;
    std::vector<std::pair<ka::Ref<CurlHttpRequest>, CURLcode>> failures;
    {
      std::lock_guard lock(mutex);
      int running = 0;
      while (curl_multi_perform(multi, &running) == CURLM_CALL_MULTI_PERFORM) {
      }
      int left = 0;
      while (CURLMsg* message = curl_multi_info_read(multi, &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        curl_multi_remove_handle(multi, message->easy_handle);
        for (auto it = activeRequests.begin(); it != activeRequests.end(); ++it) {
          if ((*it)->easy != message->easy_handle) continue;
          if (message->data.result == CURLE_OK) {
            successes.push_back(*it);
          } else {
            failures.emplace_back(*it, message->data.result);
          }
          activeRequests.erase(it);
          break;
        }
      }
    }
    for (auto& request : successes) request->completed();
    for (auto& [request, result] : failures) request->failed(result);
  }

  // On the sockets, not a fixed sleep, which capped transfers at a fraction of the link's
  // speed; `post` cuts it short for new work. Network thread only, as every use of `multi`
  // but the wake-up.
  void wait(int milliseconds) override { curl_multi_poll(multi, nullptr, 0, milliseconds, nullptr); }

  // Queues work for the network thread and cuts its wait short.
  void post(std::function<void()> task) {
    tasks.enqueue(std::move(task));
    curl_multi_wakeup(multi);
  }

  size_t requestCount() override {
    std::lock_guard lock(mutex);
    return allRequests.size();
  }

  void requestStarted(CurlHttpRequest* request) {
    std::unique_lock lock(mutex);
    CURLMcode code = curl_multi_add_handle(multi, request->easy);
    if (code == CURLM_OK) {
      activeRequests.push_front(ka::Ref<CurlHttpRequest>(request));
      return;
    }
    lock.unlock();
    KA_LOG(Error) << "Error [" << int(code) << "] requesting " << request->url;
    request->failed(CURLE_FAILED_INIT);
  }

  void requestAborted(CurlHttpRequest* request) {
    std::lock_guard lock(mutex);
    for (auto it = activeRequests.begin(); it != activeRequests.end(); ++it) {
      if (it->get() == request) {
        activeRequests.erase(it);
        break;
      }
    }
    if (request->easy) curl_multi_remove_handle(multi, request->easy);
  }

  void requestDeleted(CurlHttpRequest* request) {
    std::lock_guard lock(mutex);
    allRequests.erase(request->inAllRequests);
  }

  std::string caBundlePath;
  ka::ThreadSafeTaskQueue tasks;
  std::recursive_mutex mutex;  // guards the two lists and `multi`
  CURLM* multi;
  std::list<CurlHttpRequest*> allRequests;               // every live request; no reference
  std::list<ka::Ref<CurlHttpRequest>> activeRequests;  // attached to `multi`
};

void CurlHttpRequest::appendHeader(std::string line) {
  ka::Ref<CurlHttpRequest> self(this);
  loader->post([self, line] { self->headers = curl_slist_append(self->headers, line.c_str()); });
}

void CurlHttpRequest::notify(std::function<void(HttpResultHandler*)> call) {
  if (!handler || !handlerQueue) return;
  HttpResultHandler* target = handler;
  handlerQueue->enqueue([target, call] { call(target); });
}

void CurlHttpRequest::execute() {
  std::lock_guard lock(mutex);
  requireIdle();
  current = ka::Ref<CurlHttpResponse>(new CurlHttpResponse(dataHandler, statusHandler));
  receiving = current;
  complete = false;
  ++transfer;
  ka::Ref<CurlHttpRequest> self(this);
  loader->post([self] { self->setUp(); });
}

void CurlHttpRequest::setUp() {
  {
    std::lock_guard lock(mutex);
    if (!easy) {
      easy = curl_easy_init();
      curl_easy_setopt(easy, CURLOPT_USERAGENT, "libcurl-agent/1.0");
      curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorBuffer);
      curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, curlWriteData);
      if (!loader->caBundlePath.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, loader->caBundlePath.c_str());
    }
    // libcurl leaves an earlier transfer's text in place; each transfer reports its own.
    errorBuffer[0] = 0;
    if (curl_easy_setopt(easy, CURLOPT_URL, url.c_str()) != CURLE_OK) {
      KA_LOG(Error) << "CURL Error [" << errorBuffer << "]";
    }
    if (isPost) {
      curl_easy_setopt(easy, CURLOPT_POSTFIELDS, postData.data());
      curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(postData.size()));
    }
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, long(connectionTimeoutMs));
    // A stalled server would otherwise hold the request until the player cancels; this way the
    // transfer fails like any broken one, and the caller's retry can take over.
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, long(lowSpeedBytesPerSecond));
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, long(lowSpeedSeconds));
    receiving->easy = easy;
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, receiving.get());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
  }
  loader->requestStarted(this);
}

void CurlHttpRequest::completed() {
  long code = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &code);
  std::lock_guard lock(mutex);
  receiving->code.store(uint32_t(code), std::memory_order_relaxed);
  receiving.reset();
  ka::Ref<HttpRequest> self(this);
  ka::Ref<HttpResponse> shown(current);
  notify([self, shown](HttpResultHandler* h) { h->requestCompleted(self, shown); });
  complete = true;
}

void CurlHttpRequest::failed(CURLcode result) {
  std::lock_guard lock(mutex);
  // Some failures (a malformed URL among them) leave the buffer empty: say what it was all the same.
  if (errorBuffer[0] == 0) std::snprintf(errorBuffer, sizeof errorBuffer, "%s", curl_easy_strerror(result));
  complete = true;
  current.reset();
  receiving.reset();
  ka::Ref<HttpRequest> self(this);
  std::string text = errorBuffer;
  notify([self, text](HttpResultHandler* h) { h->requestFailed(self, text); });
}

void CurlHttpRequest::abort() {
  std::lock_guard lock(mutex);
  current.reset();
  if (complete || !loader) return;
  ka::Ref<CurlHttpRequest> self(this);
  uint64_t aborted = transfer;
  loader->post([self, aborted] {
    std::lock_guard lock(self->mutex);
    // The transfer may have ended on its own before this ran.
    if (self->complete || self->transfer != aborted) return;
    self->loader->requestAborted(self.get());
    curl_easy_cleanup(self->easy);
    self->easy = nullptr;
    self->receiving.reset();
    ka::Ref<HttpRequest> request(self);
    self->notify([request](HttpResultHandler* h) { h->requestAborted(request); });
    self->complete = true;
  });
}

void CurlHttpRequest::orphan() {
  std::lock_guard lock(mutex);
  loader = nullptr;
  current.reset();
  receiving.reset();
  if (easy) curl_easy_cleanup(easy);
  easy = nullptr;
  if (!complete) {
    ka::Ref<HttpRequest> self(this);
    notify([self](HttpResultHandler* h) { h->requestAborted(self); });
  }
  complete = true;
}

void CurlHttpRequest::release() {
  std::unique_lock lock(mutex);
  if (!loader) {
    lock.unlock();
    delete this;
    return;
  }
  // libcurl handles are freed on the network thread, whichever thread dropped the last reference.
  releasePending = true;
  CurlHttpRequest* self = this;
  loader->post([self] { self->freeOnNetworkThread(); });
}

void CurlHttpRequest::freeOnNetworkThread() {
  std::unique_lock lock(mutex);
  if (easy) curl_easy_cleanup(easy);
  easy = nullptr;
  if (headers) curl_slist_free_all(headers);
  headers = nullptr;
  if (loader) {
    loader->requestDeleted(this);
    loader = nullptr;
  }
  lock.unlock();
  delete this;
}

}  // namespace

CurlHttpLoader* createCurlHttpLoader(ka::StringRange caBundlePath) { return new CurlHttpLoaderImpl(caBundlePath); }

}  // namespace net
