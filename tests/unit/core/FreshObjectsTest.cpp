// Covers: exported operations called directly, in any order, on objects to which nothing or anything has been given.
//
// | subject                                                                   | functional | robustness |
// |---------------------------------------------------------------------------|------------|------------|
// | handlers, state machine and dictionary: every operation on a fresh object |            | x          |
// | the same with parts that are given and taken away in any order            |            | x          |
// | the stack instance before create() and before init()                      |            | x          |
//
// What each answers alone is tested with its class; here it is that there is an answer, and no crash. The seed is
// printed; the environment variable TAVO_TEST_SEED repeats a run.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "CountedAction.h"
#include "KQCANopenInstanceManager.h"
#include "KQCANopenObjectDictionary.h"
#include "KQCANopenStateMachine.h"
#include "KQDEI.h"
#include "KQEmergencyHandler.h"
#include "KQNMTHandler.h"
#include "KQPDO.h"
#include "KQPDOHandler.h"
#include "KQSDOHandler.h"
#include "KQSignal.h"
#include "KQSyncHandler.h"
#include "KQVariable.h"
#include "SignalRecorder.h"
#include "TestNode.h"
#include "TestSeed.h"

using namespace KQ;

namespace {

using Operation = std::function<void()>;

class FreshObjects : public testing::Test {
protected:
  FreshObjects() : random(test::chooseSeed()) {}

  unsigned int below(unsigned int end) { return static_cast<unsigned int>(random() % end); }
  unsigned short index() {
    static const unsigned short INDEXES[] = {0,      5,      0x1000, 0x1001, 0x1003, 0x1005, 0x1010, 0x1014, 0x1016,
                                             0x1017, 0x1018, 0x1200, 0x1280, 0x1400, 0x1600, 0x1800, 0x1A00, 0x2001};
    return INDEXES[below(sizeof INDEXES / sizeof *INDEXES)];
  }
  unsigned char subIndex() { return static_cast<unsigned char>(below(4)); }
  unsigned int key() { return static_cast<unsigned int>(index()) << 16 | subIndex(); }
  unsigned int cobID() {
    static const unsigned int COB_IDS[] = {0, 0x80, 0x185, 0x205, 0x585, 0x605, 0x586, 0x606, 0x709, 0x80000605};
    return COB_IDS[below(sizeof COB_IDS / sizeof *COB_IDS)];
  }
  unsigned char byte() { return static_cast<unsigned char>(below(256)); }
  bool coin() { return below(2) == 0; }
  template <typename Part>
  Part* maybe(Part& part) {
    return coin() ? &part : nullptr;
  }
  KQCANMessage message() {
    KQCANMessage frame;
    frame.identifier = cobID();
    frame.length = below(9);
    for (unsigned char& data : frame.data) {
      data = byte();
    }
    return frame;
  }

  // Every operation once, in any order, on what is fresh then; and many more.
  void callAll(std::vector<Operation> operations, unsigned int rounds = 300) {
    for (unsigned int round = 0; round < rounds; ++round) {
      std::shuffle(operations.begin(), operations.end(), random);
      for (const Operation& operation : operations) {
        operation();
      }
    }
  }

