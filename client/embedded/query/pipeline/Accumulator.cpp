// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/Accumulator.h"

#include <algorithm>
#include <array>
#include <string>
#include <unordered_set>
#include <vector>

#include "client/embedded/query/expression/joiningOperators.h"
#include "client/embedded/query/values/NumberSum.h"
#include "client/embedded/query/values/OwnedValue.h"
#include "client/embedded/query/values/StandardDeviation.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

using bson::Byte;
using bson::IndexKey;
using bson::Value;
using bson::Writer;

namespace {

// What `add` returns is what the accumulator holds now and did not hold before, never less than 0: a value that becomes
// smaller gives nothing back, so that the sum over a run is a bound on its memory.

class Sum : public Accumulator {
 public:
  std::size_t add(const Value& value) override {
    sum_.add(value);
    return 0;
  }
  void write(std::string_view key, Writer& out) override {
    std::array<Byte, 16> room{};
    out.append(key, sum_.total(room.data()));
  }

 private:
  NumberSum sum_;
};

class Average : public Accumulator {
 public:
  std::size_t add(const Value& value) override {
    sum_.add(value);
    return 0;
  }
  void write(std::string_view key, Writer& out) override {
    std::array<Byte, 16> room{};
    out.append(key, sum_.average(room.data()));
  }

 private:
  NumberSum sum_;
};

template <StandardDeviation::Of of>
class Deviation : public Accumulator {
 public:
  std::size_t add(const Value& value) override {
    deviation_.add(value);
    return 0;
  }
  void write(std::string_view key, Writer& out) override {
    const auto result = deviation_.result(of);
    result ? out.appendDouble(key, *result) : out.appendNull(key);
  }

 private:
  StandardDeviation deviation_;
};

/// Keeps one value; null without any.
class OneValue : public Accumulator {
 public:
  void write(std::string_view key, Writer& out) override {
    isMissing(kept_.value()) ? out.appendNull(key) : out.append(key, kept_.value());
  }

 protected:
  std::size_t keep(const Value& value) {
    const std::size_t before = kept_.value().size;
    kept_ = OwnedValue(value);
    return std::max(value.size, before) - before;
  }
  bool keepsNone() const { return isMissing(kept_.value()); }
  Value kept() const { return kept_.value(); }

 private:
  OwnedValue kept_;
};

class Minimum : public OneValue {
 public:
  std::size_t add(const Value& value) override {
    if (isNullish(value)) return 0;
    return keepsNone() || compare(value, kept()) < 0 ? keep(value) : 0;
  }
};

class Maximum : public OneValue {
 public:
  std::size_t add(const Value& value) override {
    if (isNullish(value)) return 0;
    return keepsNone() || compare(value, kept()) > 0 ? keep(value) : 0;
  }
};

/// Of the first document, also where the value is missing there: hence a flag, and not whether something is kept.
class First : public OneValue {
 public:
  std::size_t add(const Value& value) override {
    if (seen_) return 0;
    seen_ = true;
    return keep(value);
  }

 private:
  bool seen_ = false;
};

class Last : public OneValue {
 public:
  std::size_t add(const Value& value) override { return keep(value); }
};

class Push : public Accumulator {
 public:
  std::size_t add(const Value& value) override {
    if (isMissing(value)) return 0;
    const std::size_t before = values_.size();
    values_.append(IndexKey(count_++), value);
    return values_.size() - before;
  }
  void write(std::string_view key, Writer& out) override {
    const auto bytes = values_.take();
    out.appendArray(key, {bytes.data(), bytes.size()});
  }

 private:
  Writer values_;
  std::size_t count_ = 0;
};

/// By the keys of values, so that 1 and 1.0 are one; the form that came first stays.
class AddToSet : public Push {
 public:
  std::size_t add(const Value& value) override {
    if (isMissing(value)) return 0;
    const auto [place, isNew] = keys_.insert(canonicalKey(value));
    return isNew ? Push::add(value) + place->size() + sizeof(std::string) : 0;
  }

 private:
  std::unordered_set<std::string> keys_;
};

class MergeObjects : public Accumulator {
 public:
  std::size_t add(const Value& value) override {
    if (isNullish(value)) return 0;
    if (!value.isDocument()) {
      refuseQuery(code::mergeObjectsOfNoDocument, std::string("$mergeObjects takes documents, not ") + kindOf(value),
                  "$mergeObjects");
    }
    const std::size_t before = merged_.size();
    merged_ = mergedDocument({merged_.data(), merged_.size()}, value.asDocument());
    return std::max(merged_.size(), before) - before;
  }
  void write(std::string_view key, Writer& out) override { out.appendDocument(key, {merged_.data(), merged_.size()}); }

 private:
  std::vector<Byte> merged_ = Writer().take();
};

template <class Kind>
std::unique_ptr<Accumulator> make() {
  return std::make_unique<Kind>();
}

struct NamedMaker {
  std::string_view name;
  AccumulatorMaker maker;
};
constexpr std::array<NamedMaker, 11> makers = {{{"$sum", make<Sum>},
                                                {"$avg", make<Average>},
                                                {"$min", make<Minimum>},
                                                {"$max", make<Maximum>},
                                                {"$first", make<First>},
                                                {"$last", make<Last>},
                                                {"$push", make<Push>},
                                                {"$addToSet", make<AddToSet>},
                                                {"$mergeObjects", make<MergeObjects>},
                                                {"$stdDevPop", make<Deviation<StandardDeviation::Of::population>>},
                                                {"$stdDevSamp", make<Deviation<StandardDeviation::Of::sample>>}}};

// Named, so that whoever uses one is told that the store lacks it rather than that there is no such thing.
constexpr std::array<std::string_view, 12> knownToServers = {"$accumulator", "$bottom", "$bottomN",    "$firstN",
                                                             "$lastN",       "$maxN",   "$median",     "$minN",
                                                             "$top",         "$topN",   "$percentile", "$function"};

}  // namespace

AccumulatorMaker accumulatorNamed(std::string_view name) {
  const auto* const found =
      std::find_if(makers.begin(), makers.end(), [name](const NamedMaker& maker) { return maker.name == name; });
  if (found != makers.end()) return found->maker;
  const bool known = std::find(knownToServers.begin(), knownToServers.end(), name) != knownToServers.end();
  if (known) refuseUnsupported(name, "accumulator");
  refuseQuery(code::unknownAccumulator, "unknown accumulator " + quoted(name), name);
}

}  // namespace database_client::embedded
