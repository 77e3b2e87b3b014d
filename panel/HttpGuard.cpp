#include "HttpGuard.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <random>

namespace panel {

namespace {

std::string makeToken() {
  constexpr int WORDS = 4;  // 128 bits
  std::random_device random;
  std::string token;
  for (int word = 0; word < WORDS; ++word) {
    const unsigned int bits = random();
    for (int shift = 28; shift >= 0; shift -= 4) {
      token += "0123456789abcdef"[bits >> shift & 0xF];
    }
  }
  return token;
}

std::string getMachineName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

bool isSame(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](unsigned char left, unsigned char right) { return std::tolower(left) == std::tolower(right); });
}

bool isAddress(const std::string& text) {
  std::array<unsigned char, sizeof(in6_addr)> address{};
  return inet_pton(AF_INET, text.c_str(), address.data()) == 1 ||
         inet_pton(AF_INET6, text.c_str(), address.data()) == 1;
}

// Without the port; an IPv6 address without its brackets.
std::string_view getName(std::string_view host) {
  if (!host.empty() && host.front() == '[') {
    const std::size_t end = host.find(']');
    return end == std::string_view::npos ? std::string_view() : host.substr(1, end - 1);
  }
  return host.substr(0, host.find(':'));
}

HttpResponse refusal(int status, const char* why) {
  return {status, HttpResponse().contentType, std::string(why) + "\n"};
}

}  // namespace

HttpGuard::HttpGuard(std::string host)
    : listenHost(std::move(host)), machineName(getMachineName()), token(makeToken()) {}

bool HttpGuard::isOwnHost(std::string_view host) const {
  const std::string_view name = getName(host);
  return !name.empty() && (isSame(name, "localhost") || isSame(name, listenHost) || isSame(name, machineName) ||
                           isAddress(std::string(name)));
}

std::optional<HttpResponse> HttpGuard::refuse(const Request& request) const {
  const bool isRead = request.method == "GET" || request.method == "HEAD";
  if (!isRead && request.method != "PUT") {
    return refusal(405, "only GET, HEAD and PUT are served");
  }
  if (request.path.empty() || request.path.front() != '/') {
    return refusal(400, "not a path of this server");
  }
  if (!isOwnHost(request.host)) {
    return refusal(421, "the Host field names another server");
  }
  if (!request.origin.empty() && !isSame(request.origin, "http://" + std::string(request.host))) {
    return refusal(403, "a page of another site asks");
  }
  // A link on another site may lead to the page: what a person opens is no secret of that site's.
  const bool isOpened = isRead && request.fetchMode == "navigate" && request.path == "/";
  const bool isOwnPage = request.fetchSite.empty() || request.fetchSite == "same-origin" || request.fetchSite == "none";
  if (!isOwnPage && !isOpened) {
    return refusal(403, "a page of another site asks");
  }
  if (!isRead && request.token != token) {
    return refusal(403, "the page's token is missing or of an earlier start");
  }
  return std::nullopt;
}

}  // namespace panel
