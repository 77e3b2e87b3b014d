#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "HttpMessage.h"

namespace panel {

/// Says which requests the HTTP server answers. A browser runs pages of many sites, and each of them can make it ask
/// this server: what they must not do is to read, by a name of their own that leads here (DNS rebinding), or to write.
/// It never changes: any thread.
class HttpGuard {
public:
  /// The header fields of a request that matter here; empty when they are missing.
  struct Request {
    std::string_view method;
    std::string_view path;
    std::string_view host;
    std::string_view origin;
    std::string_view fetchSite;  ///< Sec-Fetch-Site: who asks, as the browser sees it
    std::string_view fetchMode;  ///< Sec-Fetch-Mode: "navigate" for what a person opens
    std::string_view token;      ///< X-Panel-Token
  };

  /// @param host by which the server was told to listen: a name that requests may use
  explicit HttpGuard(std::string host);

  /// The page's own token, new with every start: whoever writes has to show it. Only who can read the page has it.
  const std::string& getToken() const { return token; }

  /// @return why the request is refused: 400, 403, 405 or 421, with one line; nothing when it is let in
  std::optional<HttpResponse> refuse(const Request& request) const;

  /// Whether a Host field names this server in a way that no other site can: by address, as localhost, by the name that
  /// it listens on or by that of the machine, each with or without a port.
  bool isOwnHost(std::string_view host) const;

private:
  const std::string listenHost;
  const std::string machineName;
  const std::string token;
};

}  // namespace panel
