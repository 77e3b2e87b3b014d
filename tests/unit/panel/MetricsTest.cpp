// Covers: the metrics of the panel itself.
//
// | subject                                                                           | functional | robustness |
// |-----------------------------------------------------------------------------------|------------|------------|
// | node, port, heartbeats watched, variables, observation, process: each by its line | x          |            |
// | the grammar of the whole text, for a node with a network                          | x          |            |
// | texts are no values; an invalid value; numbers of 32 bits without a sign          | x          |            |
// | a port that refuses; names with quotation marks and of another character set      |            | x          |

#include "Metrics.h"

#include <gmock/gmock.h>

#include <regex>
#include <set>
#include <sstream>

#include "FrameDecoder.h"
#include "Frames.h"
#include "KQCANopenSignal.h"
#include "KQDEI.h"
#include "KQSDOHandler.h"
#include "KQSignal.h"
#include "KQVariable.h"
#include "NetworkStatistics.h"
#include "NodeCounts.h"
#include "TestNode.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class MetricsTest : public testing::Test {
protected:
  MetricsTest() { node.boot(); }

  // Made when the test has its variables.
  panel::Metrics& getMetrics() {
    if (!metrics) {
      metrics = std::make_unique<panel::Metrics>(
          panel::Metrics::Node{5, node.port(), *node.canopen().getSDOHandler(), counts, *KQ::KQDEI::instance()});
    }
    return *metrics;
  }

  std::string getText() { return getMetrics().getText({network, 0, true, 0}); }

  static void addVariable(const KQ::KQVariable& variable) { KQ::KQDEI::instance()->addVariable(&variable); }

  void tell(int code, unsigned int first, unsigned int second) {
    KQ::KQSignal signal(KQ::STACK_SIGNAL_TYPE, code, first, second);
    counts.signalOccurred(signal);
  }

  test::TestNode node;
  panel::NodeCounts counts;
  monitor::NetworkStatistics network;
  std::unique_ptr<panel::Metrics> metrics;
};

TEST_F(MetricsTest, NameTheNode) {
  EXPECT_THAT(getText(),
              testing::ContainsRegex("\ntavo_panel_info[{]version=\"[0-9.]+\",node=\"5\",port=\"[^\"]*\"[}] 1\n"));
}

TEST_F(MetricsTest, TellTheState) {
  tell(KQ::SIGNAL_STATE_CHANGED, 5, KQ::CANOPEN_STATE_OPERATIONAL);
  EXPECT_THAT(getText(), HasSubstr("\ntavo_panel_state{tavo_panel_state=\"operational\"} 1\n"));
  EXPECT_THAT(getText(), HasSubstr("\ntavo_panel_state{tavo_panel_state=\"stopped\"} 0\n"));
  EXPECT_THAT(getText(), HasSubstr("\ntavo_panel_state_changes_total 1\n"));
}

TEST_F(MetricsTest, TellWhichHeartbeatIsMissing) {
  tell(KQ::SIGNAL_HEARTBEAT_TIMEOUT, 7, 17);
  tell(KQ::SIGNAL_HEARTBEAT_TIMEOUT_RESOLVED, 8, 0);
  const std::string text = getText();
  EXPECT_THAT(text, HasSubstr("\ntavo_panel_heartbeat_timeouts_total{node=\"7\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_panel_heartbeat_missing{node=\"7\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_panel_heartbeat_missing{node=\"8\"} 0\n"));
  EXPECT_THAT(text, Not(HasSubstr("\ntavo_panel_heartbeat_missing{node=\"9\"}")));
}

TEST_F(MetricsTest, CountTheFramesOfThePort) {
  node.receive("605#40 18 10 01 00 00 00 00");
  const std::string text = getText();
  EXPECT_THAT(text, HasSubstr("\ntavo_port_frames_received_total 1\n"));
  EXPECT_THAT(text, HasSubstr("\ntavo_port_frames_sent_total 2\n"));  // the boot-up and the answer
  EXPECT_THAT(text, HasSubstr("\ntavo_port_up 1\n"));
}

TEST_F(MetricsTest, CountTheFramesThatThePortRefused) {
  node.port().refuse(1, 17);
  node.receive("605#40 18 10 01 00 00 00 00");
  EXPECT_THAT(getText(), HasSubstr("\ntavo_port_frames_refused_total 1\n"));
}

TEST_F(MetricsTest, CountTheTransfersThatTheNodeRefused) {
  KQ::KQVariable text(0x2001, 0, "Text", KQ::STORAGE_TYPE_STRING);
  node.canopen().addVariable(&text);
  node.canopen().setSDOTransferLimit(5);
  node.receive("605#21 01 20 00 0A 00 00 00");
  node.receive("605#00 41 42 43 44 45 46 47");
  EXPECT_THAT(getText(), HasSubstr("\ntavo_panel_sdo_refused_total 1\n"));
}

TEST_F(MetricsTest, TellTheValuesOfVariables) {
  addVariable(KQ::KQVariable(0x2000, 1, "Temperature", KQ::STORAGE_TYPE_INTEGER, 16, true));
  KQ::KQDEI::instance()->setVariableValue(0x2000, 1, -215, false, false);
  EXPECT_THAT(getText(), HasSubstr("\ntavo_variable{object=\"0x2000\",subindex=\"1\",name=\"Temperature\"} -215\n"));
}

