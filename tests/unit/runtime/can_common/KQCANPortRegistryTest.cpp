// Covers: KQCANPortRegistry, KQEndPointFactory.
//
// | subject  | functional                                                                         | robustness |
// |----------|------------------------------------------------------------------------------------|------------|
// | URIs     | the three forms; wrong syntax of each                                              |            |
// | opening  | each form; the text for wrong syntax                                               |            |
// | registry | bound, bound again, unbound, by factory; two end points of one port see each other |            |

#include <gtest/gtest.h>

#include "CANTestSupport.h"
#include "KQCANPortRegistry.h"
#include "KQEndPointFactory.h"
#include "KQVirtualEndPoint.h"

namespace KQ::test {
namespace {

class GoodURI : public testing::TestWithParam<const char*> {};
TEST_P(GoodURI, IsOne) {
  EXPECT_TRUE(KQEndPointFactory::isEndPointURI(GetParam()));
}
INSTANTIATE_TEST_SUITE_P(Forms, GoodURI,
                         testing::Values("socketcan:can0", "socketcan:abcdefghijklmno", "virtual:bus0",
                                         "socketcand:localhost:29536/bus0", "socketcand:127.0.0.1:1/can0",
                                         "socketcand:[::1]:65535/bus0"));

class WrongURI : public testing::TestWithParam<const char*> {};
TEST_P(WrongURI, IsRefusedWithTheFormsThatAreExpected) {
  EXPECT_FALSE(KQEndPointFactory::isEndPointURI(GetParam()));
  std::string error;
  EXPECT_EQ(nullptr, KQEndPointFactory::openEndPoint(GetParam(), error));
  EXPECT_EQ("unknown port URI '" + std::string(GetParam()) +
                "': expected socketcan:IF, virtual:NAME or socketcand:HOST:PORT/CHANNEL",
            error);
}
INSTANTIATE_TEST_SUITE_P(Forms, WrongURI,
                         testing::Values("", "foo", "foo:bar", "socketcan:", "socketcan:abcdefghijklmnop",
                                         "socketcan:a b", "socketcan", "virtual:", "virtual:a b", "virtual:<x>",
                                         "virtual:a/b", "socketcand:", "socketcand:localhost", "socketcand:localhost:1",
                                         "socketcand:localhost:1/", "socketcand:localhost:0/bus0",
                                         "socketcand:localhost:65536/bus0", "socketcand:localhost:x/bus0",
                                         "socketcand:localhost:-1/bus0", "socketcand:localhost:999999999999/bus0",
                                         "socketcand::1/bus0", "socketcand:[::1]/bus0", "socketcand:[::1:29536/bus0",
                                         "socketcand:local host:1/bus0", "Virtual:bus0"));

TEST(EndPointFactory, OpensAVirtualBus) {
  std::string error = "old";
  auto endPoint = KQEndPointFactory::openEndPoint("virtual:factory", error);
  ASSERT_NE(nullptr, endPoint);
  EXPECT_EQ("", error);
  EXPECT_EQ("virtual:factory", endPoint->getURI());
}

TEST(EndPointFactory, TellsWhyAnInterfaceCannotBeOpened) {
  std::string error;
  EXPECT_EQ(nullptr, KQEndPointFactory::openEndPoint("socketcan:nosuchcan0", error));
  EXPECT_EQ("socketcan:nosuchcan0: ", error.substr(0, 22));
}

TEST(CANPortRegistry, IsOnePerProcess) {
  EXPECT_EQ(KQCANPortRegistry::instance(), KQCANPortRegistry::instance());
}

TEST(CANPortRegistry, EndPointsOfOnePortSeeEachOther) {
  KQCANPortRegistry registry;
  std::string error;
  EXPECT_EQ(KQ_OK, registry.bindPort(7, "virtual:registry"));
  auto first = registry.openPort(7, error);
  auto second = registry.openPort(7, error);
  ASSERT_NE(nullptr, first);
  ASSERT_NE(nullptr, second);
  first->writeMessage(makeMessage(1));
  second->writeMessage(makeMessage(2));
  EXPECT_EQ(std::vector<std::string>{"002#"}, readAll(*first));
  EXPECT_EQ(std::vector<std::string>{"001#"}, readAll(*second));
}

TEST(CANPortRegistry, UnknownPortGivesAText) {
  KQCANPortRegistry registry;
  std::string error;
  EXPECT_EQ(nullptr, registry.openPort(3, error));
  EXPECT_EQ("CAN port 3 is not bound to any port URI", error);
}

TEST(CANPortRegistry, WrongURIChangesNothing) {
  KQCANPortRegistry registry;
  std::string error;
  registry.bindPort(1, "virtual:registry");
  EXPECT_EQ(KQ_INVALID_ARGUMENT, registry.bindPort(1, "nonsense"));
  EXPECT_NE(nullptr, registry.openPort(1, error));
}

TEST(CANPortRegistry, PortIsReboundAndUnbound) {
  KQCANPortRegistry registry;
  std::string error;
  registry.bindPort(1, "virtual:before");
  registry.bindPort(1, "virtual:after");
  EXPECT_EQ("virtual:after", registry.openPort(1, error)->getURI());
  EXPECT_EQ(KQ_OK, registry.unbindPort(1));
  EXPECT_EQ(KQ_NOT_FOUND, registry.unbindPort(1));
  EXPECT_EQ(nullptr, registry.openPort(1, error));
}

TEST(CANPortRegistry, FactoryOpensThePort) {
  KQCANPortRegistry registry;
  std::string error;
  EXPECT_EQ(KQ_INVALID_ARGUMENT, registry.bindPort(2, KQCANPortRegistry::Factory()));
  registry.bindPort(2, [](std::string& text) {
    text = "not today";
    return std::unique_ptr<KQEndPoint>();
  });
  EXPECT_EQ(nullptr, registry.openPort(2, error));
  EXPECT_EQ("not today", error);
}

}  // namespace
}  // namespace KQ::test
