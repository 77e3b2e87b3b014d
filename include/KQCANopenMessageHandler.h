#pragma once

#include <typeinfo>

#include "KQCANMessage.h"
#include "internal/KQServedCOBIDs.h"

namespace KQ {

class KQCANopen;
class KQCANopenObjectDictionary;
class KQEmergencyHandler;

/// The base of the five protocol handlers: one outgoing frame that the handler fills in place and sends, and the
/// one contract by which received frames are offered. Every operation belongs to the protocol thread, unless a
/// handler says otherwise.
class KQCANopenMessageHandler {
public:
  KQCANopenMessageHandler();

  /// A copy shares dictionary, emergency handler and instance, and starts with a fresh outgoing frame. What the other
  /// has declared to serve is not its own: it is offered every frame until it declares something itself.
  KQCANopenMessageHandler(const KQCANopenMessageHandler& other);
  /// Assignment takes over the outgoing frame, too; else as a copy. To itself, it changes nothing.
  KQCANopenMessageHandler& operator=(const KQCANopenMessageHandler& other);

  virtual ~KQCANopenMessageHandler() = default;

  /// Offers a received frame.
  /// @return 11 when the handler does not serve the frame: the next handler is asked; any other code when it took
  ///   the frame (0: handled well)
  virtual int handleMessage(KQCANMessage* message) = 0;

  /// Stores a back pointer; nothing is owned.
  void setObjectDictionary(KQCANopenObjectDictionary* dictionary) { objectDictionary = dictionary; }
  void setEmergency(KQEmergencyHandler* handler) { emergencyHandler = handler; }
  void setCANopenInstance(KQCANopen* canopen) { instance = canopen; }

  /// Sends the outgoing frame through the instance's CAN port, trying up to 26 times without waiting; the frame
  /// itself stays as it is. A final failure is reported on standard error.
  /// @return 0; 10 without a port; else the code with which the port refused the last attempt
  int sendCANMessage();

protected:
  /// Begins the declaration of the identifiers that the handler serves: add() them to what this returns. Whoever adds a
  /// service to a handler adds its identifiers here, wherever the service's COB-IDs are read from the dictionary.
  /// @param declarer the class that speaks. A class derived from it may serve more, and is offered every frame as long
  ///   as it was not the last to declare
  KQServedCOBIDs& declareServedCOBIDs(const std::type_info& declarer);

  /// The frame that sendCANMessage() sends; only for the thread that fills it.
  KQCANMessage outgoingMessage;
  /// What the setters of the same names were given; null before. Not owned.
  KQCANopenObjectDictionary* objectDictionary = nullptr;
  KQEmergencyHandler* emergencyHandler = nullptr;
  KQCANopen* instance = nullptr;

private:
  friend class KQFrameDispatch;

  /// The identifiers of the frames that the handler serves, as it has declared them itself.
  /// @return null: it has declared none, and is offered every frame
  const KQServedCOBIDs* getServedCOBIDs() const;

  KQServedCOBIDs servedCOBIDs;
  const std::type_info* declaringClass = nullptr;
};

}  // namespace KQ
