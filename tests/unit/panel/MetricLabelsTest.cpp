// Covers: the labels of a metric.
//
// | subject                                                                | functional | robustness |
// |------------------------------------------------------------------------|------------|------------|
// | names with texts and numbers, in their order                           | x          |            |
// | quotation mark, backslash and line end are escaped                     | x          |            |
// | UTF-8 stays; what is none is taken for Latin-1: each way of being none |            | x          |

#include "MetricLabels.h"

#include <gtest/gtest.h>

namespace {

using panel::MetricLabels;

TEST(MetricLabels, StandInTheirOrder) {
  EXPECT_EQ("node=\"5\",code=\"0x06020000\"", MetricLabels().add("node", 5).add("code", "0x06020000").getText());
}

TEST(MetricLabels, AreNothingAtFirst) {
  EXPECT_EQ("", MetricLabels().getText());
}

struct Text {
  const char* name;
  const char* value;
  const char* written;
};

class MetricLabelValue : public testing::TestWithParam<Text> {};

TEST_P(MetricLabelValue, IsWrittenAsValidText) {
  EXPECT_EQ(std::string("a=\"") + GetParam().written + "\"", MetricLabels().add("a", GetParam().value).getText());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, MetricLabelValue,
    testing::Values(Text{"Empty", "", ""}, Text{"QuotationMark", "set \"point\"", "set \\\"point\\\""},
                    Text{"Backslash", "a\\b", "a\\\\b"}, Text{"LineEnd", "a\nb", "a\\nb"},
                    Text{"TwoBytes", "K\xC3\xBChlung", "K\xC3\xBChlung"},
                    Text{"ThreeBytes", "\xE2\x82\xAC", "\xE2\x82\xAC"},
                    Text{"FourBytes", "\xF0\x9F\x94\xA5", "\xF0\x9F\x94\xA5"},
                    Text{"Latin1", "K\xFChlung", "K\xC3\xBChlung"}, Text{"Latin1AtTheEnd", "Gr\xF6", "Gr\xC3\xB6"},
                    Text{"LoneContinuation", "a\x80z", "a\xC2\x80z"}, Text{"Overlong", "\xC0\xAF", "\xC3\x80\xC2\xAF"},
                    Text{"OverlongThree", "\xE0\x80\xAF", "\xC3\xA0\xC2\x80\xC2\xAF"},
                    Text{"Surrogate", "\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"},
                    Text{"OverlongFour", "\xF0\x80\x80\xAF", "\xC3\xB0\xC2\x80\xC2\x80\xC2\xAF"},
                    Text{"AboveUnicode", "\xF4\x90\x80\x80", "\xC3\xB4\xC2\x90\xC2\x80\xC2\x80"},
                    Text{"CutOff", "\xE2\x82", "\xC3\xA2\xC2\x82"}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
