// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/QueryParts.h"

#include <algorithm>

#include "client/bson/Writer.h"
#include "client/embedded/index/plan/cost.h"

namespace database_client::embedded::index {

void Answer::intersect(const Answer& other) {
  RidSet both = std::move(maybe);
  both.unite(sure);
  RidSet others;
  others.unite(other.sure);
  others.unite(other.maybe);
  both.intersect(others);
  sure.intersect(other.sure);
  both.subtract(sure);
  maybe = std::move(both);
}

void Answer::makeUnsure() {
  maybe.unite(sure);
  sure.clear();
}

void ItemsPart::addTerms(std::string low, std::string high, bool sure) {
  const std::uint64_t estimate = scan_.estimate(low, high);
  terms_.push_back({{std::move(low), std::move(high)}, sure, estimate});
}

std::uint64_t ItemsPart::estimate() const {
  std::uint64_t total = 0;
  for (const Terms& terms : terms_) total += terms.estimate;
  return total;
}

Answer ItemsPart::answer() const {
  Answer answer;
  for (const Terms& terms : terms_) {
    if (terms.sure && textFilter_) {
      collectTexts(terms.range, answer);
    } else {
      scan_.collect(terms.range.low, terms.range.high, terms.sure ? answer.sure : answer.maybe);
    }
  }
  answer.maybe.subtract(answer.sure);
  return answer;
}

void ItemsPart::collectTexts(const KeyRange& range, Answer& answer) const {
  TextProbe probe;
  scan_.eachTerm(range.low, range.high, [&](std::string_view key, auto&& eachRun) {
    scan_.checkWanted();
    const ParsedKey parsed = parseKey(key);
    if (parsed.valueClass == ValueClass::string && !probe.accepts(*textFilter_, "v", parsed.payload)) return;
    eachRun([&](Run run) { answer.sure.addRange(run.first, run.length); });
  });
}

std::uint64_t Conjunction::estimate() const {
  std::uint64_t least = ~std::uint64_t{0};
  for (const QueryPartPtr& part : parts_) least = std::min(least, part->estimate());
  return least;
}

/// Begins with the part that leaves least; one that costs more than rechecking what is left is left out.
Answer Conjunction::answer() const {
  struct Estimated {
    std::uint64_t records;
    const QueryPart* part;
  };
  std::vector<Estimated> parts;
  for (const QueryPartPtr& part : parts_) parts.push_back({part->estimate(), part.get()});
  std::sort(parts.begin(), parts.end(), [](const Estimated& a, const Estimated& b) { return a.records < b.records; });
  Answer answer = parts.front().part->answer();
  bool complete = complete_;
  for (std::size_t i = 1; i < parts.size(); ++i) {
    if (cost::collecting(parts[i].records) <= cost::reading(answer.count())) {
      answer.intersect(parts[i].part->answer());
    } else {
      complete = false;
    }
  }
  if (!complete) answer.makeUnsure();
  return answer;
}

void Conjunction::describe(std::vector<std::string>& paths) const {
  for (const QueryPartPtr& part : parts_) part->describe(paths);
}

std::uint64_t Disjunction::estimate() const {
  std::uint64_t total = 0;
  for (const QueryPartPtr& part : parts_) total += part->estimate();
  return total;
}

Answer Disjunction::answer() const {
  Answer answer;
  for (const QueryPartPtr& part : parts_) {
    const Answer one = part->answer();
    answer.sure.unite(one.sure);
    answer.maybe.unite(one.maybe);
  }
  answer.maybe.subtract(answer.sure);
  return answer;
}

void Disjunction::describe(std::vector<std::string>& paths) const {
  for (const QueryPartPtr& part : parts_) part->describe(paths);
}

bool TextProbe::accepts(const Matcher& matcher, std::string_view key, std::string_view text) {
  bson::Writer writer;
  writer.appendString(key, text);
  bytes_ = writer.take();
  return matcher.matches({bytes_.data(), bytes_.size()});
}

}  // namespace database_client::embedded::index
