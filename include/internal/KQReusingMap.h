// Internal: here because public headers need it; it may change without notice.
#pragma once

#include <cstddef>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

namespace KQ {

/// An ordered map whose entries keep their memory when they are taken out, for those that come next: what is entered
/// and taken out again and again allocates nothing in steady state. It holds memory for as many entries as it ever had.
template <typename Key, typename Value>
class KQReusingMap {
public:
  /// Goes over the entries in the order of their keys.
  using iterator = typename std::map<Key, Value>::iterator;

  /// The entry of a key, entered when there is none. An entry that comes again may still have its former value.
  Value& operator[](const Key& key) {
    const iterator known = entries.find(key);
    if (known != entries.end()) {
      return known->second;
    }
    if (spare.empty()) {
      return entries[key];
    }
    auto node = std::move(spare.back());
    spare.pop_back();
    node.key() = key;
    return entries.insert(std::move(node)).position->second;
  }

  /// @return the entry behind the one that is taken out
  iterator erase(iterator entry) {
    const iterator next = std::next(entry);
    spare.push_back(entries.extract(entry));
    return next;
  }

  /// Takes the entry of a key out, if there is one.
  void erase(const Key& key) {
    const iterator entry = entries.find(key);
    if (entry != entries.end()) {
      erase(entry);
    }
  }

  /// As of a std::map.
  iterator find(const Key& key) { return entries.find(key); }
  auto begin() const { return entries.begin(); }
  auto end() const { return entries.end(); }
  iterator begin() { return entries.begin(); }
  iterator end() { return entries.end(); }
  bool empty() const { return entries.empty(); }
  std::size_t size() const { return entries.size(); }

private:
  std::map<Key, Value> entries;
  std::vector<typename std::map<Key, Value>::node_type> spare;
};

}  // namespace KQ
