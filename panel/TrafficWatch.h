#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "DecodedFrame.h"
#include "FrameDecoder.h"
#include "FrameLog.h"
#include "NetworkStatistics.h"
#include "ObjectNames.h"

namespace panel {

class FrameFanOut;
class HttpServer;
class LoopTasks;

/// Watches the traffic of the node's CAN port for those who ask by HTTP, and only while there are any: a frame that
/// nobody looks at is to wake nobody. The protocol thread only puts frames aside; they are decoded and counted on the
/// server's thread, to which all operations belong but the constructor.
class TrafficWatch {
public:
  using Observer = std::function<void(const monitor::DecodedFrame&, bool sent)>;

  /// How often frames are taken over while somebody looks.
  static constexpr unsigned int PERIOD_MS = 100;

  /// All must outlive the watch, and the watch the frames' fan-out being used.
  /// @param bitsPerSecond of the bus in bit/s. Protocol thread
  TrafficWatch(HttpServer& theServer, LoopTasks& loopTasks, FrameFanOut& frames, unsigned int bitsPerSecond);
  TrafficWatch(const TrafficWatch&) = delete;
  TrafficWatch& operator=(const TrafficWatch&) = delete;

  /// Watches from now on for at least that long.
  void keep(unsigned int ms);

  bool isWatching() const { return watching; }

  /// Who is told of each frame. Before the server is started.
  void addObserver(Observer observer) { observers.push_back(std::move(observer)); }

  /// Names for the frames to come.
  void setNames(std::shared_ptr<const monitor::ObjectNames> newNames);

  /// Takes over what was observed until now, as it happens every PERIOD_MS anyway.
  void drain();

  /// What was seen since the watch began: it begins anew when it had ended.
  const monitor::NetworkStatistics& getStatistics() const { return *statistics; }
  /// Frames that nobody had time for, since the watch began.
  unsigned long long getLost() const { return lost; }
  /// Microseconds of the frames' clock.
  long long getNow() const { return log.getNow(); }

private:
  void begin();
  void end();
  void turn();

  HttpServer& server;
  LoopTasks& tasks;
  FrameFanOut& fanOut;
  const unsigned int bitRate;
  FrameLog log;
  std::vector<Observer> observers;
  std::shared_ptr<const monitor::ObjectNames> names;
  std::unique_ptr<monitor::FrameDecoder> decoder;
  std::unique_ptr<monitor::NetworkStatistics> statistics;
  std::vector<ObservedFrame> batch;
  unsigned long long lost = 0;
  long long until = 0;  ///< of the frames' clock
  bool watching = false;
};

}  // namespace panel
