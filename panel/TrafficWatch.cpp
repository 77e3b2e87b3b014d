#include "TrafficWatch.h"

#include <algorithm>

#include "FrameFanOut.h"
#include "HttpServer.h"
#include "LoopTasks.h"

namespace panel {

TrafficWatch::TrafficWatch(HttpServer& theServer, LoopTasks& loopTasks, FrameFanOut& frames, unsigned int bitsPerSecond)
    : server(theServer),
      tasks(loopTasks),
      fanOut(frames),
      bitRate(bitsPerSecond),
      decoder(std::make_unique<monitor::FrameDecoder>()),
      statistics(std::make_unique<monitor::NetworkStatistics>(bitRate)) {}

void TrafficWatch::keep(unsigned int ms) {
  until = std::max(until, getNow() + 1000LL * ms);
  if (!watching) {
    begin();
  }
}

// What was counted before is no beginning of what is counted now: a heartbeat was not missed because nobody looked.
void TrafficWatch::begin() {
  if (!tasks.post([this] { fanOut.add(log); })) {
    return;  // the next one who asks tries again
  }
  watching = true;
  lost = 0;
  log.clear();
  decoder = std::make_unique<monitor::FrameDecoder>(names.get());
  statistics = std::make_unique<monitor::NetworkStatistics>(bitRate);
  server.postAfter(PERIOD_MS, [this] { turn(); });
}

void TrafficWatch::end() {
  if (tasks.post([this] { fanOut.remove(log); })) {
    watching = false;
  } else {
    server.postAfter(PERIOD_MS, [this] { turn(); });
  }
}

void TrafficWatch::turn() {
  drain();
  if (getNow() >= until) {
    end();
  } else {
    server.postAfter(PERIOD_MS, [this] { turn(); });
  }
}

// No more than the log holds at a time: who else asks the server gets his turn, too.
void TrafficWatch::drain() {
  for (std::size_t taken = 0; taken < FrameLog::CAPACITY; taken += batch.size()) {
    lost += log.take(batch);
    if (batch.empty()) {
      break;
    }
    for (const ObservedFrame& frame : batch) {
      const monitor::DecodedFrame& decoded = decoder->decode(frame.microseconds, frame.message);
      statistics->add(decoded, frame.sent);
      for (const Observer& observer : observers) {
        observer(decoded, frame.sent);
      }
    }
  }
  statistics->advance(getNow());
}

void TrafficWatch::setNames(std::shared_ptr<const monitor::ObjectNames> newNames) {
  decoder = std::make_unique<monitor::FrameDecoder>(newNames.get());
  names = std::move(newNames);
}

}  // namespace panel
