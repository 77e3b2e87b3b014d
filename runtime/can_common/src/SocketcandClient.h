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

/// One connection of a KQSocketcandServer: a participant on its bus once it is in raw mode.
/// Everything but takeFrame belongs to the server's thread.
class SocketcandClient : private KQBusParticipant {
public:
  /// Greets the peer.
  /// @param connection the connected socket, owned from now on; the manager watches it for the client
  /// @param descriptorToWake eventfd that is written to when serve() is to be called
  SocketcandClient(int connection, std::shared_ptr<KQVirtualBus> joinedBus, KQEndPointManager& endPointManager,
                   int descriptorToWake);
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
  bool isCrowding() const { return crowding; }

  /// Lets it go on with the next turn.
  void takeTurn();

  /// A frame of it waits for another participant to have room.
  bool isWaitingForRoom() const { return waitsForRoom; }

  /// The connection is over; the client is to be deleted.
  bool isFinished() const { return stage == Stage::FINISHED; }

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

  const int descriptor;
  const std::shared_ptr<KQVirtualBus> bus;
  KQEndPointManager& manager;
  const int wakeDescriptor;
  Stage stage{Stage::GREETED};
  bool isWatched{false};
  unsigned interest{0};

  // Input.
  std::array<char, 16384> input;
  std::size_t inputCount{0};
  bool waitsForRoom{false};
  bool waitsForTurn{false};
  bool crowding{false};
  unsigned turnLeft{KQSocketcandServer::TURN_FRAMES};  ///< frames and answers that this turn has left
  unsigned turnTick{0};
  bool hungUp{false};  ///< the peer is gone; what it sent before is still being worked through

  // Output: sending is the server's thread's, pending is what the bus puts in.
  std::string sending;
  std::size_t sent{0};
  bool isSocketFull{false};
  bool isPaced{false};  ///< the present block is full
  std::size_t blockSize{0};
  unsigned blockTick{0};
  std::string pending;          ///< this and the rest of this group are guarded by the bus
  std::size_t unsent{0};        ///< size of sending behind sent
  bool overflowed{false};       ///< the peer does not read
  bool isWakeRequested{false};  ///< serve() was asked for and has not come yet
  bool holdsUp{true};
  bool isTaking{false};  ///< something was sent since somebody last complained
  bool isDeaf{false};    ///< nobody is there to read

  // An "< ok >" went out at holdTick: frames wait, and the next command of a peer that is too fast.
  bool isHolding{false};
  unsigned holdTick{0};
  unsigned closeTick{0};
  bool isShutDown{false};
};

}  // namespace KQ
