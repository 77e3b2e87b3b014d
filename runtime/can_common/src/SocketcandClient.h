#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "KQBusParticipant.h"
#include "KQSocketcandServer.h"
#include "KQVirtualBus.h"

namespace KQ {

class KQEndPointManager;

/**
 * One connection of a KQSocketcandServer: a participant on its bus once it is in raw mode.
 * Everything but takeFrame belongs to the server's thread.
 */
class SocketcandClient : private KQBusParticipant {
public:
  /**
   * Greets the peer.
   * @param descriptor the connected socket, owned from now on; the manager watches it for the client
   * @param wakeDescriptor eventfd that is written to when serve() is to be called
   */
  SocketcandClient(int descriptor, std::shared_ptr<KQVirtualBus> bus, KQEndPointManager& manager, int wakeDescriptor);
  SocketcandClient(const SocketcandClient&) = delete;
  SocketcandClient& operator=(const SocketcandClient&) = delete;
  ~SocketcandClient() override;

  /// Lets the manager watch the connection.
  void watch(std::function<void(unsigned)> callback);

  /// Something happened to the connection.
  void handleEvents(unsigned events);

  /// Goes on with what had to wait: output, input held back, input that the bus had no room for.
  /// @return true: something was sent to it
  bool serve();

  /// It sends more than it may: there is a whole turn more to be taken from it, and a new turn only by takeTurn().
  bool isCrowding() const { return isCrowding_; }

  /// Lets it go on with the next turn.
  void takeTurn();

  /// A frame of it waits for another participant to have room.
  bool isWaitingForRoom() const { return waitsForRoom_; }

  /// The connection is over; the client is to be deleted.
  bool isFinished() const { return stage_ == Stage::FINISHED; }

  /// Milliseconds until serve() is wanted, -1 for not before something happens.
  int getServiceDelay() const;

private:
  enum class Stage {
    GREETED,  ///< "< hi >" was sent: waits for the name of the bus
    OPENED,   ///< waits for rawmode
    RAW,      ///< on the bus
    CLOSING,  ///< says goodbye: sends what waits, reads what still comes and ignores it
    FINISHED
  };

  void takeFrame(const KQBusFrame& frame) override;
  Room getRoom() const override;
  void stopHoldingUpUnlessTaking() override;

  bool readInput();
  void readToTheEnd();
  void processInput();
  bool handleLine(std::string_view line);
  void handleCommand(std::string_view command, std::string_view arguments);
  void handleOpen(std::string_view name);
  void enterRawMode();
  bool handleSend(std::string_view arguments);
  void consumeInput(std::size_t number);
  bool hasTurn();
  void beginTurn();

  void reply(std::string_view text);
  void refuse(std::string_view text);
  bool sendOutput();
  bool mayWrite() const;
  std::size_t nextBlock();
  bool sendBlock();
  bool refillOutput();
  void noteRoom();
  bool hasOverflowed() const;
  void hold();
  void hangUp();
  void finishClosing();
  void finish();

  bool mayProcess() const;
  bool mayRead() const;
  void updateInterest();

  const int descriptor_;
  const std::shared_ptr<KQVirtualBus> bus_;
  KQEndPointManager& manager_;
  const int wakeDescriptor_;
  Stage stage_{Stage::GREETED};
  bool isWatched_{false};
  unsigned interest_{0};

  // Input.
  std::array<char, 16384> input_;
  std::size_t inputCount_{0};
  bool waitsForRoom_{false};
  bool waitsForTurn_{false};
  bool isCrowding_{false};
  unsigned turnLeft_{KQSocketcandServer::TURN_FRAMES};  ///< frames and answers that this turn has left
  unsigned turnTick_{0};
  bool hungUp_{false};  ///< the peer is gone; what it sent before is still being worked through

  // Output: sending_ is the server's thread's, pending_ is what the bus puts in.
  std::string sending_;
  std::size_t sent_{0};
  bool isSocketFull_{false};
  bool isPaced_{false};  ///< the present block is full
  std::size_t blockSize_{0};
  unsigned blockTick_{0};
  std::string pending_;          ///< this and the rest of this group are guarded by the bus
  std::size_t unsent_{0};        ///< size of sending_ behind sent_
  bool hasOverflowed_{false};    ///< the peer does not read
  bool isWakeRequested_{false};  ///< serve() was asked for and has not come yet
  bool holdsUp_{true};
  bool isTaking_{false};  ///< something was sent since somebody last complained
  bool isDeaf_{false};    ///< nobody is there to read

  // An "< ok >" went out at holdTick_: frames wait, and the next command of a peer that is too fast.
  bool isHolding_{false};
  unsigned holdTick_{0};
  unsigned closeTick_{0};
  bool isShutDown_{false};
};

}  // namespace KQ
