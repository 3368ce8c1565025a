// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/plan/FigureSums.h"
#include "client/embedded/index/plan/ItemColumn.h"
#include "client/embedded/index/plan/RecordSet.h"
#include "client/embedded/index/plan/TermScan.h"
#include "client/embedded/index/plan/recogniseItemPipelines.h"
#include "client/embedded/index/plan/selectRecords.h"
#include "client/embedded/query/values/OwnedValue.h"

namespace database_client::embedded {

/// Adds up numbers of records in groups, without reading the records.
///
/// The terms of an item that groups, one after the other, give each of their records the *code* of their value, a small
/// number; what the codes of several items come to is written into one array by record number, the *group* of each
/// record. Then the terms of an item that is added up give their value to the groups of their records. So records are
/// never put together from their items, which lie far apart; the array takes four bytes a record.
///
/// Odd records (see `ItemColumn`), and all of a narrow filter, are read instead, and given to the same groups.
///
/// The least and the greatest value of all records stand at the ends of the terms, and nothing between them is read.
///
/// Groups are values that are equal, whatever kinds they are of. Where a group has values of several, its first record
/// decides which of them is shown, as it does where documents are passed in order, and is read for that.
class FigureAggregator {
 public:
  /// What is given must outlive this.
  FigureAggregator(ItemIndex& index, const index::GroupedFiguresPattern& pattern, const DocumentSource& documents);

  /// The groups, in no particular order; nullopt when the index cannot tell, or not at a lower price.
  std::optional<std::vector<std::vector<bson::Byte>>> run();

 private:
  using Pattern = index::GroupedFiguresPattern;
  using Kind = Pattern::Kind;
  using Figure = Pattern::Figure;
  static constexpr std::uint32_t none = std::numeric_limits<std::uint32_t>::max();
  /// The number of a value of a key.
  using Code = std::uint32_t;

  /// The values of a key by their codes; 0 is that of null.
  class Codes {
   public:
    Codes();
    Code of(const bson::Value& value);
    std::size_t size() const { return values_.size(); }
    bson::Value value(Code code) const { return values_[code].value(); }
    /// Whether equal values of several kinds have the code.
    bool isAmbiguous(Code code) const { return ambiguous_[code]; }

   private:
    std::unordered_map<std::string, Code> byKey_;
    std::vector<OwnedValue> values_;
    std::vector<bool> ambiguous_;
    std::string key_;
  };
  struct Key {
    const Pattern::By& by;
    index::ItemColumn column;
    Codes codes{};
  };
  struct Measure {
    const Pattern::Measure& measure;
    index::ItemColumn column;
  };
  /// A record that is read.
  struct ReadRecord {
    RecordNumber record;
    std::vector<Code> codes;
    std::vector<std::optional<index::EncodedNumber>> numbers;
    std::size_t combination = 0;
    std::uint32_t group = none;
  };
  struct Group {
    std::size_t combination;  ///< of the codes of its values
    std::uint64_t count = 0;
    RecordNumber first = 0;  ///< the first record; 0: unknown
  };

  bool prepare();
  bool readRecords();
  bool readRecord(RecordNumber record, bson::View document);
  bool combineCodes();
  void addCodes(Key& key, std::uint32_t weight);
  bool countRecords();
  std::uint64_t allRecords() const;
  void addUp(std::size_t measure);
  bool asksForExtremesAlone() const;
  void addExtremes(std::size_t measure);
  std::uint32_t groupOf(std::size_t combination);
  void count(std::uint32_t group, RecordNumber record);
  std::uint32_t& placeOf(RecordNumber record);
  bool write(std::size_t group, std::vector<bson::Byte>& document) const;
  void writeId(const Group& group, bson::Writer& out) const;
  static bool writeFigure(const Pattern::Output& output, const index::FigureSums& sums, bson::Writer& out);

  ItemIndex& index_;
  const Pattern& pattern_;
  const DocumentSource& documents_;
  const ItemPaths& paths_;
  index::TermScan scan_;
  std::vector<Key> keys_;
  std::vector<Measure> measures_;
  std::optional<RecordSet> selected_;
  RecordSet odd_;
  bool readsAll_ = false;  ///< all of the selected records are read, and no term is looked at
  std::vector<ReadRecord> read_;
  std::size_t combinations_ = 1;
  /// By record number: the combination of its codes, until the records are counted, then its group; `none` where the
  /// terms do not count.
  std::vector<std::uint32_t> places_;
  std::vector<std::uint32_t> byCombination_;
  std::vector<Group> groups_;
  std::vector<index::FigureSums> sums_;  ///< of each group those of each measure
};

}  // namespace database_client::embedded
