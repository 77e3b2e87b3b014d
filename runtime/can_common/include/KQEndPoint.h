#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "KQCANMessage.h"
#include "KQEndPointStatistics.h"
#include "KQErrorCodes.h"
#include "KQFrameObserver.h"
#include "KQReceptionFilter.h"
#include "KQTimedService.h"

namespace KQ {

class KQEndPointManager;

/// A node's access to a CAN port: frames are read from it and written to it, one at a time, without waiting.
///
/// Reading belongs to one thread, the one in KQEndPointManager::wait (or the one that polls, when there
/// is no manager). Writing is allowed from any thread; frames leave in the order of the writes.
/// Only CAN 2.0A data frames (11-bit identifier, at most 8 bytes) pass in either direction.
class KQEndPoint : public KQTimedService {
public:
  KQEndPoint(const KQEndPoint&) = delete;
  KQEndPoint& operator=(const KQEndPoint&) = delete;

  /// Closes the port. An end point that a manager still has is removed from it. Manager's thread; no writer may be
  /// inside.
  ~KQEndPoint() override;

  /// Takes the oldest waiting frame.
  /// @param message receives the frame (its flags are 0); unchanged unless 0 is returned
  /// @return 0 a frame was read; 5 none is waiting, or the manager's wait has served enough of them (the next one goes
  ///   on); 10 the port is not open or down
  int readMessage(KQCANMessage& message) {
    if (readsLeft_ == 0) {
      return KQ_NO_DATA;
    }
    --readsLeft_;
    const int result = doRead(message);
    if (result == KQ_OK) {
      count(counters_.received);
      report(message, false);
    }
    return result;
  }

  /// Queues a frame for sending, behind those written before it.
  /// @param message the frame; copied
  /// @return 0 queued (and sent as soon as the port can); 10 the port is not open or down; 17 the transmit queue
  ///   is full; 20 not a data frame with an 11-bit identifier (0..0x7FF) and at most 8 bytes
  int writeMessage(const KQCANMessage& message) {
    const int result = isClassicFrame(message) ? doWrite(message) : KQ_INVALID_ARGUMENT;
    if (result == KQ_OK) {
      count(counters_.sent);
      report(message, true);
    } else {
      count(counters_.refused);
    }
    return result;
  }

  /// A descriptor for epoll or poll, level-triggered: readable when frames wait. It stays the same for the life
  /// of the end point, also over reconnects. Frames may have been taken from it in a batch: read until 5.
  /// @return the descriptor, -1 when the port has none
  [[nodiscard]] virtual int getDescriptor() const { return -1; }

  /// True while frames wait for the descriptor to become writable; flush() is to be called when it is. Any thread.
  [[nodiscard]] virtual bool wantsWritable() const { return false; }

  /// Hands waiting frames to the port, as many as it takes. Any thread; KQEndPointManager::wait does it by itself.
  /// @return 0 nothing is left; 5 frames are still waiting; 10 the port is down (nothing is kept)
  virtual int flush() { return KQ_OK; }

  /// True when frames were taken from the descriptor already and wait to be read: it need not be readable then.
  /// Manager's thread.
  [[nodiscard]] virtual bool hasBufferedFrames() const { return false; }

  /// Called by the manager when its descriptor is readable, before the listener is told. Manager's thread.
  /// @return true when the listener is to be told that frames wait
  virtual bool prepareRead() { return true; }

  /// False while the port is down. Any thread.
  [[nodiscard]] virtual bool isConnected() const { return (getTransitions() & 1U) == 0; }

  /// The URI that this end point was opened with, as in "virtual:bus0". Any thread.
  [[nodiscard]] const std::string& getURI() const { return uri_; }

  /// Puts in the one observer of the frames that pass, in place of the one before.
  /// While there is one, every frame is handed out, whatever setReceptionFilter() says.
  /// @param observer not owned, must outlive its use here; null: none. Any thread.
  void setFrameObserver(KQFrameObserver* observer);

  /// Says which frames are wanted: no others need be handed out, or wake anybody. Takes effect before it returns: a
  /// frame that arrives afterwards is judged by the new filter, one that waits already is handed out. A port that
  /// cannot filter, or not so finely, hands out more.
  /// @param filter copied; null: every frame, as at the start. Any thread.
  virtual void setReceptionFilter(const KQReceptionFilter* filter);

