#include "SummaryObject.h"

#include "FrameObject.h"

namespace trace {

namespace {

using Json = nlohmann::ordered_json;
using monitor::NetworkStatistics;

Json toObject(const monitor::DurationStatistics& durations) {
  Json object = {{"count", durations.getCount()}};
  if (durations.getCount() > 0) {
    object["min"] = toSeconds(durations.getShortest());
    object["mean"] = toSeconds(durations.getMean());
    object["max"] = toSeconds(durations.getLongest());
  }
  return object;
}

Json getServices(const NetworkStatistics& statistics) {
  Json object = Json::object();
  for (unsigned int i = 0; i < monitor::SERVICES; ++i) {
    const auto service = static_cast<monitor::Service>(i);
    const unsigned long long count = statistics.getFrames(service, false) + statistics.getFrames(service, true);
    if (count > 0) {
      object[std::string(monitor::getName(service))] = count;
    }
  }
  return object;
}

Json toObject(unsigned int number, const monitor::NodeStatistics& node) {
  Json states = Json::array();
  for (std::size_t i = 0; i < node.states.size(); ++i) {
    const unsigned char state = node.states[i].state;
    states.push_back({{"time", toSeconds(node.states[i].microseconds)},
                      {"state", state == 0 ? "boot-up" : monitor::getStateName(state)}});
  }
  return {{"node", number},
          {"frames", node.frames},
          {"first", toSeconds(node.first)},
          {"last", toSeconds(node.last)},
          {"bootUps", node.bootUps},
          {"states", std::move(states)},
          {"statesBefore", node.states.getTotal() - node.states.size()},
          {"heartbeats", node.heartbeats.getSeries().getFrames()},
          {"heartbeatPeriod", toObject(node.heartbeats.getSeries().getPeriods())},
          {"heartbeatGaps", node.heartbeats.getGaps()},
          {"longestHeartbeatGap", toSeconds(node.heartbeats.getLongestGap())},
          {"emergencies", node.emergencies},
          {"emergenciesResolved", node.emergenciesResolved}};
}

Json toObject(const monitor::FrameSeries& series) {
  return {{"frames", series.getFrames()},
          {"period", toObject(series.getPeriods())},
          {"jitter", toObject(series.getJitter())}};
}

Json toObject(unsigned int identifier, const monitor::PDOStatistics& pdo) {
  Json object = {{"id", identifier},
                 {"service", monitor::getName(pdo.service)},
                 {"node", pdo.node},
                 {"number", pdo.number},
                 {"bytes", pdo.bytes}};
  object.update(toObject(pdo.series));
  return object;
}

Json toObject(const monitor::SDODirectionStatistics& direction) {
  return {{"expedited", direction.completed[0]},
          {"segmented", direction.completed[1]},
          {"block", direction.completed[2]},
          {"bytes", direction.bytes},
          {"duration", toObject(direction.durations)}};
}

Json toObject(const monitor::SDOChannelStatistics& channel) {
  return {{"node", channel.node},
          {"channel", channel.channel},
          {"uploads", toObject(channel.uploads)},
          {"downloads", toObject(channel.downloads)},
          {"aborts", channel.aborts},
          {"unanswered", channel.unanswered},
          {"lateResponses", channel.lateResponses},
          {"abandoned", channel.abandoned}};
}

Json toObject(const monitor::SDOTransfer& transfer) {
  Json object = {{"time", toSeconds(transfer.begin)},
                 {"duration", toSeconds(transfer.duration)},
                 {"node", transfer.node},
                 {"channel", transfer.channel},
                 {"upload", transfer.isUpload},
                 {"index", transfer.index},
                 {"subIndex", transfer.subIndex},
                 {"kind", monitor::getName(transfer.kind)},
                 {"end", monitor::getName(transfer.end)},
                 {"bytes", transfer.bytes}};
  if (transfer.end == monitor::SDOTransferEnd::ABORTED) {
    object["abortCode"] = transfer.abortCode;
    object["abortText"] = monitor::getAbortText(transfer.abortCode);
    object["abortedBy"] = transfer.isAbortedByServer ? "server" : "client";
  }
  return object;
}

// What is kept of a list, each item made an object.
template <typename Items, typename Make>
Json toList(const Items& items, Make make) {
  Json list = Json::array();
  for (std::size_t i = 0; i < items.size(); ++i) {
    list.push_back(make(items[i]));
  }
  return list;
}

Json getAborts(const NetworkStatistics& statistics) {
  return toList(statistics.getAborts(), [](const monitor::AbortCount& abort) {
    return Json{{"node", abort.node},
                {"abortCode", abort.code},
                {"abortText", monitor::getAbortText(abort.code)},
                {"count", abort.count}};
  });
}

Json getCommands(const NetworkStatistics& statistics) {
  return toList(statistics.getCommands(), [](const monitor::SeenCommand& command) {
    return Json{{"time", toSeconds(command.microseconds)},
                {"command", monitor::getNMTCommandName(command.command)},
                {"node", command.node}};
  });
}

Json getGaps(const NetworkStatistics& statistics) {
  return toList(statistics.getHeartbeatGaps(), [](const monitor::SeenGap& gap) {
    return Json{{"node", gap.node}, {"time", toSeconds(gap.begin)}, {"duration", toSeconds(gap.duration)}};
  });
}

Json getEmergencies(const NetworkStatistics& statistics) {
  return toList(statistics.getEmergencies(), [](const monitor::SeenEmergency& emergency) {
    return Json{{"time", toSeconds(emergency.microseconds)},
                {"node", emergency.node},
                {"emergencyCode", emergency.code},
                {"emergencyText", monitor::getEmergencyText(emergency.code)},
                {"errorRegister", emergency.errorRegister}};
  });
}

Json getViolations(const NetworkStatistics& statistics) {
  return toList(statistics.getViolations(), [](const monitor::ViolationCount& violation) {
    return Json{{"node", violation.node}, {"violation", violation.text}, {"count", violation.count}};
  });
}

Json toObject(const Network& network) {
  const NetworkStatistics& statistics = network.statistics;
  Json object = {{"interface", network.name},
                 {"frames", statistics.getFrames()},
                 {"first", toSeconds(statistics.getFirst())},
                 {"last", toSeconds(statistics.getLast())},
                 {"clockSteps", statistics.getClockSteps()},
                 {"bitRate", statistics.getLoad().getBitRate()},
                 {"busLoad", statistics.getLoad().getMeanShare()},
                 {"highestBusLoad", statistics.getLoad().getHighestShare()},
                 {"services", getServices(statistics)}};
  object["nodes"] = Json::array();
  statistics.forEachNode([&object](unsigned int number, const monitor::NodeStatistics& node) {
    object["nodes"].push_back(toObject(number, node));
  });
  object["sync"] = toObject(statistics.getSync());
  object["pdos"] = Json::array();
  statistics.forEachPDO([&object](unsigned int identifier, const monitor::PDOStatistics& pdo) {
    object["pdos"].push_back(toObject(identifier, pdo));
  });
  object["sdo"] = Json::array();
  statistics.forEachSDOChannel(
      [&object](const monitor::SDOChannelStatistics& channel) { object["sdo"].push_back(toObject(channel)); });
  object["lastTransfers"] =
      toList(statistics.getTransfers(), [](const monitor::SDOTransfer& transfer) { return toObject(transfer); });
  object["lastFailedTransfers"] =
      toList(statistics.getFailedTransfers(), [](const monitor::SDOTransfer& transfer) { return toObject(transfer); });
  object["aborts"] = getAborts(statistics);
  object["commands"] = getCommands(statistics);
  object["heartbeatGaps"] = getGaps(statistics);
  object["emergencies"] = getEmergencies(statistics);
  object["violations"] = getViolations(statistics);
  return object;
}

}  // namespace

Json toObject(const Networks& networks, std::uint64_t refused) {
  Json object = {{"refusedLines", refused}, {"networks", Json::array()}};
  for (const auto& network : networks.getAll()) {
    object["networks"].push_back(toObject(*network));
  }
  return object;
}

}  // namespace trace
