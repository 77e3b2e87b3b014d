// Covers: the command line of the panel.
//
// | subject                                | functional                         | robustness                     |
// |----------------------------------------|------------------------------------|--------------------------------|
// | defaults; every option with its lowest | x                                  |                                |
// | and highest value                      |                                    |                                |
// | --listen                               | forms of an address; not used with |                                |
// |                                        | other ports                        |                                |
// | --help and --version                   | x                                  |                                |
// | each wrong argument                    |                                    | one line that names the option |

#include "PanelOptions.h"

#include <gtest/gtest.h>

#include "PanelError.h"

namespace {

using panel::PanelError;
using panel::PanelOptions;

PanelOptions parse(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "tavo-panel");
  return PanelOptions::parse(static_cast<int>(arguments.size()), arguments.data());
}

std::string getError(const std::vector<const char*>& arguments) {
  try {
    parse(arguments);
  } catch (const PanelError& error) {
    return error.what();
  }
  return "";
}

TEST(PanelOptions, DefaultsAreTheEmbeddedBusOnTheLoopbackAddress) {
  const PanelOptions options = parse({});
  EXPECT_EQ("virtual:bus0", options.can);
  ASSERT_TRUE(options.listen);
  EXPECT_EQ("127.0.0.1", options.listen->host);
  EXPECT_EQ(29536, options.listen->port);
  EXPECT_EQ(5, options.nodeID);
  EXPECT_EQ(1000, options.heartbeat);
  EXPECT_EQ(100, options.sdoTimeout);
  EXPECT_EQ(250000, options.bitRate);
  EXPECT_FALSE(options.peer);
  EXPECT_FALSE(options.autostart);
  EXPECT_FALSE(options.app);
  EXPECT_FALSE(options.trace);
  EXPECT_EQ(0U, options.traceSize);
  EXPECT_EQ(4U, options.traceFiles);
  EXPECT_EQ(1000, options.cycle);
  EXPECT_FALSE(options.quiet);
  EXPECT_EQ("", options.information);
}

TEST(PanelOptions, LowestNumbersAreTaken) {
  const PanelOptions options =
      parse({"--node-id", "1", "--heartbeat", "0", "--sdo-timeout", "1", "--cycle", "1", "--bit-rate", "10000"});
  EXPECT_EQ(1, options.nodeID);
  EXPECT_EQ(1, options.sdoTimeout);
  EXPECT_EQ(10000, options.bitRate);
  EXPECT_EQ(0, options.heartbeat);
  EXPECT_EQ(1, options.cycle);
}

TEST(PanelOptions, HighestNumbersAreTaken) {
  const PanelOptions options = parse({"--node-id", "127", "--heartbeat", "65535", "--sdo-timeout", "65535", "--cycle",
                                      "1000", "--bit-rate", "1000000"});
  EXPECT_EQ(127, options.nodeID);
  EXPECT_EQ(65535, options.sdoTimeout);
  EXPECT_EQ(1000000, options.bitRate);
  EXPECT_EQ(65535, options.heartbeat);
  EXPECT_EQ(1000, options.cycle);
}

TEST(PanelOptions, PeerIsAnyOtherNode) {
  EXPECT_EQ(1, parse({"--peer", "1"}).peer);
  EXPECT_EQ(127, parse({"--peer", "127"}).peer);
  EXPECT_EQ(5, parse({"--peer", "5", "--node-id", "6"}).peer);
}

TEST(PanelOptions, PageIsServedNowhereUntilAskedFor) {
  EXPECT_FALSE(parse({}).http);
}

TEST(PanelOptions, PageIsServedWhereItIsAskedFor) {
  const auto named = parse({"--http", "[::1]:8080"}).http;
  ASSERT_TRUE(named);
  EXPECT_EQ("::1", named->host);
  EXPECT_EQ(8080, named->port);
  const auto anyPort = parse({"--http", ":0", "--can", "socketcan:can0"}).http;
  ASSERT_TRUE(anyPort);
  EXPECT_EQ("", anyPort->host);
  EXPECT_EQ(0, anyPort->port);
}

TEST(PanelOptions, FlagsAreOffUntilGiven) {
  const PanelOptions options = parse({"--autostart", "--quiet"});
  EXPECT_TRUE(options.autostart);
  EXPECT_TRUE(options.quiet);
}

