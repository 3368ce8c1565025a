// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include "database_provider/records.h"
#include "repository/documentValue.h"
#include "repository/kinds.h"
#include "repository/pipelines.h"

namespace database_provider {

using database_client::EnteredScope;
using database_client::Error;
using repository::Bins;
using repository::GroupedFigures;
using repository::numbered;
using repository::NumberKind;
using repository::valueAt;

namespace {

constexpr std::size_t mostCells = 10'000'000;

/// The values by which a group, or a record that is to be put into one, is known.
GroupKey groupKeyOf(const ObjectProperties& level, std::size_t count) {
  GroupKey result;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string key = numbered("by", i);
    const bool isText = level.type(key) == PropertyType::string;
    result.push_back(isText ? std::optional<std::string>(level.valueAsString(key, "")) : std::nullopt);
  }
  return result;
}

GroupKey groupKeyIn(const ObjectProperties& group, std::size_t count) {
  const EnteredScope id = EnteredScope::group(group, "_id");
  return groupKeyOf(group, count);
}

/// By the values, a missing one last.
bool isBefore(const GroupKey& left, const GroupKey& right) {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [](const auto& one, const auto& other) {
                                        if (!one || !other) return one.has_value() && !other.has_value();
                                        return *one < *other;
                                      });
}

struct GroupKeyOrder {
  bool operator()(const GroupKey& left, const GroupKey& right) const { return isBefore(left, right); }
};

std::optional<double> numberAt(const ObjectProperties& document, const std::string& key) {
  const std::optional<Value> value = valueAt(document, key);
  return value ? numberOf(*value) : std::nullopt;
}

Figures figuresOf(const ObjectProperties& group, std::size_t number) {
  Figures result;
  result.count = group.valueAsInt64(numbered("count", number), 0);
  result.missing = group.valueAsInt64("count", 0) - result.count;
  if (result.count == 0) return result;
  result.min = valueAt(group, numbered("min", number));
  result.mean = numberAt(group, numbered("mean", number));
  result.std = numberAt(group, numbered("std", number));
  result.max = valueAt(group, numbered("max", number));
  return result;
}

double medianOf(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 == 1) return *middle;
  const double below = *std::max_element(values.begin(), middle);
  return below + (*middle - below) / 2;
}

/// Whether a facet stands before another: the one with more records, of the same number the lesser value.
bool isWider(const Facet& left, const Facet& right) {
  return left.count != right.count ? left.count > right.count : left.value < right.value;
}

/// The widest facets of all that are added; no more than these are held.
class WidestFacets {
 public:
  /// A limit of 0 keeps all.
  explicit WidestFacets(std::size_t limit) : limit_(limit) {}

  void add(Facet facet) {
    if (limit_ != 0 && facets_.size() == limit_) {
      if (!isWider(facet, facets_.front())) return;
      std::pop_heap(facets_.begin(), facets_.end(), isWider);
      facets_.back() = std::move(facet);
    } else {
      facets_.push_back(std::move(facet));
    }
    if (limit_ != 0) std::push_heap(facets_.begin(), facets_.end(), isWider);
  }

  std::vector<Facet> take() && {
    std::sort(facets_.begin(), facets_.end(), isWider);
    return std::move(facets_);
  }

 private:
  std::size_t limit_;
  std::vector<Facet> facets_{};  ///< under a limit a heap with the narrowest in front
};

std::optional<double> differenceOf(const std::optional<Value>& first, const std::optional<Value>& other) {
  if (!first || !other) return std::nullopt;
  const auto* firstTime = std::get_if<Time>(&*first);
  const auto* otherTime = std::get_if<Time>(&*other);
  if (firstTime != nullptr && otherTime != nullptr)
    return static_cast<double>(otherTime->milliseconds - firstTime->milliseconds);
  const std::optional<double> firstNumber = numberOf(*first);
  const std::optional<double> otherNumber = numberOf(*other);
  if (!firstNumber || !otherNumber) return std::nullopt;
  return *otherNumber - *firstNumber;
}

