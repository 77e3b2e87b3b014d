#include "SummaryText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "NetworkStatistics.h"
#include "TextParts.h"

namespace trace {

namespace {

using monitor::NetworkStatistics;
using monitor::Service;

// Rows of cells, written with columns as wide as they have to be: the first to the left, the others to the right.
class Table {
public:
  explicit Table(std::vector<std::string> heading) { rows.push_back(std::move(heading)); }

  void add(std::vector<std::string> row) { rows.push_back(std::move(row)); }
  // A line of its own below the row before, which belongs to no column.
  void addNote(std::string note) { rows.push_back({std::string(), std::move(note)}); }
  bool isEmpty() const { return rows.size() == 1; }

  void append(std::string& text) const {
    for (const std::vector<std::string>& row : rows) {
      if (isNote(row)) {
        text += "      " + row[1] + '\n';
        continue;
      }
      text += "  ";
      for (std::size_t column = 0; column < row.size(); ++column) {
        appendCell(text, row[column], getWidth(column), column == 0);
      }
      text.erase(text.find_last_not_of(' ') + 1);
      text += '\n';
    }
    text += '\n';
  }

private:
  static bool isNote(const std::vector<std::string>& row) { return row.front().empty(); }

  static void appendCell(std::string& text, const std::string& cell, std::size_t width, bool toLeft) {
    const std::string blanks(width - cell.size(), ' ');
    text += toLeft ? cell + blanks : "  " + blanks + cell;
  }

  std::size_t getWidth(std::size_t column) const {
    std::size_t width = 0;
    for (const std::vector<std::string>& row : rows) {
      if (!isNote(row) && column < row.size()) {
        width = std::max(width, row[column].size());
      }
    }
    return width;
  }

