#include "KQEndPointFactory.h"

#include <net/if.h>

#include <string_view>

#include "KQSocketCANEndPoint.h"
#include "KQSocketcandEndPoint.h"
#include "KQVirtualEndPoint.h"

namespace KQ {

namespace {

enum class Scheme { UNKNOWN, SOCKETCAN, VIRTUAL, SOCKETCAND };

// A port URI taken apart; name is the interface, the bus or the channel.
struct ParsedURI {
  Scheme scheme{Scheme::UNKNOWN};
  std::string host;
  unsigned short port{0};
  std::string name;
};

// Takes a prefix off a text. @return false: it has another one, nothing changed
bool takePrefix(std::string_view& text, std::string_view prefix) {
  if (text.substr(0, prefix.size()) != prefix) {
    return false;
  }
  text.remove_prefix(prefix.size());
  return true;
}

// Names travel in lines between brackets with blanks as separators, so none of these may be in one.
bool isName(std::string_view text) {
  return !text.empty() && text.find_first_of(" \t\r\n<>/") == text.npos;
}

bool isInterfaceName(std::string_view text) {
  return isName(text) && text.size() < IFNAMSIZ;
}

// Reads a TCP port, 1..65535. @return false: it is none
bool parsePort(std::string_view text, unsigned short& port) {
  if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != text.npos) {
    return false;
  }
  const unsigned long value = std::stoul(std::string(text));
  port = static_cast<unsigned short>(value);
  return value >= 1 && value <= 65535;
}

// Takes the host off "HOST:PORT..." or "[ADDRESS]:PORT...", with the colon behind it. @return false: there is none
bool takeHost(std::string_view& text, std::string& host) {
  const bool isBracketed = takePrefix(text, "[");
  const std::size_t end = text.find(isBracketed ? "]:" : ":");
  if (end == text.npos || end == 0) {
    return false;
  }
  host = std::string(text.substr(0, end));
  text.remove_prefix(end + (isBracketed ? 2 : 1));
  return host.find_first_of(" \t\r\n[]/") == std::string::npos;
}

// Reads "HOST:PORT/CHANNEL". @return false: it has another form
bool parseRemote(std::string_view text, ParsedURI& result) {
  if (!takeHost(text, result.host)) {
    return false;
  }
  const std::size_t slash = text.find('/');
  if (slash == text.npos || !parsePort(text.substr(0, slash), result.port)) {
    return false;
  }
  result.name = std::string(text.substr(slash + 1));
  return isName(result.name);
}

ParsedURI parseURI(const std::string& uri) {
  ParsedURI result;
  std::string_view rest = uri;
  if (takePrefix(rest, "socketcan:") && isInterfaceName(rest)) {
    result.scheme = Scheme::SOCKETCAN;
    result.name = std::string(rest);
  } else if (takePrefix(rest, "virtual:") && isName(rest)) {
    result.scheme = Scheme::VIRTUAL;
    result.name = std::string(rest);
  } else if (takePrefix(rest, "socketcand:") && parseRemote(rest, result)) {
    result.scheme = Scheme::SOCKETCAND;
  }
  return result;
}

}  // namespace

std::unique_ptr<KQEndPoint> KQEndPointFactory::openEndPoint(const std::string& uri, std::string& error) {
  error.clear();
  const ParsedURI parsed = parseURI(uri);
  switch (parsed.scheme) {
    case Scheme::SOCKETCAN:
      return KQSocketCANEndPoint::open(parsed.name, error);
    case Scheme::VIRTUAL:
      return KQVirtualEndPoint::open(parsed.name, error);
    case Scheme::SOCKETCAND:
      return KQSocketcandEndPoint::open(parsed.host, parsed.port, parsed.name, error);
    case Scheme::UNKNOWN:
      break;
  }
  error = "unknown port URI '" + uri + "': expected socketcan:IF, virtual:NAME or socketcand:HOST:PORT/CHANNEL";
  return nullptr;
}

bool KQEndPointFactory::isEndPointURI(const std::string& uri) {
  return parseURI(uri).scheme != Scheme::UNKNOWN;
}

}  // namespace KQ