/// Whether two values are the same for somebody who compares records: numbers by value, whatever their kinds.
bool areSame(const std::optional<Value>& left, const std::optional<Value>& right) {
  if (!left || !right) return left.has_value() == right.has_value();
  const std::optional<double> leftNumber = numberOf(*left);
  const std::optional<double> rightNumber = numberOf(*right);
  if (!leftNumber || !rightNumber || left->index() == right->index()) {
    const bool areBothNaN = leftNumber && rightNumber && std::isnan(*leftNumber) && std::isnan(*rightNumber);
    return areBothNaN || *left == *right;
  }
  return *leftNumber == *rightNumber;
}

/// The names in the order in which the records first have them.
template <class NamesOf>
std::vector<std::string> namesOfAll(const std::vector<Record>& records, const NamesOf& namesOf) {
  std::vector<std::string> result;
  std::set<std::string> known;
  for (const Record& record : records) {
    for (std::string& name : namesOf(record)) {
      if (known.insert(name).second) result.push_back(std::move(name));
    }
  }
  return result;
}

template <class ValueOf>
ComparisonRow comparisonOf(const std::string& name, NameInUse::Kind kind, const std::vector<Record>& records,
                           const ValueOf& valueOf) {
  ComparisonRow row{name, kind};
  for (const Record& record : records) {
    row.values.push_back(valueOf(record));
    row.difference.push_back(differenceOf(row.values.front(), row.values.back()));
    row.differs = row.differs || !areSame(row.values.front(), row.values.back());
  }
  return row;
}

}  // namespace

void Records::aggregate(const ObjectProperties& pipeline, const std::function<void(ObjectProperties&)>& receive) const {
  const layout::Place& place = repository::placeOf(kind_);
  store_->aggregateEach(place.database, place.collection, pipeline, [&](ObjectProperties& result) {
    receive(result);
    return true;
  });
}

std::vector<Facet> Records::facets(const std::string& category, const Selection& selection, int limit) const {
  if (limit < 0) throw Error(Error::Kind::query, "a limit is below zero", {"limit"});
  WidestFacets widest(static_cast<std::size_t>(limit));
  aggregate(repository::facets(category, selection), [&](const ObjectProperties& group) {
    widest.add({group.valueAsString("_id", ""), group.valueAsInt64("count", 0)});
  });
  return std::move(widest).take();
}

std::vector<NameInUse> Records::names(const Selection& selection) const {
  std::vector<NameInUse> result;
  const auto collect = [&](const char* path, NameInUse::Kind kind) {
    std::map<std::pair<std::string, PropertyType>, long long> counts;
    aggregate(repository::namesInUse(path, selection), [&](const ObjectProperties& group) {
      std::pair<std::string, PropertyType> name;
      {
        const EnteredScope id = EnteredScope::group(group, "_id");
        const auto stored = static_cast<PropertyType>(group.valueAsInt32("type", 0));
        name = {group.valueAsString("name", ""), kind == NameInUse::Kind::category ? PropertyType::string : stored};
      }
      counts[name] += group.valueAsInt64("count", 0);
    });
    for (const auto& [name, count] : counts) {
      if (!name.first.empty()) result.push_back({name.first, kind, name.second, count});
    }
  };
  collect(layout::path::category, NameInUse::Kind::category);
  collect(layout::path::description, NameInUse::Kind::description);
  return result;
}