  std::vector<std::vector<std::string>> rows;
};

std::string toText(unsigned long long number) {
  return std::to_string(number);
}

std::string toSecondsText(long long microseconds) {
  std::string text;
  monitor::appendSeconds(text, microseconds);
  return text;
}

// Milliseconds with three digits behind the point.
std::string toMilliseconds(long long microseconds) {
  const std::string digits = toText(static_cast<unsigned long long>(microseconds % 1000 + 1000)).substr(1);
  return std::to_string(microseconds / 1000) + "." + digits;
}

std::string toHex(std::uint64_t number, unsigned int digits) {
  std::string text = "0x";
  monitor::appendHex(text, number, digits);
  return text;
}

std::string toPercent(double share) {
  const auto permille = static_cast<unsigned long long>(std::llround(share * 1000));
  return toText(permille / 10) + "." + toText(permille % 10) + " %";
}

std::string getNode(unsigned int node) {
  return node == 0 ? "all nodes" : "node " + toText(node);
}

std::string getDate(long long microseconds) {
  std::string text;
  monitor::appendDate(text, microseconds);
  return text;
}

// Shortest, mean and longest; nothing where there is none.
std::vector<std::string> getCells(const monitor::DurationStatistics& durations) {
  if (durations.getCount() == 0) {
    return {"-", "-", "-"};
  }
  return {toMilliseconds(durations.getShortest()), toMilliseconds(durations.getMean()),
          toMilliseconds(durations.getLongest())};
}

std::vector<std::string> join(std::initializer_list<std::vector<std::string>> parts) {
  std::vector<std::string> row;
  for (const std::vector<std::string>& part : parts) {
    row.insert(row.end(), part.begin(), part.end());
  }
  return row;
}

void appendOverview(std::string& text, const Network& network) {
  const NetworkStatistics& statistics = network.statistics;
  const monitor::BusLoad& load = statistics.getLoad();
  text += network.name + ": " + toText(statistics.getFrames()) + " frames in " +
          toSecondsText(statistics.getLast() - statistics.getFirst()) + " s, from " + getDate(statistics.getFirst()) +
          " to " + getDate(statistics.getLast()) + " (UTC)\n";
  text += "  bus load at " + toText(load.getBitRate()) + " bit/s: " + toPercent(load.getMeanShare()) + " on average, " +
          toPercent(load.getHighestShare()) + " in the busiest second\n";
  if (statistics.getClockSteps() > 0) {
    text += "  the time goes back " + toText(statistics.getClockSteps()) + " times\n";
  }
  text += '\n';
}

void appendServices(std::string& text, const NetworkStatistics& statistics) {
  Table table({"service", "frames"});
  for (unsigned int i = 0; i < monitor::SERVICES; ++i) {
    const auto service = static_cast<Service>(i);
    const unsigned long long count = statistics.getFrames(service, false) + statistics.getFrames(service, true);
    if (count > 0) {
      table.add({std::string(monitor::getName(service)), toText(count)});
    }
  }
  table.append(text);
}

std::string getStates(const monitor::NodeStatistics& node, long long first) {
  std::string list = "states:";
  if (node.states.getTotal() > node.states.size()) {
    list += " ... (" + toText(node.states.getTotal() - node.states.size()) + " before)";
  }
  for (std::size_t i = 0; i < node.states.size(); ++i) {
    const monitor::StateChange& change = node.states[i];
    const std::string_view name = change.state == 0 ? "boot-up" : monitor::getStateName(change.state);
    list += (i == 0 ? " +" : ", +") + toSecondsText(change.microseconds - first) + " " + std::string(name);
  }
  return list;
}

void appendNodes(std::string& text, const NetworkStatistics& statistics) {
  const long long first = statistics.getFirst();
  Table table({"who was there", "frames", "first at", "last at", "boot-ups", "heartbeats", "period ms: min", "mean",
               "max", "gaps", "EMCY"});
  statistics.forEachNode([&](unsigned int number, const monitor::NodeStatistics& node) {
    table.add(join({{getNode(number), toText(node.frames), "+" + toSecondsText(node.first - first),
                     "+" + toSecondsText(node.last - first), toText(node.bootUps),
                     toText(node.heartbeats.getSeries().getFrames())},
                    getCells(node.heartbeats.getSeries().getPeriods()),
                    {toText(node.heartbeats.getGaps()), toText(node.emergencies)}}));
    if (!node.states.empty()) {
      table.addNote(getStates(node, first));
    }
  });
  if (!table.isEmpty()) {
    table.append(text);
  }
}

void appendPDOs(std::string& text, const NetworkStatistics& statistics) {
  Table table({"PDO", "id", "frames", "period ms: min", "mean", "max", "jitter ms: min", "mean", "max"});
  const auto add = [&table](const std::string& name, unsigned int identifier, const monitor::FrameSeries& series) {
    table.add(join({{name, toHex(identifier, 3), toText(series.getFrames())},
                    getCells(series.getPeriods()),
                    getCells(series.getJitter())}));
  };
  if (statistics.getSync().getFrames() > 0) {
    add("SYNC", 0x80, statistics.getSync());
  }
  statistics.forEachPDO([&add](unsigned int identifier, const monitor::PDOStatistics& pdo) {
    add(getNode(pdo.node) + " " + std::string(monitor::getName(pdo.service)) + " " + toText(pdo.number), identifier,
        pdo.series);
  });
  if (!table.isEmpty()) {
    table.append(text);
  }
}

void appendChannels(std::string& text, const NetworkStatistics& statistics) {
  Table table({"SDO server", "direction", "expedited", "segmented", "block", "bytes", "ms: min", "mean", "max",
               "aborts", "unanswered", "abandoned"});
  statistics.forEachSDOChannel([&table](const monitor::SDOChannelStatistics& channel) {
    const std::string name = getNode(channel.node) + (channel.channel == 1 ? "" : ", SDO " + toText(channel.channel));
    const auto add = [&table, &name](const char* direction, const monitor::SDODirectionStatistics& transfers,
                                     const std::vector<std::string>& failures) {
      table.add(join({{name, direction, toText(transfers.completed[0]), toText(transfers.completed[1]),
                       toText(transfers.completed[2]), toText(transfers.bytes)},
                      getCells(transfers.durations),
                      failures}));
    };
    add("uploads", channel.uploads, {toText(channel.aborts), toText(channel.unanswered), toText(channel.abandoned)});
    add("downloads", channel.downloads, {});
  });
  if (!table.isEmpty()) {
    table.append(text);
  }
}

void appendAborts(std::string& text, const NetworkStatistics& statistics) {
  Table table({"SDO aborts", "code", "count"});
  for (const monitor::AbortCount& abort : statistics.getAborts()) {
    table.add({getNode(abort.node), toHex(abort.code, 8), toText(abort.count)});
    table.addNote(std::string(monitor::getAbortText(abort.code)));
  }
  if (statistics.getOtherAborts() > 0) {
    table.add({"others", "", toText(statistics.getOtherAborts())});
  }
  if (!table.isEmpty()) {
    table.append(text);
  }
}

template <typename Items>
std::string getHeading(const char* what, const Items& items) {
  const bool all = items.getTotal() == items.size();
  return std::string(what) + (all ? "" : " (the last of " + toText(items.getTotal()) + ")");
}

void appendGaps(std::string& text, const NetworkStatistics& statistics) {
  const auto& gaps = statistics.getHeartbeatGaps();
  Table table({getHeading("gaps in heartbeats", gaps), "from", "ms"});
  for (std::size_t i = 0; i < gaps.size(); ++i) {
    table.add({getNode(gaps[i].node), "+" + toSecondsText(gaps[i].begin - statistics.getFirst()),
               toMilliseconds(gaps[i].duration)});
  }
  if (!table.isEmpty()) {
    table.append(text);
  }
}

void appendEmergencies(std::string& text, const NetworkStatistics& statistics) {
  const auto& emergencies = statistics.getEmergencies();
  Table table({getHeading("EMCY", emergencies), "at", "code", "error register"});
  for (std::size_t i = 0; i < emergencies.size(); ++i) {
    const monitor::SeenEmergency& emergency = emergencies[i];
    table.add({getNode(emergency.node), "+" + toSecondsText(emergency.microseconds - statistics.getFirst()),
               toHex(emergency.code, 4), toHex(emergency.errorRegister, 2)});
    table.addNote(std::string(monitor::getEmergencyText(emergency.code)));
  }
  if (!table.isEmpty()) {
    table.append(text);
  }
}

void appendCommands(std::string& text, const NetworkStatistics& statistics) {
  const auto& commands = statistics.getCommands();
  Table table({getHeading("NMT commands", commands), "at", "command"});
  for (std::size_t i = 0; i < commands.size(); ++i) {
    table.add({getNode(commands[i].node), "+" + toSecondsText(commands[i].microseconds - statistics.getFirst()),
               std::string(monitor::getNMTCommandName(commands[i].command))});
  }
  if (!table.isEmpty()) {
    table.append(text);
  }
}

void appendViolations(std::string& text, const NetworkStatistics& statistics) {
  Table table({"errors in the protocol", "count"});
  for (const monitor::ViolationCount& violation : statistics.getViolations()) {
    const std::string node = violation.node == 0 ? "" : getNode(violation.node) + ": ";
    table.add({node + std::string(violation.text), toText(violation.count)});
  }
  if (statistics.getOtherViolations() > 0) {
    table.add({"others", toText(statistics.getOtherViolations())});
  }
  if (!table.isEmpty()) {
    table.append(text);
  }
}

}  // namespace

void SummaryText::append(std::string& text, const Networks& networks) const {
  if (networks.getAll().empty()) {
    text += "no frames\n";
  }
  for (const auto& network : networks.getAll()) {
    const NetworkStatistics& statistics = network->statistics;
    if (statistics.getFrames() == 0) {
      text += network->name + ": no frames\n\n";
      continue;
    }
    appendOverview(text, *network);
    appendServices(text, statistics);
    appendNodes(text, statistics);
    appendPDOs(text, statistics);
    appendChannels(text, statistics);
    appendTransfers(text, statistics);
    appendAborts(text, statistics);
    appendCommands(text, statistics);
    appendGaps(text, statistics);
    appendEmergencies(text, statistics);
    appendViolations(text, statistics);
  }
}

// Those that did not come to their end: the others are in the counts.
void SummaryText::appendTransfers(std::string& text, const NetworkStatistics& statistics) const {
  const auto& transfers = statistics.getFailedTransfers();
  Table table({getHeading("SDO transfers without success", transfers), "at", "ms", "direction", "object", "end"});
  for (std::size_t i = 0; i < transfers.size(); ++i) {
    const monitor::SDOTransfer& transfer = transfers[i];
    const bool isAborted = transfer.end == monitor::SDOTransferEnd::ABORTED;
    table.add(
        {getNode(transfer.node), "+" + toSecondsText(transfer.begin - statistics.getFirst()),
         toMilliseconds(transfer.duration), transfer.isUpload ? "upload" : "download",
         toHex(transfer.index, 4) + "/" + toText(transfer.subIndex),
         std::string(monitor::getName(transfer.end)) +
             (isAborted ? " " + toHex(transfer.abortCode, 8) + (transfer.isAbortedByServer ? "" : " by the client")
                        : "")});
    const std::string_view name = names.describe(transfer.node, transfer.index, transfer.subIndex).name;
    if (!name.empty()) {
      table.addNote(std::string(name));
    }
  }
  if (!table.isEmpty()) {
    table.append(text);
  }
}

}  // namespace trace
