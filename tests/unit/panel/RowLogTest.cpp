// Covers: rows that several readers get.
//
// | subject                                              | functional | robustness |
// |------------------------------------------------------|------------|------------|
// | readers get what is new, each at his own pace        | x          |            |
// | a new reader; a slow one, who is told what he missed |            | x          |

#include "RowLog.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using panel::RowLog;

void addRows(RowLog& log, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    log.add("[]");
  }
}

std::size_t countRows(const RowLog::Page& page) {
  return static_cast<std::size_t>(std::count(page.rows.begin(), page.rows.end(), '['));
}

TEST(RowLog, ReaderGetsEachRowOnce) {
  RowLog log;
  RowLog::Position position;
  log.add("1");
  log.add("2");
  EXPECT_EQ("1,2", log.read(position).rows);
  log.add("3");
  EXPECT_EQ("3", log.read(position).rows);
  EXPECT_EQ("", log.read(position).rows);
}

TEST(RowLog, NewReaderGetsTheLatestAndHasMissedNothing) {
  RowLog log;
  addRows(log, RowLog::CAPACITY + 5);
  RowLog::Position position;
  const RowLog::Page page = log.read(position);
  EXPECT_EQ(RowLog::ROWS_AT_ONCE, countRows(page));
  EXPECT_EQ(0U, page.missed);
}

TEST(RowLog, ReaderWhoKeepsUpMissesNothing) {
  RowLog log;
  RowLog::Position position;
  log.read(position);
  addRows(log, RowLog::ROWS_AT_ONCE);
  EXPECT_EQ(0U, log.read(position).missed);
}

TEST(RowLog, SlowReaderIsToldHowManyHeMissed) {
  RowLog log;
  RowLog::Position position;
  log.read(position);
  addRows(log, RowLog::ROWS_AT_ONCE + 1);
  const RowLog::Page page = log.read(position);
  EXPECT_EQ(RowLog::ROWS_AT_ONCE, countRows(page));
  EXPECT_EQ(1U, page.missed);
}

TEST(RowLog, SlowReaderIsToldAlsoOfRowsThatHaveGone) {
  RowLog log;
  RowLog::Position position;
  log.read(position);
  addRows(log, 2 * RowLog::CAPACITY);
  EXPECT_EQ(2 * RowLog::CAPACITY - RowLog::ROWS_AT_ONCE, log.read(position).missed);
}

}  // namespace