TEST_F(MetricsTest, TellTheHighestNumberWithoutASign) {
  addVariable(KQ::KQVariable(0x2000, 3, "Pieces", KQ::STORAGE_TYPE_INTEGER, 32, false));
  KQ::KQDEI::instance()->setVariableValue(0x2000, 3, -1, false, false);
  EXPECT_THAT(getText(), HasSubstr("name=\"Pieces\"} 4294967295\n"));
}

TEST_F(MetricsTest, MarkAnInvalidValue) {
  addVariable(KQ::KQVariable(0x2000, 1, "Temperature"));
  EXPECT_THAT(getText(), HasSubstr("\ntavo_variable_valid{object=\"0x2000\",subindex=\"1\",name=\"Temperature\"} 1\n"));
  KQ::KQDEI::instance()->markValueAsInvalid(0x2000, 1, true);
  EXPECT_THAT(getText(), HasSubstr("\ntavo_variable_valid{object=\"0x2000\",subindex=\"1\",name=\"Temperature\"} 0\n"));
}

TEST_F(MetricsTest, LeaveTextsOut) {
  addVariable(KQ::KQVariable(0x2001, 0, "Device Text", KQ::STORAGE_TYPE_STRING));
  EXPECT_THAT(getText(), Not(HasSubstr("Device Text")));
}

TEST_F(MetricsTest, TellWhetherFramesAreObserved) {
  EXPECT_THAT(getMetrics().getText({network, 0, false, 7}), HasSubstr("\ntavo_observation_active 0\n"));
  EXPECT_THAT(getMetrics().getText({network, 0, true, 7}), HasSubstr("\ntavo_observation_active 1\n"));
  EXPECT_THAT(getMetrics().getText({network, 0, true, 7}), HasSubstr("\ntavo_observation_missed_frames_total 7\n"));
}

TEST_F(MetricsTest, TellTheStartOfTheProcess) {
  EXPECT_THAT(getText(), testing::ContainsRegex("\nprocess_start_time_seconds [0-9]{10}"));
  EXPECT_THAT(getText(), testing::ContainsRegex("\nprocess_resident_memory_bytes [1-9][0-9]*\n"));
}

// ---- the grammar

// The families that a text has, each of which must be begun once, in the right form, and have no samples but its own.
class Grammar {
public:
  explicit Grammar(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      if (!wrong.empty()) {
        break;
      }
      if (ended || !(isType(line) || isDescription(line) || isSample(line) || isEnd(line))) {
        wrong = line;
      }
    }
  }

  std::string wrong;
  bool ended = false;

private:
  bool isType(const std::string& line) {
    static const std::regex FORM("# TYPE ([a-z][a-z0-9_]*) (counter|gauge|histogram|summary|info|stateset)");
    std::smatch parts;
    if (!std::regex_match(line, parts, FORM) || !families.insert(parts[1]).second) {
      return false;
    }
    family = parts[1];
    type = parts[2];
    return true;
  }

  bool isDescription(const std::string& line) const {
    static const std::regex UNIT("# UNIT ([a-z0-9_]+) ([a-z]+)");
    std::smatch parts;
    if (std::regex_match(line, parts, UNIT)) {
      const std::string ending = "_" + parts[2].str();
      return parts[1] == family && family.size() > ending.size() &&
             family.compare(family.size() - ending.size(), ending.size(), ending) == 0;
    }
    return line.rfind("# HELP " + family + " ", 0) == 0 && line.back() == '.';
  }

  bool isSample(const std::string& line) {
    static const std::regex FORM(
        R"re(([a-z0-9_]+)(\{[a-z_]+="([^"\\]|\\["\\n])*"(,[a-z_]+="([^"\\]|\\["\\n])*")*\})? (-?[0-9][0-9.e+-]*|NaN|[+-]Inf))re");
    std::smatch parts;
    return std::regex_match(line, parts, FORM) && isNameOfFamily(parts[1]) &&
           series.insert(parts[1].str() + parts[2].str()).second;
  }

  bool isNameOfFamily(const std::string& name) const {
    static const std::map<std::string, std::set<std::string>> SUFFIXES = {
        {"counter", {"_total"}},         {"gauge", {""}},     {"histogram", {"_bucket", "_count", "_sum"}},
        {"summary", {"_count", "_sum"}}, {"info", {"_info"}}, {"stateset", {""}}};
    return name.rfind(family, 0) == 0 && SUFFIXES.at(type).count(name.substr(family.size())) == 1;
  }

  bool isEnd(const std::string& line) {
    ended = line == "# EOF";
    return ended;
  }

  std::set<std::string> families;
  std::set<std::string> series;
  std::string family;
  std::string type;
};

TEST_F(MetricsTest, KeepToTheGrammar) {
  addVariable(KQ::KQVariable(0x2000, 1, "Quoted \"name\" with \\ and K\xFChlung"));
  tell(KQ::SIGNAL_HEARTBEAT_TIMEOUT, 7, 17);
  monitor::FrameDecoder decoder;
  long long now = 0;
  for (const char* frame :
       {"705#00", "705#05", "705#05", "605#40 18 10 09 00 00 00 00", "585#80 18 10 09 11 00 09 06", "185#01", "185#02",
        "185#03", "080#", "605#E0 00 20 00 00 00 00 00", "085#30 81 11 00 00 00 00 00"}) {
    network.add(decoder.decode(now += 1000, test::frame(frame)), false);
  }
  const Grammar grammar(getText());
  EXPECT_EQ("", grammar.wrong);
  EXPECT_TRUE(grammar.ended);
}

}  // namespace
