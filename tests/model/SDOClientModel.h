#pragma once

#include <deque>
#include <map>
#include <string>

#include "DictionaryModel.h"
#include "SDOTransfers.h"

namespace model {

/// Writes and reads variables that live in other nodes.
class SDOClientModel {
public:
  SDOClientModel(SDOTransfers& theTransfers, DictionaryModel& theDictionary, Surroundings& theSurroundings)
      : transfers(theTransfers), dictionary(theDictionary), surroundings(theSurroundings) {}

  void readChannels();
  void nameChannel(unsigned int response, const std::string& name) { channelNames[response] = name; }
  int placeVariable(unsigned int key, unsigned int requestCOBID);

  int requestWrite(unsigned int key, int number, const std::string& text);
  int requestRead(unsigned int key);

  /// @param waitHint lowered to the time until the next confirmation is late
  void checkConfirmations(unsigned int& waitHint);
  void sendWrites();
  void sendNextRead();
  void handle(const Frame& frame);

private:
  struct Channel {
    unsigned int request;
    unsigned int response;
  };
  struct Write {
    Channel channel;
    int number;
    std::string text;
  };
  struct Read {
    Channel channel;
    unsigned int key;
  };
  struct Confirmation {
    Channel channel;
    int number;
    std::string text;
    unsigned int deadline;
    unsigned int localKey;
  };

  int findChannel(unsigned int key, Channel& channel) const;
  unsigned int remoteKeyOf(unsigned int key) const;
  void sendWrite(unsigned int key, const Write& write);
  void startSegmentedWrite(unsigned int remoteKey, const Write& write, const std::string& data);
  void confirm(const Frame& frame, unsigned int response);
  bool isSegmentedWrite(const Frame& frame, unsigned int response) const;
  void continueWrite(const Frame& frame, unsigned int response, bool started);
  void finishWrite();
  unsigned int findLocalKey(unsigned int remoteKey, unsigned int response) const;
  void writeLocal(unsigned int key, int number, const std::string& text);
  bool requestSegment();
  void takeAnswer(const Frame& frame, const Channel& channel);
  void takeExpedited(const Frame& frame);
  void takeSegment(const Frame& frame, unsigned int response);
  bool checkOwner();
  void takeAbort(const Frame& frame, unsigned int response);

  SDOTransfers& transfers;
  DictionaryModel& dictionary;
  Surroundings& surroundings;
  std::map<unsigned int, int> responses;  ///< by request COB-ID
  std::map<unsigned int, int> requests;   ///< by response COB-ID
  std::map<unsigned int, std::string> channelNames;
  std::map<unsigned int, unsigned int> servers;  ///< request COB-ID by variable
  std::map<unsigned int, Write> writes;
  std::deque<Read> reads;
  std::map<unsigned int, Confirmation> confirmations;
};

}  // namespace model
