#include "Page.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <utility>

#include <nlohmann/json.hpp>

#include "KQCANopen.h"
#include "KQDEI.h"
#include "KQEndPoint.h"
#include "KQErrorCodes.h"
#include "LoopTasks.h"
#include "NodeNames.h"
#include "PageFiles.h"
#include "StateReporter.h"

namespace panel {

using nlohmann::json;

namespace {

constexpr const char* JSON = "application/json";
constexpr const char* TOKEN_MARK = "{{TOKEN}}";
constexpr unsigned short FIRST_APPLICATION_INDEX = 0x2000;
// A slice on the protocol thread takes some ten microseconds.
constexpr std::size_t OBJECTS_A_SLICE = 16;
constexpr std::size_t PDOS_A_SLICE = 4;
constexpr unsigned long long TURNS_A_SNAPSHOT = 10;
// A page that is not told anything for that long thinks that the panel has gone; so does the watch of the traffic.
constexpr unsigned int WATCH_MS = 5 * Page::PERIOD_MS;

// What is no UTF-8, in a text that a master has written, is replaced.
std::string dump(const json& value) {
  return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

// The name by which the script calls an object: six hexadecimal digits.
std::string getKey(unsigned short index, unsigned char subIndex) {
  char key[8];
  std::snprintf(key, sizeof key, "%04X%02X", static_cast<unsigned int>(index), static_cast<unsigned int>(subIndex));
  return key;
}

json describe(const ObjectInfo& object) {
  json described = {{"key", getKey(object.index, object.subIndex)},
                    {"object", object.objectName},
                    {"name", object.name},
                    {"type", object.typeName},
                    {"access", object.accessName},
                    {"readable", object.isReadable},
                    {"writable", object.isWritable && (object.isText || (object.isInteger && object.bits <= 32))},
                    {"record", object.isInRecord}};
  if (object.isText) {
    described["text"] = true;
  }
  if (object.isInteger) {
    described["bits"] = object.bits;
    described["low"] = object.lowest;
    described["high"] = object.highest;
  }
  return described;
}

json describe(const PDOInfo& pdo) {
  json mapping = json::array();
  for (const MappingInfo& mapped : pdo.mapping) {
    mapping.push_back({getKey(mapped.index, mapped.subIndex), mapped.bits});
  }
  return {{"transmit", pdo.isTransmit}, {"number", pdo.number},         {"cobid", pdo.cobID},
          {"valid", pdo.isValid},       {"type", pdo.transmissionType}, {"inhibit", pdo.inhibitTime},
          {"event", pdo.eventTimer},    {"mapping", std::move(mapping)}};
}

json toJSON(const ObjectReading& reading) {
  if (!reading.reason.empty()) {
    return {{"reason", reading.reason}};
  }
  json value = {{"value", reading.text ? json(*reading.text) : json(reading.number.value_or(0))}};
  if (!reading.isValid) {
    value["invalid"] = true;
  }
  return value;
}

// The same of a variable of the store, which may be read on any thread.
ObjectReading readVariable(const KQ::KQDEI& store, const ObjectInfo& object) {
  ObjectReading reading;
  int result = KQ::KQ_OK;
  if (object.isText) {
    std::string text;
    result = store.getVariableValue(object.index, object.subIndex, &text);
    reading.text = text;
  } else {
    int number = 0;
    result = store.getVariableValue(object.index, object.subIndex, &number);
    reading.number = object.isSigned ? number : static_cast<long long>(static_cast<unsigned int>(number));
  }
  reading.isValid = result == KQ::KQ_OK;
  if (!reading.isValid && result != KQ::KQ_VALUE_INVALID) {
    reading.reason = KQ::kqGetErrorString(result);
  }
  return reading;
}

std::string getParameter(const std::string& query, const std::string& name) {
  const std::string start = name + "=";
  return query.compare(0, start.size(), start) == 0 ? query.substr(start.size()) : "";
}

std::string makeEvent(const char* name, const std::string& data) {
  return std::string("event: ") + name + "\ndata: " + data + "\n\n";
}

std::string toHex(const unsigned char* bytes, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    text += i == 0 ? "" : " ";
    text += "0123456789ABCDEF"[bytes[i] >> 4U];
    text += "0123456789ABCDEF"[bytes[i] & 0xFU];
  }
  return text;
}

json describe(const monitor::FrameSeries& series) {
  return {{"count", series.getFrames()},
          {"mean", series.getPeriods().getMean()},
          {"shortest", series.getPeriods().getShortest()},
          {"longest", series.getPeriods().getLongest()},
          {"jitter", series.getJitter().getMean()},
          {"worst", series.getJitter().getLongest()}};
}

}  // namespace

Page::Page(HttpServer& theServer, LoopTasks& loopTasks, TrafficWatch& watch, KQ::KQCANopen& shown, KQ::KQDEI& store)
    : server(theServer),
      tasks(loopTasks),
      traffic(watch),
      node(shown),
      dei(store),
      nodeID(shown.getNodeID()),
      portURI(shown.getEndPoint()->getURI()),
      started(watch.getNow()),
      view(shown) {
  for (const ObjectInfo& object : view.getObjects()) {
    if (object.index >= FIRST_APPLICATION_INDEX && object.isVariable && variables.size() < MAXIMUM_VARIABLES) {
      variables.push_back({&object, "", 0});
    }
  }
  for (const unsigned short pdo : view.getPDOs()) {
    snapshot.pdos.push_back(view.readPDO(pdo));
  }
  snapshot.state = view.getState();
  traffic.setNames(std::make_shared<NodeNames>(nodeID, view, snapshot.pdos));
  traffic.addObserver([this](const monitor::DecodedFrame& frame, bool sent) { addRow(frame, sent); });
  registerFiles();
  registerQuestions();
}

void Page::registerFiles() {
  std::string html = PageFiles::HTML;
  html.replace(html.find(TOKEN_MARK), std::char_traits<char>::length(TOKEN_MARK), server.getGuard().getToken());
  server.serveText("/", "text/html; charset=utf-8", [html] { return html; });
  server.serveText("/page.css", "text/css; charset=utf-8", [] { return std::string(PageFiles::STYLE); });
  server.serveText("/page.js", "text/javascript; charset=utf-8", [] { return std::string(PageFiles::SCRIPT); });
}

void Page::registerQuestions() {
  server.serveText("/api/panel", JSON, [this] { return getDescription(); });
  server.handle("GET", "/api/values", [this](const HttpRequest& request, const HttpServer::Answer& answer) {
    answerValues(request, answer);
  });
  server.handle("PUT", "/api/objects/*",
                [this](const HttpRequest& request, const HttpServer::Answer& answer) { answerWrite(request, answer); });
  server.serveStream("/events", [this](const HttpRequest&, std::shared_ptr<HttpServer::Stream> stream) {
    addViewer(std::move(stream));
  });
}

// ---- questions

std::string Page::getDescription() const {
  json objects = json::array();
  for (const ObjectInfo& object : view.getObjects()) {
    objects.push_back(describe(object));
  }
  json followed = json::array();
  for (const Variable& variable : variables) {
    followed.push_back(getKey(variable.object->index, variable.object->subIndex));
  }
  return dump({{"node", nodeID},
               {"port", portURI},
               {"bitrate", traffic.getStatistics().getLoad().getBitRate()},
               {"objects", std::move(objects)},
               {"variables", std::move(followed)}});
}

const ObjectInfo* Page::findObject(const std::string& key) const {
  unsigned int number = 0;
  const char* const end = key.data() + key.size();
  const auto [stop, error] = std::from_chars(key.data(), end, number, 16);
  if (key.size() != 6 || error != std::errc() || stop != end) {
    return nullptr;
  }
  return view.findObject(static_cast<unsigned short>(number >> 8U), static_cast<unsigned char>(number & 0xFFU));
}

void Page::answerValues(const HttpRequest& request, const HttpServer::Answer& answer) {
  const std::string keys = getParameter(request.query, "keys");
  const auto objects = std::make_shared<std::vector<const ObjectInfo*>>();
  for (std::size_t begin = 0; begin < keys.size() && objects->size() < KEYS_AT_ONCE; begin += 7) {
    const ObjectInfo* const object = findObject(keys.substr(begin, 6));
    if (object != nullptr) {
      objects->push_back(object);
    }
  }
  readSlice(objects, 0, std::make_shared<std::string>(), answer);
}

void Page::readSlice(const std::shared_ptr<std::vector<const ObjectInfo*>>& objects, std::size_t first,
                     const std::shared_ptr<std::string>& text, const HttpServer::Answer& answer) {
  const auto read = [this, objects, first, text, answer] {
    const std::size_t last = std::min(first + OBJECTS_A_SLICE, objects->size());
    for (std::size_t i = first; i < last; ++i) {
      const ObjectInfo& object = *(*objects)[i];
      *text += (text->empty() ? "\"" : ",\"") + getKey(object.index, object.subIndex) +
               "\":" + dump(toJSON(view.read(object)));
    }
    if (last == objects->size()) {
      answer({200, JSON, "{" + *text + "}"});
    } else {
      readSlice(objects, last, text, answer);
    }
  };
  if (!tasks.post(read)) {
    answer({503, JSON, "{}"});
  }
}

void Page::answerWrite(const HttpRequest& request, const HttpServer::Answer& answer) {
  const ObjectInfo* const object = findObject(request.path.substr(request.path.rfind('/') + 1));
  if (object == nullptr) {
    answer({404, JSON, dump({{"reason", "there is no such object"}})});
    return;
  }
  const bool isQueued = tasks.post([this, object, text = request.body, answer] {
    answer({200, JSON, dump({{"reason", view.write(*object, text)}})});
  });
  if (!isQueued) {
    answer({503, JSON, dump({{"reason", "the node is too busy"}})});
  }
}

// ---- open pages

void Page::addViewer(std::shared_ptr<HttpServer::Stream> stream) {
  viewers.push_back({std::move(stream), {}, 0, 0, false});
  traffic.keep(WATCH_MS);
  askForSnapshot();
  if (!isTurning) {
    isTurning = true;
    turn();
  }
}

void Page::turn() {
  viewers.erase(
      std::remove_if(viewers.begin(), viewers.end(), [](const Viewer& viewer) { return !viewer.stream->isOpen(); }),
      viewers.end());
  if (viewers.empty()) {
    isTurning = false;
    periods.clear();
    return;
  }
  ++turns;
  traffic.keep(WATCH_MS);
  traffic.drain();
  lookAtVariables();
  if (turns % TURNS_A_SNAPSHOT == 0) {
    askForSnapshot();
  }
  for (Viewer& viewer : viewers) {
    show(viewer);
  }
  server.postAfter(PERIOD_MS, [this] { turn(); });
}

void Page::lookAtVariables() {
  for (Variable& variable : variables) {
    std::string text = dump(toJSON(readVariable(dei, *variable.object)));
    if (text != variable.json) {
      variable.json = std::move(text);
      variable.changed = turns;
    }
  }
}

// A client that has not taken what it was sent gets nothing, and later what is new by then.
void Page::show(Viewer& viewer) {
  if (!viewer.stream->isReady()) {
    return;
  }
  std::string events;
  if (!viewer.isGreeted) {
    viewer.isGreeted = true;
    events += makeEvent("hello", dump({{"started", started}}));
  }
  const std::string values = getChangedValues(viewer);
  viewer.values = turns;
  if (!values.empty()) {
    events += makeEvent("values", "{" + values + "}");
  }
  const RowLog::Page page = rows.read(viewer.rows);
  if (!page.rows.empty() || page.missed != 0) {
    events += makeEvent("frames", "{\"missed\":" + std::to_string(page.missed) + ",\"rows\":[" + page.rows + "]}");
  }
  if (viewer.network != networkVersion) {
    viewer.network = networkVersion;
    events += makeEvent("network", network);
  }
  if (!events.empty()) {
    viewer.stream->send(std::move(events));
  }
}

std::string Page::getChangedValues(const Viewer& viewer) const {
  std::string values;
  for (const Variable& variable : variables) {
    if (variable.changed > viewer.values) {
      values += (values.empty() ? "\"" : ",\"") + getKey(variable.object->index, variable.object->subIndex) +
                "\":" + variable.json;
    }
  }
  return values;
}

void Page::addRow(const monitor::DecodedFrame& frame, bool sent) {
  if (viewers.empty()) {
    return;
  }
  if (frame.service == monitor::Service::TPDO || frame.service == monitor::Service::RPDO) {
    periods.add(frame.frame.identifier, frame.frame.microseconds);
  }
  std::string service;
  std::string object;
  std::string details;
  frame.appendService(service);
  frame.appendObject(object);
  frame.appendDetails(details);
  rows.add(dump({frame.frame.microseconds, sent ? 1 : 0, frame.frame.identifier, service, frame.node, object, details,
                 toHex(frame.frame.data, frame.frame.length), frame.violation}));
}

// ---- what belongs to the protocol thread

void Page::askForSnapshot() {
  if (isSnapshotUnderWay) {
    return;
  }
  const auto next = std::make_shared<Snapshot>();
  isSnapshotUnderWay = tasks.post([this, next] {
    next->state = view.getState();
    next->port = node.getEndPoint()->getStatistics();
    next->isConnected = node.getEndPoint()->isConnected();
    readPDOs(next);
  });
}

void Page::readPDOs(const std::shared_ptr<Snapshot>& next) {
  const std::vector<unsigned short>& all = view.getPDOs();
  for (std::size_t i = 0; i < PDOS_A_SLICE && next->pdos.size() < all.size(); ++i) {
    next->pdos.push_back(view.readPDO(all[next->pdos.size()]));
  }
  const bool isComplete = next->pdos.size() == all.size();
  if (isComplete || !tasks.post([this, next] { readPDOs(next); })) {
    server.post([this, next] { takeSnapshot(std::move(*next)); });
  }
}

void Page::takeSnapshot(Snapshot next) {
  isSnapshotUnderWay = false;
  if (next.pdos.size() != snapshot.pdos.size()) {
    next.pdos = snapshot.pdos;  // the loop had too much else to do for the rest
  }
  if (!(next.pdos == snapshot.pdos)) {
    traffic.setNames(std::make_shared<NodeNames>(nodeID, view, next.pdos));
  }
  snapshot = std::move(next);
  network = getNetwork();
  ++networkVersion;
}

std::string Page::getNetwork() const {
  const monitor::NetworkStatistics& statistics = traffic.getStatistics();
  const long long now = traffic.getNow();
  json nodes = json::array();
  statistics.forEachNode([&](unsigned int number, const monitor::NodeStatistics& heard) {
    const auto& beats = heard.heartbeats;
    nodes.push_back(
        {{"node", number},
         {"state",
          heard.state == monitor::NodeStatistics::UNKNOWN_STATE ? "" : std::string(monitor::getStateName(heard.state))},
         {"frames", heard.frames},
         {"silent", beats.isSilent(now)},
         {"last", heard.last},
         {"period", beats.getSeries().getPeriods().getMean()},
         {"missed", beats.getMissed(now)},
         {"boots", heard.bootUps},
         {"emergency", heard.emergencyCode == 0 ? "" : std::string(monitor::getEmergencyText(heard.emergencyCode))}});
  });
  json pdos = json::array();
  for (const PDOInfo& pdo : snapshot.pdos) {
    json described = describe(pdo);
    const monitor::PDOStatistics* const seen = pdo.isValid ? statistics.getPDO(pdo.cobID) : nullptr;
    if (seen != nullptr) {
      described["series"] = describe(seen->series);
      described["periods"] = periods.get(pdo.cobID);
    }
    pdos.push_back(std::move(described));
  }
  const auto load = statistics.getLoad().getShare(now) * statistics.getLoad().getBitRate();
  return dump({{"now", now},
               {"state", StateReporter::getStateName(static_cast<unsigned int>(snapshot.state))},
               {"connected", snapshot.isConnected},
               {"frames", statistics.getFrames()},
               {"lost", traffic.getLost()},
               {"bits", static_cast<long long>(load)},
               {"port",
                {{"received", snapshot.port.received},
                 {"sent", snapshot.port.sent},
                 {"refused", snapshot.port.refused},
                 {"dropped", snapshot.port.dropped},
                 {"overruns", snapshot.port.overruns},
                 {"errorFrames", snapshot.port.errorFrames},
                 {"busOff", snapshot.port.busOff},
                 {"disconnects", snapshot.port.disconnects}}},
               {"nodes", std::move(nodes)},
               {"pdos", std::move(pdos)}});
}

}  // namespace panel
