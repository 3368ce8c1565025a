// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/bson/Buffer.h"
#include "client/bson/LevelIndex.h"
#include "client/bson/View.h"
#include "client/bson/utf8.h"

namespace database_client {

/// What an `ObjectProperties` holds: the bytes of a document, and the levels from the root to the current position.
///
/// The bytes are BSON and nothing else: no tree of values is ever made. A fetched document is used as it came, a copy
/// shares the block, a write puts the value where it will be sent from, and what was never looked at is never decoded.
/// The price is that a key has to be searched for; what `Level` remembers is there to find it without a search in the
/// ways in which documents are really read and written.
///
/// A level is a group or an array that is open, the root included. The invariants:
///
/// - Only the innermost level is searched and written to. So the levels around it stay where they are, and what they
///   remember stays true up to the level inside; behind that everything has moved by the inner level's `grown`.
/// - The innermost level is complete after every call. The lengths of those around it are mended when it is left or the
///   bytes are asked for, and not with every write, which would cost by its depth: that made building a record a
///   fifth faster.
/// - A level that stands for a value of another kind is "missing": it reads as empty, and the first write puts it in
///   that value's place. Missing levels are always the innermost ones.
/// - What is refused is refused before anything changes.
class Document {
 public:
  /// A key on the way from the root to a level.
  struct Step {
    std::string key;
    bson::Type kind;
  };

  Document() = default;
  explicit Document(bson::Buffer bytes) : bytes_(std::move(bytes)) {}

  const bson::Buffer& bytes();

  /// The first value under a key of the current level; null `data` when there is none.
  bson::Value find(std::string_view name);
  /// The element at a position of the current level; null `start` when there is none.
  bson::Element at(int index);
  /// The position of the last group or array of the current level that has this text under this key; -1 for none.
  int findLastItem(std::string_view key, std::string_view text);
  /// The number of entries of the current level.
  int size();
  /// The bytes of the current level.
  bson::View level() const;
  /// How many levels the current one lies below the root.
  std::size_t depth() const { return nested_.size(); }

  /// Makes room for a value of `size` bytes under a key, in the place of the old one or at the end, and returns where
  /// the bytes go. Throws Error{document} before anything changes.
  bson::Byte* put(std::string_view name, bson::Type type, std::size_t size);
  /// Removes every entry under `key`.
  void erase(std::string_view key);
  /// Empties the whole document; the levels that are open become missing ones.
  void clear();
  /// Sets every key of `other` at the root.
  void includeAtRoot(const bson::Buffer& other);

  /// Enters the group or array under a key, creating it when absent.
  void begin(std::string_view name, bson::Type kind);
  /// Enters the group or array under `key`; false when there is none.
  bool enter(std::string_view key, bson::Type kind);
  bool enterAt(int index);
  void leave() noexcept;
  void leaveAll() noexcept;
  /// The way from the root to the current level, and back there from wherever the document stands. A level that is gone
  /// becomes a missing one.
  std::vector<Step> steps();
  void returnTo(const std::vector<Step>& steps);

  /// The path of `key` at the current level, as errors name it.
  std::string pathOf(std::string_view key);
  [[noreturn]] void refuse(std::string_view key, const std::string& why);

 private:
  /// An open level, and what it remembers of its entries.
  ///
  /// Each part spares the search in one way of use, and costs next to nothing in the others: keys asked for in the
  /// order in which they stand, as whoever wrote a record reads it again (the hint); keys that are not there, as of a
  /// level that is being built, where every write would go through all keys before it (the filter); positions in
  /// ascending order (the position); `size` as the end of a loop (the count); keys in any order in a level that is
  /// large (the index). The last would do for the others too, but has to be built and kept up, and is worth it only
  /// where many keys are asked for.
  ///
  /// Offsets are from the beginning of the bytes and point to entries or to the terminator of the level; 0, where no
  /// entry can stand, is none. Both filters are Bloom filters of one hash (`bitOf`) that may have bits too many, never
  /// too few; that is why a removal need not mend them.
  struct Level {
    std::size_t start = 0;   ///< of the length field
    std::int64_t grown = 0;  ///< bytes by which the levels around this one are still to be mended
    int count = -1;          ///< of the entries, -1 while not known
    /// The next look-up begins here, behind the entry found last. All keys before it are in `keysBeforeHint`, so that
    /// an entry here is known to be the first of its key.
    std::size_t hint = 0;
    std::uint64_t keysBeforeHint = 0;
    /// The entry that was last asked for by position, or the terminator at the position `count`.
    std::size_t positionOffset = 0;
    int position = 0;
    /// All keys of the level, if `keysAreKnown`: it was empty when it was entered, or a search has gone through it.
    std::uint64_t keys = 0;
    bool keysAreKnown = false;
    /// Every entry in order, and the first of each key; null until the level was gone through more than twice. Where
    /// removals would cost by the entries behind them, it is dropped.
    std::unique_ptr<bson::LevelIndex> index{};
    std::size_t searched = 0;  ///< entries gone through in search of keys since there was no index

