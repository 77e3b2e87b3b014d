#include "RowLog.h"

#include <algorithm>
#include <utility>

namespace panel {

void RowLog::add(std::string row) {
  rows.push_back(std::move(row));
  ++total;
  if (rows.size() > CAPACITY) {
    rows.pop_front();
  }
}

RowLog::Page RowLog::read(Position& position) const {
  const std::size_t count = std::min({rows.size(), ROWS_AT_ONCE, static_cast<std::size_t>(total - position.next)});
  Page page;
  if (position.isFollowing) {
    page.missed = total - position.next - count;
  }
  for (auto row = rows.end() - static_cast<std::ptrdiff_t>(count); row != rows.end(); ++row) {
    page.rows += page.rows.empty() ? *row : "," + *row;
  }
  position.next = total;
  position.isFollowing = true;
  return page;
}

}  // namespace panel
