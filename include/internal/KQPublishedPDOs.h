// Internal: here because public headers need it; it may change without notice.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace KQ {

class PDOTable;

/// The PDOs of a node at this moment: a table that is replaced, never changed. Whoever walks over it goes on with the
/// one that he found, on whatever thread, without a lock.
///
/// A table that was replaced while somebody walks is put aside, until a moment at which nobody does: who begins later
/// can only find the new one. All of it is sequentially consistent, so that "the table was replaced, then nobody
/// walked" and "a walk was counted, then the table was read" cannot miss each other.
class KQPublishedPDOs {
public:
  /// @param table the first one; not null
  explicit KQPublishedPDOs(std::shared_ptr<const PDOTable> table);

  /// Puts a table in the place of the one before, which exists as long as a walk may be using it. One thread.
  void publish(std::shared_ptr<const PDOTable> table);

  /// The table of this moment, for as long as the caller likes. Any thread.
  std::shared_ptr<const PDOTable> get() const;

  /// Keeps the table of the moment at which it begins, and the PDOs in it. Any thread; within another one, too.
  class [[nodiscard]] Walk {
  public:
    /// Begins with the table of this moment. Any thread.
    explicit Walk(KQPublishedPDOs& publishedPDOs) : published(publishedPDOs) {
      ++published.walks;
      table = published.current;
    }
    ~Walk() {
      if (--published.walks == 0 && published.hasReplaced) {
        published.forgetReplaced();
      }
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    /// The table, which exists as long as the walk does.
    const PDOTable* operator->() const { return table; }

  private:
    KQPublishedPDOs& published;
    const PDOTable* table;
  };

private:
  void forgetReplaced();

  std::atomic<unsigned int> walks{0};
  std::atomic<const PDOTable*> current;
  std::atomic<bool> hasReplaced{false};
  mutable std::mutex mutex;  ///< guards what follows
  std::shared_ptr<const PDOTable> owner;
  std::vector<std::shared_ptr<const PDOTable>> replaced;
};

}  // namespace KQ
