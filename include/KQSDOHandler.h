#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <string>
#include <unordered_set>

#include "KQCANopenDataType.h"
#include "KQCANopenMessageHandler.h"
#include "SDODownloadRequestParameter.h"
#include "SDODownloadResponseStorage.h"
#include "internal/KQReusingMap.h"

namespace KQ {

class KQCANopenStateMachine;
class KQDEI;
class KQMutex;
class KQSignalListener;
struct ObjectDictionarySubEntry;

/// Guard the client's write queue and read queue. Process-wide, shared by all instances, created when the library is
/// loaded.
extern KQMutex* const sdoDownloadResponseLocker;
extern KQMutex* const sdoUploadRequestLocker;

/// SDO server and SDO client of the node (CiA 301 SDO protocol, expedited and segmented; no block transfer).
///
/// As server it answers on the channels of 0x1200 to 0x127F, as client it talks to the servers of 0x1280 to 0x12FF.
/// Both roles together have one upload slot and one download slot: a second segmented transfer of the same direction
/// takes the slot over. Every operation belongs to the protocol thread, except the application's requests
/// (handleUpdateRequest, handleGetValueRequest), which may come from any thread.
class KQSDOHandler : public KQCANopenMessageHandler {
public:
  KQSDOHandler() = default;
  KQSDOHandler(const KQSDOHandler&) = delete;
  KQSDOHandler& operator=(const KQSDOHandler&) = delete;

  /// Whose state says whether SDO is served. Not owned; null: it is not.
  void setStateMachine(KQCANopenStateMachine* machine) { stateMachine = machine; }
  /// Receives SDO events (type 6, code 1103); null removes it. Not owned.
  void setSDOEventListener(KQSignalListener* listener) { sdoEventListener = listener; }

  /// Reads the channels from the dictionary. A channel once read stays until it is overwritten.
  /// @return 0; 10 without dictionary
  int init();

  /// @return 20 for null, without state machine and in STOPPED; 11 when the COB-ID is no enabled channel; 0 when a
  ///   server channel took the frame; for a client channel the result of the client's step
  int handleMessage(KQCANMessage* message) override;

  // ---- server

  /// Expedited download: checks size and range, writes the object and answers.
  /// @param sizeIndicated,n the s bit and the number of unused data bytes (0 to 3)
  /// @return the dictionary's result (0 and 25 are successes); 23 unknown object; 1 wrong size; 0x06090030; 10 without
  ///   dictionary (no answer)
  int handleExpeditedSDODownloadRequest(unsigned short index, unsigned char subIndex, bool sizeIndicated,
                                        unsigned char n, unsigned int responseCOBID, unsigned char d0, unsigned char d1,
                                        unsigned char d2, unsigned char d3);

  /// Opens a segmented download. @return 1; 0x08000000 without dictionary, 0x06090011 for an unknown object (both
  ///   without an answer); for an indicated size below 5 as the expedited download
  int handleSegmentedSDODownloadRequest(unsigned short index, unsigned char subIndex, bool sizeIndicated,
                                        unsigned char n, unsigned int responseCOBID, unsigned int requestCOBID,
                                        unsigned char d0, unsigned char d1, unsigned char d2, unsigned char d3);

  /// Takes one segment of a download; the last one writes the object. One COB-ID of the transfer's is enough. A segment
  /// that would make the download longer than KQCANopen::getSDOTransferLimit() ends it with abort 0x05040005.
  /// @param command the frame's command byte; d1 to d7 its data bytes
  /// @return 0, also for a segment of another channel, which is ignored; the code of the failed transmission or write;
  ///   10 without dictionary
  int handleSegmentedSDODownloadSegment(unsigned int responseCOBID, unsigned int requestCOBID, unsigned char command,
                                        unsigned char d1, unsigned char d2, unsigned char d3, unsigned char d4,
                                        unsigned char d5, unsigned char d6, unsigned char d7);

  /// Answers an upload request, expedited or by opening a segmented upload.
  /// @return the code of the transmission; 10 without dictionary (no answer)
  int sendUploadResponse(unsigned short index, unsigned char subIndex, unsigned int responseCOBID,
                         unsigned int requestCOBID);