  std::mt19937 random;
  test::TestNode surroundings;  // clock, working directory, output
};

TEST_F(FreshObjects, SDOHandler) {
  for (unsigned int object = 0; object < 20; ++object) {
    KQCANopen instance("fresh");
    KQCANopenObjectDictionary dictionary;
    KQCANopenStateMachine machine(nullptr);
    test::SignalRecorder listener;
    KQSDOHandler sdo;
    callAll({
                [&] { sdo.setObjectDictionary(maybe(dictionary)); },
                [&] { sdo.setStateMachine(maybe(machine)); },
                [&] { sdo.setCANopenInstance(maybe(instance)); },
                [&] { sdo.setSDOEventListener(maybe(listener)); },
                [&] { dictionary.createDataTypeEntries(); },
                [&] { sdo.init(); },
                [&] {
                  KQCANMessage frame = message();
                  sdo.handleMessage(coin() ? &frame : nullptr);
                },
                [&] {
                  sdo.handleExpeditedSDODownloadRequest(index(), subIndex(), coin(), byte() & 3U, cobID(), byte(),
                                                        byte(), byte(), byte());
                },
                [&] {
                  sdo.handleSegmentedSDODownloadRequest(index(), subIndex(), coin(), byte() & 3U, cobID(), cobID(),
                                                        byte(), byte(), byte(), byte());
                },
                [&] { sdo.handleSegmentedSDODownloadSegment(cobID(), cobID(), byte(), 1, 2, 3, 4, 5, 6, 7); },
                [&] { sdo.sendUploadResponse(index(), subIndex(), cobID(), cobID()); },
                [&] { sdo.sendInitiateSegmentedUploadResponse(index(), subIndex(), cobID(), cobID(), "some text"); },
                [&] { sdo.handleSDOUploadSegmentRequest(cobID(), 0x605, static_cast<int>(below(2))); },
                [&] {
                  int value = byte();
                  sdo.updateValueAccordingToDataType(index(), subIndex(), value);
                },
                [&] { sdo.sendSDOAbort(index(), subIndex(), cobID(), 0x08000000); },
                [&] {
                  unsigned int nextDue = 5;
                  sdo.checkSDOTimeouts(coin() ? &nextDue : nullptr);
                },
                [&] { sdo.addVariableSDOServerMapping(index(), subIndex(), cobID()); },
                [&] { sdo.handleUpdateRequest(key(), 5); },
                [&] { sdo.handleUpdateRequest(key(), "text"); },
                [&] { sdo.handleGetValueRequest(key()); },
                [&] { sdo.sendQueuedDownloadRequests(); },
                [&] { sdo.sendNextQueuedUploadRequest(); },
                [&] { sdo.sendSDODownloadRequest(key(), cobID(), cobID(), 5, "long text", 9); },
                [&] { sdo.sendSDOUploadRequest(key(), cobID(), cobID()); },
                [&] { sdo.sendUploadSDOSegmentRequest(cobID()); },
                [&] { sdo.handleSDOUploadResponse(message(), cobID(), cobID()); },
                [&] { sdo.handleExpeditedSDOUploadResponse(message()); },
                [&] { sdo.handleSegmentedSDOUploadSegment(message(), cobID(), cobID()); },
                [&] { sdo.handleSDODownloadResponse(index(), subIndex(), cobID()); },
                [&] { sdo.handleSegmentedSDODownloadSegmentResponse(message(), cobID(), cobID()); },
                [&] { sdo.handleSDOAbortMessage(index(), subIndex(), cobID()); },
                [&] { surroundings.clock.advance(below(200)); },
            },
            100);
  }
}

TEST_F(FreshObjects, NMTHandler) {
  for (unsigned int object = 0; object < 20; ++object) {
    KQCANopen instance("fresh");
    KQCANopenObjectDictionary dictionary;
    KQCANopenStateMachine machine(nullptr);
    test::SignalRecorder listener;
    KQNMTHandler nmt;
    callAll({
                [&] { nmt.setNodeID(byte()); },
                [&] { nmt.setStateMachine(maybe(machine)); },
                [&] { nmt.setObjectDictionary(maybe(dictionary)); },
                [&] { nmt.setCANopenInstance(maybe(instance)); },
                [&] { nmt.setHeartbeatProducerTime(maybe(dictionary)); },
                [&] { dictionary.createDataTypeEntries(); },
                [&] { nmt.setIgnoreBroadcastCommands(coin()); },
                [&] { nmt.sendHeartbeatMessage(static_cast<int>(below(9)) - 1); },
                [&] {
                  KQCANMessage frame = message();
                  nmt.handleMessage(coin() ? &frame : nullptr);
                },
                [&] { nmt.addHeartbeatListener(maybe(listener)); },
                [&] { nmt.addHeartbeatListner(maybe(listener), static_cast<int>(below(300)) - 10); },
                [&] { nmt.updateHeartbeatConsumerSettings(); },
                [&] { nmt.checkHeartbeatTimeouts(); },
                [&] { surroundings.clock.advance(below(200)); },
            },
            100);
  }
}

TEST_F(FreshObjects, PDOHandlerAndSyncHandler) {
  for (unsigned int object = 0; object < 20; ++object) {
    KQCANopen instance("fresh");
    KQCANopenObjectDictionary dictionary;
    KQCANopenStateMachine machine(nullptr);
    machine.setState(CANOPEN_STATE_OPERATIONAL);
    KQEmergencyHandler emergency;
    KQPDO pdo(8, TRANSMIT_ON_CHANGE, 10, 20, nullptr, PDO_TRANSMISSION_SYNC_ACYCLIC);
    KQPDOHandler pdos(nullptr);
    KQSyncHandler sync(nullptr);
    callAll({
                [&] { pdos.setStateMachine(maybe(machine)); },
                [&] { pdos.setObjectDictionary(maybe(dictionary)); },
                [&] { pdos.setSyncHandler(maybe(sync)); },
                [&] { pdos.setEmergency(maybe(emergency)); },
                [&] { pdos.setCANopenInstance(maybe(instance)); },
                [&] { sync.setStateMachine(maybe(machine)); },
                [&] { sync.setObjectDictionary(maybe(dictionary)); },
                [&] { sync.setPDOHandler(maybe(pdos)); },
                [&] { sync.setCANopenInstance(maybe(instance)); },
                [&] { dictionary.createDataTypeEntries(); },
                [&] { pdos.init(); },
                [&] { sync.init(); },
                [&] { sync.reset(); },
                [&] {
                  KQCANMessage frame = message();
                  pdos.handleMessage(coin() ? &frame : nullptr);
                  sync.handleMessage(coin() ? &frame : nullptr);
                  sync.addReceivePDO(maybe(pdo), coin() ? &frame : nullptr);
                },
                [&] { sync.addTxPDO(maybe(pdo)); },
                [&] { sync.removeTxPDO(index()); },
                [&] {
                  unsigned int waitHint = 5;
                  pdos.sendPDOs(surroundings.clock.now() + below(50), coin() ? &waitHint : nullptr);
                },
                [&] { pdos.sendPDODirectly(maybe(pdo)); },
                [&] { pdos.handleVariableChange(key(), 5); },
                [&] { pdos.checkRxTimeouts(); },
                [&] { pdos.signalPDOChange(index()); },
                [&] { delete pdos.getPDODataFromObjectDictionary(index()); },
                [&] { pdos.addInvalidPDOIndex(index()); },
                [&] {
                  pdos.setPDOAction(static_cast<int>(below(600)) - 10, coin() ? PDO_TYPE_TRANSMIT : PDO_TYPE_RECEIVE,
                                    static_cast<int>(below(4)), key());
                },
                [&] { surroundings.clock.advance(below(200)); },
            },
            100);
  }
}

TEST_F(FreshObjects, EmergencyHandler) {
  KQCANopen instance("fresh");
  KQCANopenObjectDictionary dictionary;
  KQEmergencyHandler emergency;
  callAll({
      [&] { emergency.setObjectDictionary(maybe(dictionary)); },
      [&] { emergency.setCANopenInstance(maybe(instance)); },
      [&] { dictionary.createDataTypeEntries(); },
      [&] { emergency.init(); },
      [&] { emergency.updateErrorRegister(byte(), coin()); },
      [&] { emergency.sendEmergencyMessage(byte(), byte()); },
      [&] { emergency.sendEmergencyMessage(static_cast<unsigned short>(below(0x10000))); },
      [&] { emergency.handleMessage(nullptr); },
      [&] { emergency.sendCANMessage(); },
  });
}

TEST_F(FreshObjects, StateMachine) {
  for (unsigned int object = 0; object < 20; ++object) {
    KQCANopen instance("fresh");
    KQCANopenObjectDictionary dictionary;
    dictionary.createDataTypeEntries();
    KQSDOHandler sdo;
    KQPDOHandler pdos(&instance);
    KQSyncHandler sync(&instance);
    KQNMTHandler nmt;
    KQEmergencyHandler emergency;
    test::SignalRecorder listener;
    KQCANopenStateMachine machine(coin() ? &instance : nullptr);
    callAll({
                [&] { machine.setMessageHandlers(maybe(sdo), maybe(pdos), maybe(sync), maybe(nmt), maybe(emergency)); },
                [&] { machine.setMessageHandlers(&sdo, &pdos, &sync, &nmt, &emergency); },
                [&] { machine.setObjectDictionary(maybe(dictionary)); },
                [&] { machine.setDEI(maybe(*KQDEI::instance())); },
                [&] { machine.initHandlers(); },
                [&] { machine.handleInitState(0); },
                [&] { machine.setState(static_cast<int>(below(9)) - 1); },
                [&] { machine.run(surroundings.clock.now()); },
                [&] { machine.receiveCANMessages(below(20)); },
                [&] { machine.sendCANMessages(surroundings.clock.now() + below(50)); },
                [&] { machine.pauseMachine(below(4) == 0); },
                [&] { machine.addStateListener(maybe(listener)); },
                [&] { surroundings.clock.advance(below(200)); },
            },
            50);
  }
}

TEST_F(FreshObjects, Dictionary) {
  for (unsigned int object = 0; object < 5; ++object) {
    KQCANopen instance("fresh");
    KQSDOHandler sdo;
    KQPDOHandler pdos(&instance);
    KQNMTHandler nmt;
    KQCANopenObjectDictionary dictionary;
    callAll({
                [&] { dictionary.setDEI(maybe(*KQDEI::instance())); },
                [&] { dictionary.setCANopenInstance(maybe(instance)); },
                [&] { dictionary.setSDOHandler(maybe(sdo)); },
                [&] { dictionary.setNMTHandler(maybe(nmt)); },
                [&] { dictionary.setPDOHandler(maybe(pdos)); },
                [&] { dictionary.createDataTypeEntries(); },
                [&] { dictionary.createPreDefinedConnectionSet(); },
                [&] { dictionary.addEntry(index(), OBJECT_TYPE_RECORD, "entry"); },
                [&] {
                  dictionary.addSubentry(index(), subIndex(), ACCESS_RW, static_cast<KQCANopenDataType>(below(0x48)),
                                         "sub", coin(), byte(), "text", cobID());
                },
                [&] {
                  int value = 0;
                  dictionary.getValue(index(), subIndex(), value);
                  dictionary.getValue(key(), value);
                },
                [&] {
                  std::string value;
                  dictionary.getValue(index(), subIndex(), value);
                  dictionary.getValue(key(), value);
                },
                [&] { dictionary.setValue(index(), subIndex(), byte(), coin()); },
                [&] { dictionary.setValue(index(), subIndex(), static_cast<int>(cobID()), coin()); },
                [&] { dictionary.setValue(index(), subIndex(), std::string("text"), coin()); },
                [&] { dictionary.resetValue(key()); },
                [&] { dictionary.setLimits(index(), subIndex(), byte(), byte()); },
                [&] { dictionary.isSigned(key()); },
                [&] { dictionary.getPointerToValue(index(), subIndex()); },
                [&] { dictionary.getNumberOfBytesByDatatType(static_cast<KQCANopenDataType>(below(0x50))); },
                [&] { dictionary.setSDOServerID(index(), subIndex(), cobID()); },
                [&] {
                  int value = byte();
                  dictionary.handleValueChangeRequest(index(), dictionary.getSubentry(index(), subIndex()), value,
                                                      coin());
                },
                [&] { dictionary.performReset(coin()); },
                [&] { dictionary.storeParameters("some.dcf"); },
            },
            20);
  }
}

TEST_F(FreshObjects, StackInstance) {
  for (unsigned int object = 0; object < 20; ++object) {
    test::SignalRecorder listener;
    test::CountedAction action;
    KQCANopen canopen("fresh");
    unsigned int round = 0;
    callAll({
                [&] {
                  if (++round == 30) {  // no port is bound to that number
                    canopen.create(KQDEI::instance(), nullptr, 4711, nullptr);
                  }
                },
                [&] {
                  if (round > 60 && below(10) == 0) {
                    canopen.init();
                  }
                },
                [&] { canopen.setNodeID(static_cast<unsigned char>(1 + below(127))); },
                [&] { canopen.setOption(static_cast<int>(below(8)) - 1, coin()); },
                [&] { canopen.setCANopenState(static_cast<int>(below(9)) - 1); },
                [&] { canopen.process(surroundings.clock.now()); },
                [&] { canopen.runProtocol(surroundings.clock.now()); },
                [&] { canopen.onEndPointReadable(nullptr, nullptr); },
                [&] { canopen.onEndPointReconnected(nullptr); },
                [&] { canopen.enableMessage(index(), coin()); },
                [&] { canopen.setPaused(below(4) == 0); },
                [&] {
                  KQSignal signal(6, coin() ? 1100 : 1101, key(), byte());
                  canopen.signalOccurred(signal);
                },
                [&] { canopen.createStateMachine(); },
                [&] { canopen.getTimeToNextWork(); },
                [&] { canopen.setWorkListener(maybe(listener)); },
                [&] {
                  KQVariable variable(0x2001, subIndex(), "variable");
                  canopen.addVariable(coin() ? &variable : nullptr);
                },
                [&] { canopen.getApplicationVariables(); },
                [&] { canopen.getVariableByExternalIdentifier(index(), subIndex(), cobID()); },
                [&] { canopen.calculateDataType(static_cast<int>(below(70)) - 2, coin()); },
                [&] { canopen.updateRequest(key(), 5); },
                [&] { canopen.updateRequest(key(), "text"); },
                [&] { canopen.getValueRequest(key()); },
                [&] { canopen.resetValue(key()); },
                [&] {
                  canopen.addSDOChannel(cobID(), cobID(), byte(), coin() ? SDO_CHANNEL_CLIENT : SDO_CHANNEL_SERVER,
                                        "c");
                },
                [&] { canopen.setSDOServerID(index(), subIndex(), cobID()); },
                [&] { canopen.setSDOEventListener(maybe(listener)); },
                [&] {
                  canopen.addPDO(coin() ? PDO_TYPE_TRANSMIT : PDO_TYPE_RECEIVE, static_cast<unsigned short>(below(4)),
                                 cobID(), static_cast<unsigned short>(below(100)),
                                 static_cast<unsigned short>(below(100)), byte(), coin(), maybe(listener));
                },
                [&] {
                  canopen.addPDOMapping(static_cast<unsigned short>(below(4)),
                                        coin() ? PDO_TYPE_TRANSMIT : PDO_TYPE_RECEIVE, index(), subIndex(),
                                        static_cast<int>(below(70)) - 2);
                },
                [&] { canopen.setPDOAction(static_cast<int>(below(4)), PDO_TYPE_TRANSMIT, 2, key()); },
                [&] { canopen.setPDOEventAction(index(), 1301 + static_cast<int>(below(6)), maybe(action)); },
                [&] { canopen.sendPDOEvent(PDO_EVENT_RX_TIMEOUT, index()); },
                [&] { canopen.setHeartbeatProducerTime(byte()); },
                [&] { canopen.getHeartbeatTime(); },
                [&] { canopen.addHeartbeatConsumer(byte(), byte()); },
                [&] { canopen.addHeartbeatListener(maybe(listener)); },
                [&] { canopen.addHeartbeatListener(maybe(listener), byte()); },
                [&] { canopen.addStateListener(maybe(listener)); },
                [&] { surroundings.clock.advance(below(200)); },
            },
            100);
  }
}

}  // namespace
