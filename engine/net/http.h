// The HTTP client's interface: asynchronous requests, polled or reported to a handler.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "ka/counted.h"
#include "ka/string_range.h"
#include "ka/taskqueue.h"

namespace net {

class HttpRequest;

// The outcome of a transfer that reached the server, whatever its status code.
class HttpResponse : public ka::Counted {
 public:
  virtual uint32_t responseCode() const = 0;
  // Response headers are not kept: always empty.
  virtual ka::StringRange header(ka::StringRange name) const = 0;
  // The buffered body; a null range if it is empty.
  virtual ka::StringRange results() const = 0;
  // The body itself, so that its owner can take it by a swap.
  virtual std::vector<char>& resultsVector() = 0;
};

// Receives outcomes on the task queue given with it.
class HttpResultHandler {
 public:
  virtual void requestCompleted(ka::RefNoCount<HttpRequest> request, ka::RefNoCount<HttpResponse> response) = 0;
  virtual void requestFailed(ka::RefNoCount<HttpRequest> request, ka::StringRange error) = 0;
  virtual void requestAborted(ka::RefNoCount<HttpRequest> request) = 0;

 protected:
  ~HttpResultHandler() = default;
};

// Receives body bytes as they arrive, on the network thread: it must be quick.
using HttpDataHandler = std::function<void(char const* data, unsigned long count)>;
// Told a response's status code on the network thread before its first body byte, so that a data
// handler can decide what the bytes are (a resumed part, a whole file, an error page) as they come.
// A response without a body doesn't call it.
using HttpStatusHandler = std::function<void(uint32_t code)>;

// One request, usable again once it has ended. Parameters can't change during a transfer:
// the setters and execute then throw "Cannot change request parameters while a request is active".
class HttpRequest : public ka::Counted {
 public:
  virtual void setURL(ka::StringRange url) = 0;
  // Makes this a POST with a "Content-Type" header.
  virtual void setPostData(ka::StringRange data, ka::StringRange contentType) = 0;
  virtual void setConnectionTimeout(float seconds) = 0;
  // A transfer that moves fewer than `bytesPerSecond` for `seconds` on end fails as a transport
  // error. By default 1 byte a second for 30 seconds; 0 seconds never gives up.
  virtual void setLowSpeedLimit(uint32_t bytesPerSecond, uint32_t seconds) = 0;
  // One whole header line; repeated executions keep every line added.
  virtual void addHeader(ka::StringRange line) = 0;
  virtual void setHandler(HttpResultHandler* handler, ka::TaskQueue* queue) = 0;
  // With a data handler the body goes to it and is not buffered.
  virtual void setDataHandler(HttpDataHandler handler) = 0;
  virtual void setStatusHandler(HttpStatusHandler handler) = 0;
  virtual void execute() = 0;
  // Returns at once; the request reports complete once the network thread has let go of it.
  virtual void abort() = 0;
  virtual bool isComplete() const = 0;
  // libcurl's text for a failed transfer; empty otherwise.
  virtual ka::StringRange error() const = 0;
  // Null during a transfer and after a failure or abort.
  virtual ka::Ref<HttpResponse> response() const = 0;
  // Body bytes so far; for progress display, read without a lock.
  virtual uint64_t bytesRead() const = 0;
};

class HttpLoader {
 public:
  virtual ~HttpLoader() = default;
  virtual ka::Ref<HttpRequest> createRequest() = 0;
  // Does all pending network work; only ever called from one thread, the network thread.
  virtual void push() = 0;
  // Network thread, between pushes: returns when a transfer's socket has something for push,
  // when new work is queued, or after `milliseconds` at the latest.
  virtual void wait(int milliseconds) = 0;
};

class CurlHttpLoader : public HttpLoader {
 public:
  // Requests created and not yet freed, for diagnostics.
  virtual size_t requestCount() = 0;
};

// `caBundlePath`: the certificate authorities to trust, or empty for libcurl's own.
CurlHttpLoader* createCurlHttpLoader(ka::StringRange caBundlePath);

}  // namespace net