  /// Opens a segmented upload of @p data. @return 0; the code of the failed transmission (then nothing is opened)
  int sendInitiateSegmentedUploadResponse(unsigned short index, unsigned char subIndex, unsigned int responseCOBID,
                                          unsigned int requestCOBID, const std::string& data);

  /// Sends the next segment of the upload. @param toggle 0 or 1. @return the code of the transmission
  int handleSDOUploadSegmentRequest(unsigned int responseCOBID, unsigned short requestCOBID, int toggle);

  /// Fits a received value to the entry's type. @param value in: zero-extended; out: sign-extended when the type is
  ///   signed. @return 0; 24 when it does not fit; 10 without dictionary
  int updateValueAccordingToDataType(unsigned short index, unsigned char subIndex, int& value);

  /// Sends an abort. @param abortCode CiA 301 SDO abort code. @return 10 without port; else the code of the
  ///   transmission
  int sendSDOAbort(unsigned short index, unsigned char subIndex, unsigned int cobID, unsigned int abortCode);

  /// How many transfers were ended because they would have become longer than the limit: downloads of masters and
  /// answers of servers. Counts on over the wrap. Any thread.
  [[nodiscard]] unsigned int getRefusedTransferCount() const { return refusedTransfers; }

  /// Aborts transfers that have been silent for longer than the instance's SDO timeout, under the object that their
  /// partner knows: a master's upload under the one that the master named, the client's read under the remote key.
  /// @param nextDue lowered to the ms until the next pending confirmation is due; may be null
  void checkSDOTimeouts(unsigned int* nextDue);

  // ---- client

  /// Binds a local variable to the remote server with that request COB-ID. @return 0
  int addVariableSDOServerMapping(unsigned short index, unsigned char subIndex, unsigned int requestCOBID);

  /// Queues the write of a remote variable; a newer write replaces a queued one. Any thread.
  /// @return 0; 23 without server or channel; 7 when the channel is disabled
  int handleUpdateRequest(unsigned int key, int value);
  int handleUpdateRequest(unsigned int key, const std::string& value);

  /// Queues the read of a remote variable. One that waits in the queue for the same server is not queued again: its
  /// answer is the newer one's, too. Any thread. @return as handleUpdateRequest()
  int handleGetValueRequest(unsigned int key);

  /// How many reads were not queued because one of the same variable was waiting. Counts on over the wrap. Any thread.
  [[nodiscard]] unsigned int getJoinedReadCount() const { return joinedReads; }

  /// Sends every queued write, in the order of the keys, without waiting for confirmations.
  void sendQueuedDownloadRequests();

  /// Sends the next queued read when none is in flight.
  void sendNextQueuedUploadRequest();

  /// Sends one write to the server of a remote variable; the local entry changes with the confirmation.
  /// The type of the local entry, looked up now, says whether @p value or @p stringValue goes out, and how much of it.
  /// @param dataType what the request was made for (DATA_TYPE_VISIBLE_STRING for a text, DATA_TYPE_NONE for a number of
  ///   any type); it decides nothing, since the entry may have become another one while the request was queued
  /// @return 0; 10 without port or dictionary and for every segmented transfer, begun or not; 23 when the dictionary
  ///   has no such entry, or one without a type; 6 for a bound variable without a remote key; 0x06070010 for a type
  ///   without a size; the code of the failed transmission
  int sendSDODownloadRequest(unsigned int key, unsigned int responseCOBID, unsigned int requestCOBID, int value,
                             const std::string& stringValue, int dataType);

  /// Sends one read. @return 3 without port or dictionary; else the code of the transmission
  int sendSDOUploadRequest(unsigned int key, unsigned int responseCOBID, unsigned int requestCOBID);

  /// Requests the next segment of the upload. @return the code of the transmission
  int sendUploadSDOSegmentRequest(unsigned int cobID);

  // Steps of the client, each for one frame of a server. responseCOBID is the frame's COB-ID, requestCOBID the one on
  // which this node sends. A frame that is not expected now gives 8.