  /// Whether it has been told of any but every frame. Any thread.
  [[nodiscard]] bool hasReceptionFilter() const { return isFiltered_.load(std::memory_order_relaxed); }

  /// A snapshot of the counters. Any thread.
  [[nodiscard]] virtual KQEndPointStatistics getStatistics() const;

  int getServiceDelay() const override { return -1; }
  void service() override {}

protected:
  /// Counts from any thread, and wraps.
  using Counter = std::atomic<unsigned>;

  /// The counters of KQEndPointStatistics that an end point keeps itself, countable from any thread.
  struct Counters {
    /// Each is the one of the same name in KQEndPointStatistics.
    Counter received{0};
    Counter sent{0};
    Counter refused{0};
    Counter dropped{0};
    Counter overruns{0};
    Counter discarded{0};
    Counter unacknowledged{0};
    Counter errorFrames{0};
    Counter errorPassive{0};
    Counter busOff{0};
  };

  /// A port that is up, without listener. @param uri what the port is called in messages
  explicit KQEndPoint(std::string uri);

  /// readMessage's work: 0, 5 or 10. An implementation sets identifier, length, data and flags on 0, and nothing else.
  virtual int doRead(KQCANMessage& message) = 0;

  /// writeMessage's work on a frame that was found valid: 0, 10 or 17. Called from any thread.
  virtual int doWrite(const KQCANMessage& message) = 0;

  /// Lets only the wanted frames in from now on, as far as the port can; null: every frame. Calls do not overlap; any
  /// thread.
  virtual void doSetFilter(const KQReceptionFilter* /*filter*/) {}

  /// doSetFilter() with what is wanted at the moment, for a port that has lost it.
  void applyFilter();

  /// Records that the port went down or came back. A change prints one line on standard error, and the
  /// manager's thread reports it to the listener. Any thread.
  /// @param connected the state from now on; the present one changes nothing
  /// @param reason what happened, as in "interface is down"; printed behind the URI
  void setConnected(bool connected, const char* reason);

  /// Prints a line about this port on standard error: the URI, a colon and the text. Any thread.
  void printLine(const char* text) const;

  /// Makes the manager look at this end point's delays and wishes again. Any thread.
  void wakeManager() const;

  /// Adds to a counter. Any thread.
  static void count(Counter& counter, unsigned number = 1) { counter.fetch_add(number, std::memory_order_relaxed); }

  // The underscore leaves the plain names to the classes that are made of this.
  // NOLINTBEGIN(readability-identifier-naming)
  Counters counters_;  ///< what getStatistics() shows
  // NOLINTEND(readability-identifier-naming)

private:
  friend class KQEndPointManager;

  /// Number of times the port went down or came back, together: odd while it is down. Any thread.
  unsigned getTransitions() const { return transitions_.load(std::memory_order_acquire); }

  /// More than there will ever be.
  static constexpr std::uint64_t NO_LIMIT = ~std::uint64_t{0};

  static bool isClassicFrame(const KQCANMessage& message) { return message.identifier <= 0x7FF && message.length <= 8; }

  void report(const KQCANMessage& message, bool sent) {
    KQFrameObserver* observer = observer_.load(std::memory_order_acquire);
    if (observer != nullptr) {
      observer->frameTransferred(message, sent);
    }
  }

  // The underscore leaves the plain names to the classes that are made of this.
  // NOLINTBEGIN(readability-identifier-naming)
  const std::string uri_;
  std::atomic<KQFrameObserver*> observer_{nullptr};
  std::atomic<KQEndPointManager*> manager_{nullptr};
  std::atomic<unsigned> transitions_{0};
  std::atomic<bool> isFiltered_{false};
  std::mutex filterMutex_;
  std::optional<KQReceptionFilter> filter_;  ///< guarded by the mutex; none: every frame is wanted
  std::uint64_t readsLeft_{NO_LIMIT};        ///< in this wait of the manager; the reading thread's
  // NOLINTEND(readability-identifier-naming)
};

}  // namespace KQ
