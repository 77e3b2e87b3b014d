// Covers: the text in which metrics are handed over.
//
// | subject                                          | functional                                        | robustness |
// |--------------------------------------------------|---------------------------------------------------|------------|
// | each type of family                              | its lines, its suffixes, its values               |            |
// | a family without values, one without a unit; the | x                                                 |            |
// | end                                              |                                                   |            |
// | numbers                                          | integers of 64 bits, fractions, what is no number |            |

#include "OpenMetricsText.h"

#include <gmock/gmock.h>

#include <limits>

#include "DurationStatistics.h"

namespace {

using panel::MetricFamily;
using panel::MetricLabels;
using panel::MetricType;
using panel::OpenMetricsText;

std::string familyOf(const MetricFamily& family) {
  OpenMetricsText text;
  text.begin(family);
  return text.finish();
}

TEST(OpenMetricsText, BeginsAFamilyWithTypeUnitAndHelp) {
  EXPECT_EQ("# TYPE a_seconds gauge\n# UNIT a_seconds seconds\n# HELP a_seconds How long.\n# EOF\n",
            familyOf({"a_seconds", MetricType::GAUGE, "seconds", "How long."}));
}

TEST(OpenMetricsText, SaysNothingOfAUnitThatIsNone) {
  EXPECT_EQ("# TYPE a counter\n# HELP a How often.\n# EOF\n", familyOf({"a", MetricType::COUNTER, "", "How often."}));
}

TEST(OpenMetricsText, EndsACounterWithTotal) {
  OpenMetricsText text;
  text.begin({"a", MetricType::COUNTER, "", "."});
  text.add(MetricLabels().add("node", 5), 18446744073709551615ULL);
  EXPECT_THAT(text.finish(), testing::HasSubstr("\na_total{node=\"5\"} 18446744073709551615\n"));
}

TEST(OpenMetricsText, WritesAGaugeByItsNameAlone) {
  OpenMetricsText text;
  text.addFamily({"a", MetricType::GAUGE, "", "."}, -0.25);
  EXPECT_THAT(text.finish(), testing::HasSubstr("\na -0.25\n"));
}

TEST(OpenMetricsText, EndsAnInfoWithInfo) {
  OpenMetricsText text;
  text.begin({"a", MetricType::INFO, "", "."});
  text.add(MetricLabels().add("version", "1"), 1ULL);
  EXPECT_THAT(text.finish(), testing::HasSubstr("\na_info{version=\"1\"} 1\n"));
}

TEST(OpenMetricsText, MarksThePresentStateOfASet) {
  OpenMetricsText text;
  text.begin({"state", MetricType::STATE_SET, "", "."});
  text.add(MetricLabels().add("node", 5), {"on", "off"}, "off");
  EXPECT_THAT(text.finish(), testing::HasSubstr("\nstate{node=\"5\",state=\"on\"} 0\n"
                                                "state{node=\"5\",state=\"off\"} 1\n"));
}

monitor::DurationStatistics durations() {
  monitor::DurationStatistics filled;
  for (const long long microseconds : {50LL, 150LL, 1500000LL}) {
    filled.add(microseconds);
  }
  return filled;
}

TEST(OpenMetricsText, WritesTheCumulatedBucketsOfAHistogram) {
  OpenMetricsText text;
  text.begin({"t_seconds", MetricType::HISTOGRAM, "seconds", "."});
  text.add(MetricLabels().add("node", 5), durations());
  EXPECT_THAT(text.finish(), testing::EndsWith("\nt_seconds_bucket{node=\"5\",le=\"0.0001\"} 1\n"
                                               "t_seconds_bucket{node=\"5\",le=\"0.0002\"} 2\n"
                                               "t_seconds_bucket{node=\"5\",le=\"0.0005\"} 2\n"
                                               "t_seconds_bucket{node=\"5\",le=\"0.001\"} 2\n"
                                               "t_seconds_bucket{node=\"5\",le=\"0.002\"} 2\n"
                                               "t_seconds_bucket{node=\"5\",le=\"0.005\"} 2\n"
                                               "t_seconds_bucket{node=\"5\",le=\"0.01\"} 2\n"
                                               "t_seconds_bucket{node=\"5\",le=\"0.02\"} 2\n"
                                               "t_seconds_bucket{node=\"5\",le=\"0.05\"} 2\n"
                                               "t_seconds_bucket{node=\"5\",le=\"0.1\"} 2\n"
                                               "t_seconds_bucket{node=\"5\",le=\"1.0\"} 2\n"
                                               "t_seconds_bucket{node=\"5\",le=\"+Inf\"} 3\n"
                                               "t_seconds_count{node=\"5\"} 3\n"
                                               "t_seconds_sum{node=\"5\"} 1.5002\n"
                                               "# EOF\n"));
}

TEST(OpenMetricsText, WritesCountAndSumOfASummary) {
  OpenMetricsText text;
  text.addFamily({"t_seconds", MetricType::SUMMARY, "seconds", "."}, durations());
  EXPECT_THAT(text.finish(), testing::EndsWith(".\nt_seconds_count 3\nt_seconds_sum 1.5002\n# EOF\n"));
}

struct Number {
  const char* name;
  double value;
  const char* written;
};

class OpenMetricsNumber : public testing::TestWithParam<Number> {};

TEST_P(OpenMetricsNumber, IsWrittenShortAndWhole) {
  OpenMetricsText text;
  text.addFamily({"a", MetricType::GAUGE, "", "."}, GetParam().value);
  EXPECT_THAT(text.finish(), testing::HasSubstr(std::string("\na ") + GetParam().written + "\n"));
}

INSTANTIATE_TEST_SUITE_P(Values, OpenMetricsNumber,
                         testing::Values(Number{"Zero", 0, "0"}, Number{"Fraction", 0.1, "0.1"},
                                         Number{"Unsigned32", 4294967295.0, "4294967295"},
                                         Number{"Time", 1700000000.125, "1700000000.125"},
                                         Number{"Infinite", std::numeric_limits<double>::infinity(), "+Inf"},
                                         Number{"None", std::numeric_limits<double>::quiet_NaN(), "NaN"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