TEST(PanelOptions, FilesAreTakenAsTheyStand) {
  const PanelOptions options = parse({"--app", "my app.eds", "--trace=trace.log"});
  EXPECT_EQ("my app.eds", options.app);
  EXPECT_EQ("trace.log", options.trace);
}

TEST(PanelOptions, TraceHasASizeAndOldFiles) {
  const PanelOptions lowest = parse({"--trace", "trace.log", "--trace-size", "1", "--trace-files", "1"});
  EXPECT_EQ(1U, lowest.traceSize);
  EXPECT_EQ(1U, lowest.traceFiles);
  const PanelOptions highest = parse({"--trace", "trace.log", "--trace-size", "1048576", "--trace-files", "1000"});
  EXPECT_EQ(1048576U, highest.traceSize);
  EXPECT_EQ(1000U, highest.traceFiles);
}

TEST(PanelOptions, DescriptionIsCheckedOrExportedWhereItIsAskedFor) {
  EXPECT_EQ("my app.eds", parse({"--check", "my app.eds"}).check);
  EXPECT_EQ("out.eds", parse({"--export", "out.eds"}).exported);
  EXPECT_FALSE(parse({}).check);
  EXPECT_FALSE(parse({}).exported);
}

TEST(PanelOptions, WhatIsGivenIsKnownFromADefault) {
  const PanelOptions given = parse({"--node-id", "5", "--heartbeat", "1000"});
  EXPECT_TRUE(given.isNodeIDGiven);
  EXPECT_TRUE(given.isHeartbeatGiven);
  const PanelOptions options = parse({});
  EXPECT_FALSE(options.isNodeIDGiven);
  EXPECT_FALSE(options.isHeartbeatGiven);
}

TEST(PanelOptions, DefaultOfListenIsNotUsedWithAnotherPort) {
  EXPECT_FALSE(parse({"--can", "socketcan:can0"}).listen);
  EXPECT_FALSE(parse({"--can", "socketcand:localhost:29536/bus0"}).listen);
}

TEST(PanelOptions, HelpNamesEveryOption) {
  const std::string help = parse({"--help"}).information;
  for (const char* const option : {"--can", "--listen", "--node-id", "--heartbeat", "--sdo-timeout", "--bit-rate",
                                   "--peer", "--autostart", "--app", "--check", "--export", "--http", "--trace",
                                   "--trace-size", "--trace-files", "--cycle", "--quiet", "--help", "--version"}) {
    EXPECT_NE(std::string::npos, help.find(option)) << option;
  }
}

TEST(PanelOptions, VersionNamesTheProgram) {
  EXPECT_EQ(0U, parse({"--version"}).information.rfind("tavo-panel ", 0));
}

struct AddressCase {
  const char* name;
  const char* text;
  const char* host;
  unsigned short port;
};

class PanelListenAddress : public testing::TestWithParam<AddressCase> {};

TEST_P(PanelListenAddress, IsSplitIntoHostAndPort) {
  const PanelOptions options = parse({"--listen", GetParam().text});
  EXPECT_EQ(GetParam().host, options.listen->host);
  EXPECT_EQ(GetParam().port, options.listen->port);
}

INSTANTIATE_TEST_SUITE_P(Forms, PanelListenAddress,
                         testing::Values(AddressCase{"IPv4", "0.0.0.0:1", "0.0.0.0", 1},
                                         AddressCase{"HighestPort", "localhost:65535", "localhost", 65535},
                                         AddressCase{"AnyPort", "localhost:0", "localhost", 0},
                                         AddressCase{"NoHost", ":29536", "", 29536},
                                         AddressCase{"IPv6", "[::1]:29536", "::1", 29536}),
                         [](const auto& tested) { return std::string(tested.param.name); });

struct WrongCase {
  const char* name;
  std::vector<const char*> arguments;
  const char* reason;  // part of the line
};

class PanelWrongArgument : public testing::TestWithParam<WrongCase> {};

TEST_P(PanelWrongArgument, IsReportedInOneLine) {
  const std::string error = getError(GetParam().arguments);
  EXPECT_NE(std::string::npos, error.find(GetParam().reason)) << error;
  EXPECT_EQ(std::string::npos, error.find('\n')) << error;
}

