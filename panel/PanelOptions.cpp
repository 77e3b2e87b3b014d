#include "PanelOptions.h"

#include <algorithm>
#include <charconv>

#include <CLI/CLI.hpp>

#include "KQEndPointFactory.h"
#include "PanelError.h"

namespace panel {

namespace {

constexpr const char* DEFAULT_LISTEN = "127.0.0.1:29536";

bool isEmbeddedBus(const std::string& uri) {
  return uri.rfind("virtual:", 0) == 0;
}

PanelError wrongAddress(const std::string& text) {
  return PanelError("--listen: '" + text + "' is not HOST:PORT, as in 127.0.0.1:29536 or [::1]:29536");
}

unsigned short parsePort(const std::string& digits, const std::string& text) {
  unsigned short port = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, port);
  if (error != std::errc() || stop != end) {
    throw wrongAddress(text);
  }
  return port;
}

ListenAddress parseAddress(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) {
    throw wrongAddress(text);
  }
  std::string host = text.substr(0, colon);
  const bool inBrackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (inBrackets) {
    host = host.substr(1, host.size() - 2);
  } else if (host.find_first_of(":[]") != std::string::npos) {
    throw wrongAddress(text);  // the port of a bare IPv6 address could not be told from its last group
  }
  return {host, parsePort(text.substr(colon + 1), text)};
}

std::string inOneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

// The options as they stand on the command line, where --listen is still one text.
struct CommandLine {
  explicit CommandLine(PanelOptions& options) {
    app.set_version_flag("--version", std::string("tavo-panel ") + TAVO_VERSION);
    app.add_option("--can", options.can, "CAN port: virtual:NAME, socketcan:INTERFACE or socketcand:HOST:PORT/CHANNEL")
        ->type_name("URI")
        ->capture_default_str();
    listenOption = app.add_option("--listen", listen, "Serve the embedded bus (--can virtual:NAME) on TCP; port 0: any")
                       ->type_name("HOST:PORT")
                       ->capture_default_str();
    nodeIDOption =
        app.add_option("--node-id", nodeID, "Node-ID of the panel")->check(CLI::Range(1, 127))->capture_default_str();
    heartbeatOption = app.add_option("--heartbeat", options.heartbeat, "Producer heartbeat time in ms, 0: none")
                          ->check(CLI::Range(0, 65535))
                          ->capture_default_str();
    app.add_option("--sdo-timeout", options.sdoTimeout, "Silence in ms after which an SDO transfer is aborted")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    app.add_option("--peer", peer, "Node-ID of another panel with the demo machine, to watch, to read and to write")
        ->check(CLI::Range(1, 127))
        ->type_name("NODE");
    app.add_flag("--autostart", options.autostart, "Enter OPERATIONAL after every boot-up, without an NMT start");
    app.add_option("--app", options.app,
                   "EDS or DCF of the device that the panel is to be, instead of the demo machine")
        ->type_name("FILE.eds");
    app.add_option("--check", options.check,
                   "Only read FILE, an EDS or DCF, and report; status 0, 1 warnings, 2 errors")
        ->type_name("FILE.eds");
    app.add_option("--export", options.exported, "Describe the node in FILE, as tools read it")->type_name("FILE.eds");
    app.add_option("--trace", options.trace, "Write all frames to FILE, as lines of a candump log")->type_name("FILE");
    app.add_option("--cycle", options.cycle, "Longest wait between two cycles in ms")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_flag("--quiet", options.quiet, "Print nothing but errors");
  }

  CLI::App app{"A CANopen node: the TAVO stack with an application on a CAN port.", "tavo-panel"};
  CLI::Option* listenOption = nullptr;
  CLI::Option* nodeIDOption = nullptr;
  CLI::Option* heartbeatOption = nullptr;
  std::string listen = DEFAULT_LISTEN;
  int nodeID = 5;
  std::optional<int> peer;
};

void takePeer(PanelOptions& options, const std::optional<int>& peer) {
  if (!peer) {
    return;
  }
  if (*peer == options.nodeID) {
    throw PanelError("--peer: " + std::to_string(*peer) + " is the panel's own node-ID");
  }
  if (options.app) {
    throw PanelError("--peer is for the demo machine, not for --app " + *options.app);
  }
  options.peer = static_cast<unsigned char>(*peer);
}

void checkPort(PanelOptions& options, const CommandLine& line) {
  if (!KQ::KQEndPointFactory::isEndPointURI(options.can)) {
    throw PanelError("--can: '" + options.can +
                     "' is not virtual:NAME, socketcan:INTERFACE or socketcand:HOST:PORT/CHANNEL");
  }
  if (isEmbeddedBus(options.can)) {
    options.listen = parseAddress(line.listen);
  } else if (line.listenOption->count() > 0) {
    throw PanelError("--listen serves the embedded bus only, not --can " + options.can);
  }
}

}  // namespace

PanelOptions PanelOptions::parse(int argumentCount, const char* const* arguments) {
  PanelOptions options;
  CommandLine line(options);
  try {
    line.app.parse(argumentCount, arguments);
  } catch (const CLI::CallForHelp&) {
    options.information = line.app.help();
    return options;
  } catch (const CLI::CallForVersion& version) {
    options.information = std::string(version.what()) + "\n";
    return options;
  } catch (const CLI::ParseError& error) {
    throw PanelError(inOneLine(error.what()) + " (--help lists the options)");
  }
  options.nodeID = static_cast<unsigned char>(line.nodeID);
  options.isNodeIDGiven = line.nodeIDOption->count() > 0;
  options.isHeartbeatGiven = line.heartbeatOption->count() > 0;
  takePeer(options, line.peer);
  checkPort(options, line);
  return options;
}

}  // namespace panel