std::vector<Figures> Records::stats(const std::vector<std::string>& descriptions, const std::vector<std::string>& by,
                                    const Selection& selection, bool withMedian) const {
  GroupedFigures question;
  question.categories = by;
  for (const std::string& name : descriptions) question.numbers.push_back({name});

  std::map<GroupKey, std::vector<Figures>, GroupKeyOrder> groups;
  aggregate(question.pipeline(selection), [&](const ObjectProperties& group) {
    const GroupKey key = groupKeyIn(group, by.size());
    for (std::size_t i = 0; i < descriptions.size(); ++i) {
      Figures figures = figuresOf(group, i);
      figures.by = key;
      figures.name = descriptions[i];
      groups[key].push_back(std::move(figures));
    }
  });

  if (withMedian) {
    std::map<GroupKey, std::vector<std::vector<double>>, GroupKeyOrder> values;
    aggregate(question.valuesPipeline(selection), [&](const ObjectProperties& record) {
      std::vector<std::vector<double>>& ofGroup = values[groupKeyOf(record, by.size())];
      ofGroup.resize(descriptions.size());
      for (std::size_t i = 0; i < descriptions.size(); ++i) {
        if (const auto number = numberAt(record, numbered("value", i))) ofGroup[i].push_back(*number);
      }
    });
    for (auto& [key, figures] : groups) {
      std::vector<std::vector<double>>& ofGroup = values[key];
      for (std::size_t i = 0; i < ofGroup.size(); ++i) {
        if (!ofGroup[i].empty()) figures[i].median = medianOf(ofGroup[i]);
      }
    }
  }

  std::vector<Figures> result;
  for (auto& [key, figures] : groups) std::move(figures.begin(), figures.end(), std::back_inserter(result));
  return result;
}

Histogram Records::histogram(const std::string& description, int bins, const Selection& selection) const {
  constexpr int mostBins = 10'000;
  if (bins < 1 || bins > mostBins)
    throw Error(Error::Kind::query,
                "a histogram has 1 to " + std::to_string(mostBins) + " bins, not " + std::to_string(bins), {"bins"});
  Histogram result;
  std::optional<double> low;
  std::optional<double> high;
  const auto findRange = [&](const Selection& selected) {
    GroupedFigures question;
    question.numbers = {{description, NumberKind::number}, {description, NumberKind::time}};
    low.reset();
    high.reset();
    aggregate(question.extremesPipeline(selected), [&](const ObjectProperties& extremes) {
      result.isOfTimes = !numberAt(extremes, "min0") && numberAt(extremes, "min1");
      low = numberAt(extremes, result.isOfTimes ? "min1" : "min0");
      high = numberAt(extremes, result.isOfTimes ? "max1" : "max0");
    });
  };
  findRange(selection);
  if (!low || !high) {
    result.missing = count(selection);
    return result;
  }
  if (std::isinf(*low) || std::isinf(*high)) {
    constexpr double largest = std::numeric_limits<double>::max();
    DatabaseFilter finite;
    finite.filter_init();
    finite.setDescriptionAsDouble(OperationType::greaterOrEqual, description, -largest);
    finite.setDescriptionAsDouble(OperationType::lessOrEqual, description, largest);
    finite.filter_finish();
    findRange(selection && Selection(finite));
    if (!low || !high) low = high = 0;  // of infinite values alone: one side each
  }

  const bool isOneValue = *low == *high;
  Bins question;
  question.description = description;
  question.kind = result.isOfTimes ? NumberKind::time : NumberKind::number;
  question.low = *low;
  // Halves first, since the whole range of doubles is infinite.
  question.width = isOneValue ? 1 : (*high / 2 - *low / 2) / bins * 2;
  question.last = isOneValue ? 0 : bins - 1;
  GroupedFigures groups;
  groups.bins = question;
  result.low = question.low;
  result.width = question.width;
  result.counts.assign(static_cast<std::size_t>(question.last) + 1, 0);
  aggregate(groups.pipeline(selection), [&](const ObjectProperties& group) {
    std::optional<double> bin;
    {
      const EnteredScope id = EnteredScope::group(group, "_id");
      bin = numberAt(group, "by0");
    }
    const double inside = std::clamp(bin.value_or(0), 0.0, static_cast<double>(question.last));
    long long& counted = bin ? result.counts[static_cast<std::size_t>(inside)] : result.missing;
    counted += group.valueAsInt64("count", 0);
  });
  return result;
}

