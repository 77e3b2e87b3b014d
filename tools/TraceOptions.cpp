#include "TraceOptions.h"

#include <algorithm>
#include <map>

#include <CLI/CLI.hpp>

#include "TraceError.h"

namespace trace {

namespace {

constexpr const char* DESCRIPTION =
    "Shows what the frames in candump logs mean in CANopen: services, nodes, objects, values, states and errors.";
constexpr const char* EPILOGUE =
    "Exit status: 0 when all lines were frames, 1 when some were not (they are told on standard error), 2 when it "
    "could "
    "not run.\n"
    "\n"
    "Examples:\n"
    "  tavo-trace trace.log\n"
    "  tavo-trace --eds drive.eds:5 --node 5 --service sdo trace.log\n"
    "  tavo-trace --summary trace.log.1 trace.log\n"
    "  candump -L can0 | tavo-trace -\n"
    "  tavo-trace --json trace.log | jq 'select(.service == \"EMCY\")'\n";

std::string inOneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

// The options as they stand on the command line.
struct CommandLine {
  explicit CommandLine(TraceOptions& options) {
    app.set_version_flag("--version", std::string("tavo-trace ") + TAVO_VERSION);
    app.footer(EPILOGUE);
    app.add_option("FILE", options.files,
                   "Logs of candump (-l, -L) or of a panel's --trace, read as one; -: standard input")
        ->required()
        ->type_name("");
    addContents(options);
    addFilters(options);
  }

  void addContents(TraceOptions& options) {
    app.add_option(
           "--eds", options.descriptions,
           "EDS or DCF with the names, types and PDO mappings of a node, or of all that have no file of their own")
        ->type_name("FILE[:NODE]")
        ->allow_extra_args(false);
    app.add_flag("--summary", options.summary, "Print what there was in all, instead of each frame");
    app.add_flag("--json", options.json, "Print JSON: an object a line, or one object with --summary");
    app.add_flag("--data", options.data, "Show the bytes of every frame");
    app.add_option("--time", options.time,
                   "Times: logged, date (UTC), relative (to the first frame), delta (to the last line)")
        ->type_name("FORM")
        ->transform(CLI::CheckedTransformer(timeForms, CLI::ignore_case).description(""))
        ->default_str("logged");
    app.add_option("--bit-rate", options.bitRate, "Bit rate of the bus, for its load")
        ->check(CLI::Range(1, 1000000).description(""))
        ->type_name("BIT/S")
        ->capture_default_str();
  }

  void addFilters(TraceOptions& options) {
    FrameFilter& filter = options.filter;
    const auto add = [this](const char* name, const char* type, const char* description, auto take) {
      app.add_option_function<std::vector<std::string>>(
             name,
             [take](const std::vector<std::string>& values) { std::for_each(values.begin(), values.end(), take); },
             description)
          ->type_name(type)
          ->delimiter(',')
          ->allow_extra_args(false)
          ->group("Only some frames (each may be given more than once)");
    };
    app.add_option_function<std::vector<unsigned int>>(
           "--node",
           [&filter](const std::vector<unsigned int>& nodes) {
             std::for_each(nodes.begin(), nodes.end(), [&filter](unsigned int node) { filter.addNode(node); });
           },
           "Frames from and to these nodes")
        ->check(CLI::Range(1, 127).description(""))
        ->type_name("NODE,...")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->group("Only some frames (each may be given more than once)");
    add("--service", "NAME,...",
        "nmt, sync, time, emcy, tpdo, rpdo, pdo, sdo, heartbeat, boot-up, guarding, lss or unknown",
        [&filter](const std::string& name) { filter.addService(name); });
    add("--id", "ID[-ID],...", "Identifiers, hexadecimal",
        [&filter](const std::string& range) { filter.addIdentifiers(range); });
    add("--interface", "NAME", "Frames of this interface",
        [&filter](const std::string& name) { filter.setInterface(name); });
    add("--from", "TIME", "From then on: seconds as in the log, or +SECONDS since its first frame",
        [&filter](const std::string& text) { filter.setBegin(Moment::parse(text)); });
    add("--to", "TIME", "Until before then",
        [&filter](const std::string& text) { filter.setEnd(Moment::parse(text)); });
  }

  const std::map<std::string, TimeForm> timeForms{{"logged", TimeForm::AS_LOGGED},
                                                  {"date", TimeForm::DATE},
                                                  {"relative", TimeForm::RELATIVE},
                                                  {"delta", TimeForm::DELTA}};
  CLI::App app{DESCRIPTION, "tavo-trace"};
};

}  // namespace

TraceOptions TraceOptions::parse(int argumentCount, const char* const* arguments) {
  TraceOptions options;
  CommandLine line(options);
  try {
    line.app.parse(argumentCount, arguments);
  } catch (const CLI::CallForHelp&) {
    options.information = line.app.help();
  } catch (const CLI::CallForVersion& version) {
    options.information = std::string(version.what()) + "\n";
  } catch (const CLI::ParseError& error) {
    throw TraceError(inOneLine(error.what()) + " (--help lists the options)");
  }
  return options;
}

}  // namespace trace