INSTANTIATE_TEST_SUITE_P(
    Command, PanelWrongArgument,
    testing::Values(
        WrongCase{"TraceSizeWithoutTrace", {"--trace-size", "1"}, "--trace-size is for a --trace"},
        WrongCase{"TraceFilesWithoutSize",
                  {"--trace", "trace.log", "--trace-files", "2"},
                  "--trace-files is for a --trace that has a --trace-size"},
        WrongCase{"TraceSizeTooHigh", {"--trace", "a", "--trace-size", "1048577"}, "--trace-size"},
        WrongCase{"TraceFilesTooLow", {"--trace", "a", "--trace-size", "1", "--trace-files", "0"}, "--trace-files"},

        WrongCase{"UnknownOption", {"--speed", "9"}, "--speed"}, WrongCase{"StrayWord", {"can0"}, "can0"},
        WrongCase{"NodeIDBelowRange", {"--node-id", "0"}, "--node-id"},
        WrongCase{"NodeIDAboveRange", {"--node-id", "128"}, "--node-id"},
        WrongCase{"NodeIDNotANumber", {"--node-id", "five"}, "--node-id"},
        WrongCase{"NodeIDWithTail", {"--node-id", "5x"}, "--node-id"},
        WrongCase{"NodeIDMissing", {"--node-id"}, "--node-id"},
        WrongCase{"NodeIDTwice", {"--node-id", "5", "--node-id", "6"}, "--node-id"},
        WrongCase{"HeartbeatBelowRange", {"--heartbeat", "-1"}, "--heartbeat"},
        WrongCase{"HeartbeatAboveRange", {"--heartbeat", "65536"}, "--heartbeat"},
        WrongCase{"HeartbeatBeyondAnyNumber", {"--heartbeat", "99999999999999999999"}, "--heartbeat"},
        WrongCase{"BitRateBelowRange", {"--bit-rate", "9999"}, "--bit-rate"},
        WrongCase{"BitRateAboveRange", {"--bit-rate", "1000001"}, "--bit-rate"},
        WrongCase{"SDOTimeoutBelowRange", {"--sdo-timeout", "0"}, "--sdo-timeout"},
        WrongCase{"SDOTimeoutAboveRange", {"--sdo-timeout", "65536"}, "--sdo-timeout"},
        WrongCase{"PeerBelowRange", {"--peer", "0"}, "--peer"},
        WrongCase{"PeerAboveRange", {"--peer", "128"}, "--peer"},
        WrongCase{"PeerIsTheDefaultNodeItself", {"--peer", "5"}, "--peer: 5"},
        WrongCase{"PeerIsTheNodeItself", {"--peer", "6", "--node-id", "6"}, "--peer: 6"},
        WrongCase{"PeerWithoutTheDemo", {"--peer", "6", "--app", "my.eds"}, "--peer is for the demo machine"},
        WrongCase{"CycleBelowRange", {"--cycle", "0"}, "--cycle"},
        WrongCase{"CycleAboveRange", {"--cycle", "1001"}, "--cycle"},
        WrongCase{"PortWithoutScheme", {"--can", "can0"}, "--can: 'can0'"},
        WrongCase{"PortOfUnknownKind", {"--can", "serial:can0"}, "--can: 'serial:can0'"},
        WrongCase{"PortWithoutName", {"--can", "virtual:"}, "--can: 'virtual:'"},
        WrongCase{"ListenWithKernelPort", {"--can", "socketcan:can0", "--listen", "127.0.0.1:1"}, "--listen"},
        WrongCase{"ListenWithRemotePort", {"--can", "socketcand:h:1/c", "--listen", "127.0.0.1:1"}, "--listen"},
        WrongCase{"ListenWithoutPort", {"--listen", "127.0.0.1"}, "--listen"},
        WrongCase{"ListenWithEmptyPort", {"--listen", "127.0.0.1:"}, "--listen"},
        WrongCase{"ListenPortAboveRange", {"--listen", "127.0.0.1:65536"}, "--listen"},
        WrongCase{"ListenPortNegative", {"--listen", "127.0.0.1:-1"}, "--listen"},
        WrongCase{"HttpWithoutPort", {"--http", "127.0.0.1"}, "--http: '127.0.0.1' is not HOST:PORT"},
        WrongCase{"HttpPortTooLarge", {"--http", "127.0.0.1:65536"}, "--http"},
        WrongCase{"ListenPortNotANumber", {"--listen", "127.0.0.1:http"}, "--listen"},
        WrongCase{"ListenBareIPv6", {"--listen", "::1:29536"}, "--listen"},
        WrongCase{"FlagWithValue", {"--quiet=perhaps"}, "--quiet"}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