std::vector<CoverageCell> Records::coverage(const std::string& first, const std::string& second,
                                            const Selection& selection) const {
  GroupedFigures question;
  question.categories = {first, second};
  struct Counted {
    std::size_t first;
    std::size_t second;
    long long records;
  };
  using Values = std::map<std::string, std::size_t>;  // numbered as they come
  Values firstValues;
  Values secondValues;
  std::vector<Counted> counts;
  aggregate(question.pipeline(selection), [&](const ObjectProperties& group) {
    GroupKey key = groupKeyIn(group, 2);
    if (!key[0] || !key[1]) return;
    const std::size_t one = firstValues.try_emplace(std::move(*key[0]), firstValues.size()).first->second;
    const std::size_t other = secondValues.try_emplace(std::move(*key[1]), secondValues.size()).first->second;
    counts.push_back({one, other, group.valueAsInt64("count", 0)});
  });

  if (secondValues.size() > mostCells / std::max<std::size_t>(firstValues.size(), 1))
    throw Error(Error::Kind::query,
                "a cross table of " + std::to_string(firstValues.size()) + " by " +
                    std::to_string(secondValues.size()) + " values has more than " + std::to_string(mostCells) +
                    " cells",
                {first});
  std::vector<long long> table(firstValues.size() * secondValues.size());
  for (const Counted& counted : counts) table[counted.first * secondValues.size() + counted.second] += counted.records;
  std::vector<CoverageCell> result;
  result.reserve(table.size());
  for (const auto& [one, row] : firstValues) {
    for (const auto& [other, column] : secondValues)
      result.push_back({{one, other}, table[row * secondValues.size() + column]});
  }
  return result;
}

std::vector<ComparisonRow> Records::compare(const std::vector<std::string>& ids) const {
  std::vector<Record> records;
  for (const std::string& id : ids) {
    std::optional<Record> record = read(id);
    if (!record) throw Error(Error::Kind::query, "no record has the id \"" + id + "\"", {id});
    records.push_back(std::move(*record));
  }
  std::vector<ComparisonRow> result;
  for (const std::string& name : namesOfAll(records, [](const Record& record) { return record.categoryNames(); }))
    result.push_back(comparisonOf(name, NameInUse::Kind::category, records, [&](const Record& record) {
      std::optional<std::string> value = record.category(name);
      return value ? std::optional<Value>(std::move(*value)) : std::nullopt;
    }));
  for (const std::string& name : namesOfAll(records, [](const Record& record) { return record.descriptionNames(); }))
    result.push_back(comparisonOf(name, NameInUse::Kind::description, records,
                                  [&](const Record& record) { return record.description(name); }));
  return result;
}

KindSummary Records::summary() const {
  KindSummary result;
  result.kind = kind_;
  result.records = count();
  aggregate(repository::ages(), [&](const ObjectProperties& ages) {
    result.oldest = timeOfId(ages.valueAsId("oldest", ""));
    result.newest = timeOfId(ages.valueAsId("newest", ""));
  });
  return result;
}

std::vector<ScenarioCoverage> scenarioCoverage(DataBaseClient& store, const std::string& name) {
  std::map<std::string, long long> experiments;
  GroupedFigures byName;
  byName.categories = {name};
  store.aggregateEach(layout::experiments.database, layout::experiments.collection, byName.pipeline({}),
                      [&](const ObjectProperties& group) {
                        const GroupKey key = groupKeyIn(group, 1);
                        if (key[0]) experiments[*key[0]] += group.valueAsInt64("count", 0);
                        return true;
                      });
  const auto named = [&](const std::string& value) {
    const auto found = experiments.find(value);
    return found == experiments.end() ? 0 : found->second;
  };
  std::vector<ScenarioCoverage> result;
  Records(store, RecordKind::scenario).forEach({}, {}, [&](const Record& scenario) {
    ScenarioCoverage row{scenario.id(), scenario.category(name)};
    row.experiments = named(row.scenario) + (row.value && *row.value != row.scenario ? named(*row.value) : 0);
    result.push_back(std::move(row));
    return true;
  });
  return result;
}

}  // namespace database_provider
