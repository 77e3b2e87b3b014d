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

// The option is named in what is said about a wrong address; the port in it, as an example of a right one.
struct AddressOption {
  const char* name;
  const char* port;
};

constexpr AddressOption LISTEN = {"--listen", "29536"};
constexpr AddressOption HTTP = {"--http", "8080"};

PanelError wrongAddress(const AddressOption& option, const std::string& text) {
  const std::string port = option.port;
  return PanelError(std::string(option.name) + ": '" + text + "' is not HOST:PORT, as in 127.0.0.1:" + port +
                    " or [::1]:" + port);
}

unsigned short parsePort(const AddressOption& option, const std::string& digits, const std::string& text) {
  unsigned short port = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, port);
  if (error != std::errc() || stop != end) {
    throw wrongAddress(option, text);
  }
  return port;
}

ListenAddress parseAddress(const AddressOption& option, const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) {
    throw wrongAddress(option, text);
  }
  std::string host = text.substr(0, colon);
  const bool inBrackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (inBrackets) {
    host = host.substr(1, host.size() - 2);
  } else if (host.find_first_of(":[]") != std::string::npos) {
    throw wrongAddress(option, text);  // the port of a bare IPv6 address could not be told from its last group
  }
  return {host, parsePort(option, text.substr(colon + 1), text)};
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
    httpOption = app.add_option("--http", http, "Serve a page that shows the node on HTTP; without HOST on loopback")
                     ->type_name("HOST:PORT");
    app.add_option("--bit-rate", options.bitRate, "Bit rate of the bus in bit/s, to which its load is related")
        ->check(CLI::Range(10000, 1000000))
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
    traceSizeOption = app.add_option("--trace-size", options.traceSize, "Begin a new trace after so many MiB, 0: never")
                          ->check(CLI::Range(0, 1048576))
                          ->capture_default_str();
    traceFilesOption =
        app.add_option("--trace-files", options.traceFiles, "Full traces that are kept: FILE.1 is the latest")
            ->check(CLI::Range(1, 1000))
            ->capture_default_str();
    app.add_option("--cycle", options.cycle, "Longest wait between two cycles in ms")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app.add_flag("--quiet", options.quiet, "Print nothing but errors");
  }

  CLI::App app{"A CANopen node: the TAVO stack with an application on a CAN port.", "tavo-panel"};
  CLI::Option* listenOption = nullptr;
  CLI::Option* traceSizeOption = nullptr;
  CLI::Option* traceFilesOption = nullptr;
  CLI::Option* nodeIDOption = nullptr;
  CLI::Option* heartbeatOption = nullptr;
  std::string listen = DEFAULT_LISTEN;
  CLI::Option* httpOption = nullptr;
  std::string http;
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
    options.listen = parseAddress(LISTEN, line.listen);
  } else if (line.listenOption->count() > 0) {
    throw PanelError("--listen serves the embedded bus only, not --can " + options.can);
  }
}

void checkTrace(const PanelOptions& options, const CommandLine& line) {
  if (line.traceSizeOption->count() > 0 && !options.trace) {
    throw PanelError("--trace-size is for a --trace");
  }
  if (line.traceFilesOption->count() > 0 && options.traceSize == 0) {
    throw PanelError("--trace-files is for a --trace that has a --trace-size");
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
  checkTrace(options, line);
  if (line.httpOption->count() > 0) {
    options.http = parseAddress(HTTP, line.http);
  }
  return options;
}

}  // namespace panel
