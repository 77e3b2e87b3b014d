#pragma once

#include <map>
#include <string>

#include "DictionaryModel.h"
#include "SDOTransfers.h"

namespace model {

/// Lets masters read and write the dictionary.
class SDOServerModel {
public:
  SDOServerModel(SDOTransfers& theTransfers, DictionaryModel& theDictionary, Surroundings& theSurroundings)
      : transfers(theTransfers), dictionary(theDictionary), surroundings(theSurroundings) {}

  void readChannels();
  void handle(const Frame& frame);

private:
  struct Channel {
    unsigned int request;
    unsigned int response;
  };

  void startDownload(const Frame& frame, const Channel& channel);
  void downloadExpedited(const Frame& frame, const Channel& channel, bool sizeIndicated);
  int writeNumber(const Frame& frame, unsigned int key, int type, bool sizeIndicated);
  void takeSegment(const Frame& frame, const Channel& channel);
  void upload(unsigned int key, const Channel& channel);
  void uploadText(unsigned int key, const Channel& channel);
  void uploadNumber(unsigned int key, int type, const Channel& channel);
  void sendSegment(const Frame& frame, const Channel& channel);
  void endUpload();

  SDOTransfers& transfers;
  DictionaryModel& dictionary;
  Surroundings& surroundings;
  std::map<unsigned int, int> channels;
};

}  // namespace model
