#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "HttpServer.h"
#include "KQEndPointStatistics.h"
#include "NodeView.h"
#include "PeriodHistory.h"
#include "RowLog.h"
#include "TrafficWatch.h"

namespace KQ {
class KQCANopen;
class KQDEI;
}  // namespace KQ

namespace panel {

class LoopTasks;

/// The page that shows the node, behind the HTTP server: its files, and what its script asks for. Everything happens on
/// the server's thread; of the node, only its variables in the store are read there. What else belongs to the protocol
/// thread is asked for, in slices.
class Page {
public:
  static constexpr unsigned int PERIOD_MS = 100;  ///< of events, as long as a page is open
  static constexpr std::size_t KEYS_AT_ONCE = 200;
  /// Only so many variables are followed; all of them are objects, which can be looked at.
  static constexpr std::size_t MAXIMUM_VARIABLES = 1000;

  /// Registers all of it. @param shown initialised, with its variables and PDOs. All must outlive the page, and the
  /// server is stopped before the page ends. Protocol thread
  Page(HttpServer& theServer, LoopTasks& loopTasks, TrafficWatch& watch, KQ::KQCANopen& shown, KQ::KQDEI& store);
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

private:
  /// A variable of the store as it was looked at last.
  struct Variable {
    const ObjectInfo* object;
    std::string json;                // its value
    unsigned long long changed = 0;  // in which turn
  };

  /// An open page.
  struct Viewer {
    std::shared_ptr<HttpServer::Stream> stream;
    RowLog::Position rows;
    unsigned long long values = 0;   // the turn whose values it has
    unsigned long long network = 0;  // the state of the network that it has
    bool isGreeted = false;
  };

  /// What belongs to the protocol thread, as it was there.
  struct Snapshot {
    int state = 0;
    KQ::KQEndPointStatistics port;
    bool isConnected = false;
    std::vector<PDOInfo> pdos;
  };

  void registerFiles();
  void registerQuestions();
  std::string getDescription() const;
  void answerValues(const HttpRequest& request, const HttpServer::Answer& answer);
  void readSlice(const std::shared_ptr<std::vector<const ObjectInfo*>>& objects, std::size_t first,
                 const std::shared_ptr<std::string>& text, const HttpServer::Answer& answer);
  void answerWrite(const HttpRequest& request, const HttpServer::Answer& answer);
  const ObjectInfo* findObject(const std::string& key) const;

  void addViewer(std::shared_ptr<HttpServer::Stream> stream);
  void turn();
  void lookAtVariables();
  void show(Viewer& viewer);
  std::string getChangedValues(const Viewer& viewer) const;
  std::string getNetwork() const;
  void addRow(const monitor::DecodedFrame& frame, bool sent);

  void askForSnapshot();
  void readPDOs(const std::shared_ptr<Snapshot>& next);
  void takeSnapshot(Snapshot next);

  HttpServer& server;
  LoopTasks& tasks;
  TrafficWatch& traffic;
  KQ::KQCANopen& node;
  KQ::KQDEI& dei;
  const unsigned char nodeID;
  const std::string portURI;
  const long long started;
  NodeView view;
  std::vector<Variable> variables;
  std::vector<Viewer> viewers;
  RowLog rows;
  PeriodHistory periods;
  Snapshot snapshot;
  bool isSnapshotUnderWay = false;
  bool isTurning = false;
  unsigned long long turns = 0;
  unsigned long long networkVersion = 0;
  std::string network;
};

}  // namespace panel