  /// Opens a segmented upload or takes an expedited one. @return 8; the code of the next step
  int handleSDOUploadResponse(const KQCANMessage& message, unsigned int responseCOBID, unsigned int requestCOBID);

  /// Stores an expedited upload.
  /// @return 10 before init(); 24 too many bytes; 15 wrong size; 30 not this node's variable (the upload then ends by
  ///   its time-out); 0x06090030 does not fit; 0x05040005 beyond KQCANopen::getSDOTransferLimit(), which the server
  ///   is told and which ends the upload; the result of the write
  int handleExpeditedSDOUploadResponse(const KQCANMessage& message);

  /// Takes a segment of an upload; the last one is stored.
  /// @return 0; 8; 7 when the next segment could not be requested; 30; 0x05040005 as above; the result of the write
  int handleSegmentedSDOUploadSegment(const KQCANMessage& message, unsigned int responseCOBID,
                                      unsigned int requestCOBID);

  /// A download is confirmed: only now the local entry takes the value.
  /// @return 23 nothing pending; 15 another channel; 29 the local entry has no type; the result of the write
  int handleSDODownloadResponse(unsigned short index, unsigned char subIndex, unsigned int cobID);

  /// Sends the next segment of a download, or ends it. The answer to the last segment is taken from any channel; a
  /// variable is looked for on that one.
  /// @return 8; 0x08000000 when no variable belongs to the object; the code of the transmission or of the write
  int handleSegmentedSDODownloadSegmentResponse(const KQCANMessage& message, unsigned int responseCOBID,
                                                unsigned int requestCOBID);

  /// The server aborts: what runs on its channel ends. @return 0
  int handleSDOAbortMessage(unsigned short index, unsigned char subIndex, unsigned int cobID);

private:
  friend class KQCANopenStateMachine;

  /// Whether a transfer is under way or requested: only then a cycle has something to do here.
  bool hasWork() const { return isTransferPending() || hasDownloadRequests || hasUploadRequests; }

  /// @return ms until a request is to be sent (0: there is one) or a transfer times out, as it stands; 0xFFFFFFFF:
  /// never
  unsigned int getTimeToNextWork(unsigned int now) const;

  /// One transfer of either role. The names are those of the server side, so that in both roles the response COB-ID is
  /// the one that this node sends on; only for the client's upload it is the one that the server answers on.
  struct Transfer {
    /// @param key object key: of the local entry for an upload, else as on the bus
    static Transfer begin(unsigned int key, unsigned int requestCOBID, unsigned int responseCOBID, unsigned int size);
    unsigned int key() const;
    unsigned int remaining() const { return size - offset; }

    unsigned int requestCOBID = 0;
    unsigned int responseCOBID = 0;  ///< of the upload: non-zero also marks a pending one of the client
    unsigned short index = 0;
    unsigned char subIndex = 0;
    unsigned int size = 0;    ///< bytes of the whole
    unsigned int offset = 0;  ///< bytes sent so far
    unsigned int toggle = 0;
    unsigned int tick = 0;     ///< of the last step, in ms
    bool inProgress = false;   ///< segments are under way
    bool isClient = false;     ///< this node asked for it
    bool isConfirmed = false;  ///< the client has sent its last segment: the next answer confirms the whole
  };

  // Channels and dispatch.
  void readChannels(unsigned short first, unsigned short last, std::map<unsigned int, int>& byRequest,
                    std::map<unsigned int, int>* byResponse);
  void handleServerMessage(const KQCANMessage& message, unsigned int requestCOBID, unsigned int responseCOBID);
  int handleClientMessage(const KQCANMessage& message, unsigned int responseCOBID, unsigned int requestCOBID);

  // What both roles need.
  void prepareFrame(unsigned int cobID, unsigned char command, unsigned int key);
  int sendFrame(unsigned int cobID, unsigned char command, unsigned int key, unsigned int number);
  int sendExpedited(unsigned int cobID, unsigned char command, unsigned int key, unsigned int data,
                    unsigned int length);
  int sendSegment(Transfer& transfer, const std::string& data);
  int abortDownload(unsigned int abortCode);
  bool takeBytes(std::string& data, const unsigned char* bytes, std::size_t count);
  void signalSDOEvent(unsigned int key, bool clientTransfer);
  KQCANopenDataType localDataTypeOf(unsigned int key) const;
  unsigned int remoteKeyOf(unsigned int localKey) const;

