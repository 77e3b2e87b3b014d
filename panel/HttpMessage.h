#pragma once

#include <string>

namespace panel {

/// What a client of the HTTP server asks for, once it was let in.
struct HttpRequest {
  std::string method;  ///< "GET" (also for HEAD) or "PUT"
  std::string path;    ///< "/api/values", still as it was sent: nothing that is served needs an escape
  std::string query;   ///< what stands behind '?'
  std::string body;    ///< at most HttpServer::LONGEST_BODY bytes
};

/// What it is answered.
struct HttpResponse {
  int status = 200;
  std::string contentType = "text/plain; charset=utf-8";
  std::string body;
};

}  // namespace panel