    bson::Type kind = bson::Type::document;
    bool missing = false;
  };
  /// A key with what every look-up wants to know of it, found out once.
  struct Key {
    explicit Key(std::string_view name) : text(name), bit(bitOf(name)), isPlain(bson::isPlain(name)) {}
    bool hasNul() const { return !isPlain && text.find('\0') != std::string_view::npos; }

    std::string_view text;
    std::uint64_t bit;  ///< one of 64; two keys may share one
    bool isPlain;
  };

  /// The hash of the filters, one of 64 bits for a key. The indices of an array's first thirty items have one each, and
  /// so have the keys that stand side by side in a record.
  static std::uint64_t bitOf(std::string_view key) {
    const std::size_t size = key.size();
    if (size == 0) return 1;
    const auto at = [key](std::size_t i) { return static_cast<unsigned char>(key[i]); };
    const std::size_t inner = size > 2 ? at(size / 2) + 2 * size : 0;
    return std::uint64_t{1} << ((size == 1 ? at(0) : at(size - 1) + at(0) * 10U + inner) % 64);
  }

  /// From here on every key that the level gets is known.
  static void markEmpty(Level& empty) {
    empty.keys = 0;
    empty.keysAreKnown = true;
    empty.count = 0;
  }
  static bool isKnownAbsent(const Level& level, const Key& key) {
    return level.keysAreKnown && (level.keys & key.bit) == 0;
  }

  Level& current() { return nested_.empty() ? root_ : nested_.back(); }
  const Level& current() const { return nested_.empty() ? root_ : nested_.back(); }
  std::size_t endOf(const Level& level) const;

  std::size_t offsetOf(const Key& key);
  std::size_t scan(Level& level, const Key& key);
  std::size_t offsetAt(int index);
  void advanceHint(Level& level, std::size_t offset, const Key& key);

  bson::Byte* append(const Key& key, bson::Type type, std::size_t size);
  bson::Byte* overwrite(std::size_t offset, bson::Type type, std::size_t size);
  bson::Byte* resize(std::size_t offset, std::size_t oldSize, std::size_t newSize);
  std::size_t eraseAt(std::size_t offset, std::string_view key);
  void checkKey(const Key& key);
  void checkSize(std::string_view key, std::size_t added) {
    const std::size_t size = bytes_.size() + added + (missing_.empty() ? 0 : sizeOfMissing());
    if (size > bson::maximumSize) refuse(key, "the document would grow beyond 16 MiB");
  }
  std::size_t sizeOfMissing() const;

  void propagateGrowth(Level& around, Level& inner) noexcept;
  static void addToLength(Level& level, bson::Byte* data, std::int64_t delta) noexcept;
  static void mend(Level& level, bson::Byte* data, std::size_t offset, std::int64_t delta) noexcept;
  void createMissing();
  Level& push(std::size_t start, bson::Type kind);
  void pushMissing(std::string_view key, bson::Type kind);
  std::string keyOf(std::size_t nested) const;

  bson::Buffer bytes_;
  Level root_;
  std::vector<Level> nested_;
  /// Where the missing levels belong, which are always the innermost ones: their keys, the outermost first.
  std::vector<std::string> missing_;
};

}  // namespace database_client
