// | covered                                                        | kind       |
// |----------------------------------------------------------------|------------|
// | empty, short and long texts, texts with zeros in them            | functional |
// | copies; comparison and output                                    | functional |
// | a text that is assigned to itself, whole or in part              | robustness |
// | no allocation for a text that fits into the memory of the one before | functional |
#include "KQText.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace {

using KQ::KQText;

TEST(Text, IsEmptyAtFirst) {
  const KQText text;
  EXPECT_EQ(text, "");
  EXPECT_EQ(std::string(text), "");
}

class TextContent : public testing::TestWithParam<std::string> {};

TEST_P(TextContent, IsKept) {
  KQText text;
  text = GetParam();
  EXPECT_EQ(text.view(), GetParam());
  EXPECT_EQ(std::string(text), GetParam());
}

TEST_P(TextContent, ReplacesAnother) {
  KQText text;
  text = "something of middle length";
  text = GetParam();
  EXPECT_EQ(text.view(), GetParam());
}

TEST_P(TextContent, IsReplacedByAnother) {
  KQText text;
  text = GetParam();
  text = "something of middle length";
  EXPECT_EQ(text, "something of middle length");
}

INSTANTIATE_TEST_SUITE_P(Texts, TextContent,
                         testing::Values(std::string(), std::string("a"), std::string("with\0zeros\0", 11),
                                         std::string(1000, 'x')));

TEST(Text, CopyIsIndependent) {
  KQText original;
  KQText copy;
  original = "one";
  copy = original;
  original = "two";
  EXPECT_EQ(copy, "one");
  copy = KQText();
  EXPECT_EQ(copy, "");
}

TEST(Text, IsComparedFromBothSides) {
  KQText text;
  text = "name";
  EXPECT_TRUE(text == "name");
  EXPECT_TRUE("name" == text);
  EXPECT_FALSE(text == "names");
  EXPECT_FALSE("nam" == text);
}

TEST(Text, IsWrittenToAStream) {
  KQText text;
  text = "Device Type";
  std::ostringstream out;
  out << '[' << text << ']';
  EXPECT_EQ(out.str(), "[Device Type]");
}

TEST(Text, MayBeAssignedItsOwnCharacters) {
  KQText text;
  text = "abcdef";
  text = text.view();
  EXPECT_EQ(text, "abcdef");
  text = text.view().substr(2, 3);
  EXPECT_EQ(text, "cde");
}

TEST(Text, KeepsItsMemory) {
  KQText text;
  text = "a longer text";
  const void* const memory = text.view().data();
  text = "";
  EXPECT_EQ(text, "");
  text = "short";
  text = "a longer one.";
  EXPECT_EQ(text.view().data(), memory);
}

}  // namespace