  // Server.
  void handleDownloadRequest(const KQCANMessage& message, unsigned int requestCOBID, unsigned int responseCOBID);
  int downloadNumber(unsigned int key, ObjectDictionarySubEntry& subEntry, unsigned int responseCOBID,
                     unsigned int indicatedSize, unsigned int data);
  int answerDownload(unsigned int key, unsigned int responseCOBID, int writeResult);
  int finishDownload();
  int sendStringUploadResponse(unsigned short index, unsigned char subIndex, unsigned int responseCOBID,
                               unsigned int requestCOBID);
  int sendNumberUploadResponse(unsigned int key, ObjectDictionarySubEntry& subEntry, unsigned int responseCOBID);
  int abortUpload(unsigned int cobID, unsigned int abortCode);
  void endUpload();

  // Time-outs.
  bool isTransferPending() const {
    return upload.inProgress || download.inProgress || upload.responseCOBID != 0 || !downloadResponses.empty();
  }
  bool isTimedOut(unsigned int now, unsigned int lastStep) const;
  unsigned int timeToTimeout(unsigned int now, unsigned int lastStep) const;
  void checkConfirmationTimeouts(unsigned int now, unsigned int* nextDue);
  void checkDownloadTimeout(unsigned int now);
  void checkUploadTimeout(unsigned int now);

  // Client: requests.
  void reportQueuedWork();
  int findChannel(unsigned int key, SDODownloadRequestParameter& request) const;
  int queueDownloadRequest(unsigned int key, int value, const std::string& text, unsigned int dataType);
  bool hasPortAndDictionary() const;
  int sendExpeditedDownloadRequest(const SDODownloadResponseStorage& write, bool isText, unsigned int size);
  int sendSegmentedDownloadRequest(unsigned int key, unsigned int responseCOBID, unsigned int requestCOBID,
                                   const std::string& data);

  // Client: answers.
  bool isClientDownloading() const { return download.inProgress && download.isClient; }
  int writeLocalEntry(unsigned int key, int value, const std::string& text);
  int finishClientDownload(unsigned int responseCOBID);
  bool isUploadedVariableOwned() const;
  int storeUploadedNumber(int value);
  int forceUploadedText();
  int storeUploadedText();
  int finishClientUpload();
  int refuseUpload();

  std::map<unsigned int, int> serverChannels;         ///< request COB-ID -> response COB-ID, negative = disabled
  std::map<unsigned int, int> clientRequestChannels;  ///< request COB-ID towards a server -> its response COB-ID
  std::map<unsigned int, int> clientChannels;         ///< response COB-ID of a server -> request COB-ID towards it
  std::map<unsigned int, unsigned int> variableSDOServerMappings;            ///< local key -> request COB-ID
  KQReusingMap<unsigned int, SDODownloadResponseStorage> downloadResponses;  ///< by remote key
  KQReusingMap<unsigned int, SDODownloadRequestParameter> downloadRequests;  ///< queued writes, by local key
  std::deque<SDODownloadRequestParameter> uploadQueue;                       ///< queued reads, oldest first
  std::unordered_set<unsigned long long> queuedReads;  ///< what is in it: request COB-ID, local key
  std::atomic<unsigned int> joinedReads{0};
  std::atomic<unsigned int> refusedTransfers{0};
  std::atomic<bool> hasDownloadRequests{false};  ///< whether writes are queued, known without their lock
  std::atomic<bool> hasUploadRequests{false};
  KQCANopenStateMachine* stateMachine = nullptr;
  KQDEI* dei = nullptr;
  KQSignalListener* sdoEventListener = nullptr;

  // One slot for each direction. Its bytes stay beside it, so that they keep their memory.
  Transfer upload;
  Transfer download;
  std::string uploadData;
  std::string downloadData;
  std::string uploadText;  ///< the text that was read last for an upload
};

}  // namespace KQ
