#pragma once

#include <optional>
#include <string>

namespace panel {

/// Where something is served on TCP.
struct ListenAddress {
  std::string host;         ///< name or address; an IPv6 address without its brackets
  unsigned short port = 0;  ///< 0: any free one
};

/// What the command line asks for.
struct PanelOptions {
  std::string can = "virtual:bus0";     ///< URI of the CAN port
  std::optional<ListenAddress> listen;  ///< nothing when the port is not the embedded bus
  std::optional<ListenAddress> http;    ///< where the page is served; nothing: nowhere
  unsigned char nodeID = 5;             ///< 1 to 127
  bool isNodeIDGiven = false;           ///< it goes before what the description of an application says
  int heartbeat = 1000;                 ///< producer heartbeat time in ms, 0 to 65535; 0: none
  bool isHeartbeatGiven = false;        ///< likewise
  bool autostart = false;               ///< enter OPERATIONAL after every boot-up
  std::optional<unsigned char> peer;    ///< node-ID of another panel, 1 to 127, not the own; only without an EDS
  int bitRate = 250000;                 ///< of the bus in bit/s, for its load, 10000 to 1000000
  int sdoTimeout = 100;                 ///< silence that ends an SDO transfer in ms, 1 to 65535
  std::optional<std::string> app;       ///< EDS or DCF that takes the demo application's place
  std::optional<std::string> check;     ///< EDS or DCF that is only read and reported on, instead of running
  std::optional<std::string> exported;  ///< file for a description of the node
  std::optional<std::string> trace;     ///< file for a trace of all frames
  unsigned int traceSize = 0;           ///< MiB after which the trace begins a new file, 0: never
  unsigned int traceFiles = 4;          ///< full ones that are kept, 1 to 1000
  int cycle = 1000;                     ///< longest wait between two cycles in ms, 1 to 1000
  bool quiet = false;                   ///< print nothing but errors
  std::string information;              ///< the answer to --help or --version: to be printed instead of running

  /// Reads a command line. @throws PanelError for one that is wrong
  static PanelOptions parse(int argumentCount, const char* const* arguments);
};

}  // namespace panel
