#pragma once

#include <functional>
#include <memory>
#include <vector>

namespace KQ {

class KQEndPoint;
class KQEndPointListener;
class KQTimedService;

/// Waits for the ports of a process and serves them: the one place where its protocol thread sleeps.
///
/// All operations but wake() belong to the thread that calls wait(); they may be called from inside
/// a callback, also to remove what is just being called. The manager owns nothing that is added to it.
class KQEndPointManager {
public:
  /// Called with the epoll events that a descriptor has (EPOLLIN, EPOLLOUT, EPOLLERR, EPOLLHUP...).
  using DescriptorCallback = std::function<void(unsigned)>;

  /// How many frames an end point gives its listener in one wait. A bus that is faster than its reader would else be
  /// read for ever, and nothing else be done: no heartbeat, no time-out. 128 frames take a bus of 1 Mbit/s 6 ms at
  /// least.
  static constexpr unsigned FRAMES_PER_WAIT = 128;

  KQEndPointManager();
  KQEndPointManager(const KQEndPointManager&) = delete;
  KQEndPointManager& operator=(const KQEndPointManager&) = delete;

  /// Lets go of everything that was added. Not from inside a callback.
  ~KQEndPointManager();

  /// Serves an end point from now on: tells the listener of waiting frames and of the port going and
  /// coming, retries frames that the port did not take, and lets it reconnect.
  /// @param endPoint stays the caller's, and is to be removed (or deleted) before its listener goes
  /// @param listener stays the caller's; null: frames are not announced, the port is served all the same
  /// @return 0 done; 20 null, or the descriptor cannot be waited for; 25 a manager has this end point already
  int addEndPoint(KQEndPoint* endPoint, KQEndPointListener* listener);

  /// Serves it no longer; no callback for it comes after this. @return 0 done; 23 it was not added here
  int removeEndPoint(KQEndPoint* endPoint);

  /// Watches any other descriptor, level-triggered.
  /// @param descriptor stays the caller's; to be removed before it is closed
  /// @param events the epoll events to watch for (EPOLLIN, EPOLLOUT); errors and hang-up are always told
  /// @param callback what to call
  /// @return 0 done; 20 no callback, or not a descriptor that can be waited for; 25 it is watched already
  int addDescriptor(int descriptor, unsigned events, DescriptorCallback callback);

  /// Watches for other events from now on. @return 0 done; 20 not a descriptor; 23 it was not added
  int modifyDescriptor(int descriptor, unsigned events);

  /// Watches it no longer. @return 0 done; 23 it was not added
  int removeDescriptor(int descriptor);

  /// Calls service() whenever the delay that it names is over. @return 0 done; 20 null; 25 it was added already
  int addService(KQTimedService* service);

  /// @return 0 done; 23 it was not added
  int removeService(KQTimedService* service);

  /// Waits once, until something is ready or the time is over, and serves all that is ready then, of each end point
  /// FRAMES_PER_WAIT frames at most. Returns earlier, possibly with 0, when a retry or a reconnect was due, or for a
  /// signal.
  /// @param timeoutMs longest wait in milliseconds; 0 does not wait, -1 waits without end
  /// @return the number of end points and descriptors whose callback was called
  int wait(int timeoutMs);

  /// Makes a wait that is going on, or else the next one, return at once. Any thread.
  void wake();

private:
  struct Entry;

  template <class Predicate>
  Entry* find(Predicate predicate) const;
  Entry* findDescriptor(int descriptor) const;
  int insert(std::unique_ptr<Entry> entry, unsigned events);
  void erase(Entry& entry);
  void deleteErased();
  bool watch(Entry& entry, unsigned events);
  void unwatch(Entry& entry);
  int prepare(int timeoutMs);
  int prepareEndPoint(Entry& entry, bool polled);
  int serveEvents(int timeoutMs);
  int serve(Entry& entry, unsigned events);
  int announceFrames(Entry& entry);
  int serveUnasked();
  static void reportTransitions(Entry& entry);

  int epoll{-1};
  int wakeDescriptor{-1};
  std::vector<std::unique_ptr<Entry>> entries;  ///< those that are erased stay until no wait goes on
  bool hasErased{false};
  int waits{0};  ///< that are going on: a callback may wait too
};

}  // namespace KQ
