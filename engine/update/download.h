// Blocking downloads for job threads: start a request, poll it every 10 ms, watch the cancel flag.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ka/json.h"
#include "net/http.h"
#include "progress.h"

namespace update {

// After return: cancelled: `finished` false; transport failure: `finished` and libcurl's text in
// `error`; status outside 200..300: `finished` and the reply's body (or "error") in `error`;
// success: `finished`, `error` empty.
void download(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, DownloadProgress& progress,
              std::vector<char>& out);
// The body goes to `sink` on the network thread as it arrives.
void download(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, DownloadProgress& progress,
              std::function<void(char const*, unsigned long)> sink);
// For resuming: asks for the bytes from `offset` on (no "Range" when 0). `status` hears the
// response's code on the network thread before the first body byte, so that the sink knows what
// it gets. Returns the response's code, 0 if none came.
uint32_t downloadFrom(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, uint64_t offset,
                      DownloadProgress& progress, std::function<void(uint32_t)> status,
                      std::function<void(char const*, unsigned long)> sink);
// The body, or empty on failure; a non-empty `authToken` is sent as "X-Authorization".
std::string downloadString(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, DownloadProgress& progress,
                           std::string const& authToken);
// A POST when `postData` is given, else a GET. Failures come back as {"ErrorCode": -1, "Message": text};
// a cancelled request gives null, an empty reply an empty object.
ka::Json jsonRequest(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, ka::StringRange postData,
                     ka::StringRange contentType, DownloadProgress& progress, std::string const& authToken);
ka::Json jsonRequest(std::shared_ptr<net::HttpLoader> http, ka::StringRange url, DownloadProgress& progress,
                     std::string const& authToken);

}  // namespace update
