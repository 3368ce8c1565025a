// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/Catalogue.h"
#include "tools/terminal/Interrupt.h"
#include "tools/terminal/Table.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::displayWidth;
using values::lowered;
using values::printable;

using Facet = std::pair<std::string, long long>;

struct FacetOptions {
  std::string name{};
  int limit = 0;
  SelectionOptions selection{};
};

/// Whether a facet stands before another: the one with more records, of the same number the lesser value.
bool isWider(const Facet& left, const Facet& right) {
  return left.second != right.second ? left.second > right.second : left.first < right.first;
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

ObjectProperties projection(const char* path) {
  ObjectProperties result;
  result.setValueBool(path, true);
  result.setValueBool("_id", false);
  return result;
}

std::string fieldPath(const char* path) {
  return std::string("$") + path;
}

ObjectProperties itemFields() {
  ObjectProperties result;
  result.setValueString("name", fieldPath(layout::path::categoryName));
  result.setValueString("value", fieldPath(layout::path::categoryValue));
  result.setValueBool("_id", false);
  return result;
}

ObjectProperties nameMatch(const std::string& name) {
  ObjectFilter filter;
  filter.setFilterString(OperationType::equal, "name", name, "i");
  return filter.toObjectProeprties();
}

ObjectProperties countByValue() {
  ObjectProperties result;
  result.setValueString("_id", "$value");
  const database_client::GroupScope count(result, "count");
  result.setValueInt32("$sum", 1);
  return result;
}

ObjectProperties pipelineOf(const FacetOptions& options, const Selection& selection) {
  std::vector<std::pair<const char*, ObjectProperties>> stages = {{"$project", projection(layout::path::category)},
                                                                  {"$unwind", {}},
                                                                  {"$project", itemFields()},
                                                                  {"$match", nameMatch(options.name)},
                                                                  {"$group", countByValue()}};
  ObjectProperties selected = selection.query();
  if (!selected.isEmpty()) stages.insert(stages.begin(), {"$match", std::move(selected)});
  ObjectProperties result;
  result.beginArray("pipeline");
  for (std::size_t i = 0; i < stages.size(); ++i) {
    const database_client::GroupScope stage(result, std::to_string(i));
    if (stages[i].first == std::string_view("$unwind"))
      result.setValueString("$unwind", fieldPath(layout::path::category));
    else
      result.include(stages[i].first, stages[i].second);
  }
  result.endArray();
  return result;
}

std::vector<Facet> countFacets(Session& session, const FacetOptions& options) {
  const Selection selection = options.selection.selection();
  const RecordPlace place = placeOf(options.selection.kind.kind());
  WidestFacets widest(static_cast<std::size_t>(options.limit));
  session.store(Access::existing)
      .aggregateEach(place.database, place.collection, pipelineOf(options, selection), [&](ObjectProperties& group) {
        checkInterrupt();
        widest.add({group.valueAsString("_id", ""), group.valueAsInt64("count", 0)});
        return true;
      });
  return std::move(widest).take();
}

ObjectProperties toJson(const Facet& facet) {
  ObjectProperties result;
  result.setValueString("value", facet.first);
  result.setValueInt64("count", facet.second);
  return result;
}

constexpr std::size_t widestBar = 40;
constexpr std::size_t narrowestBar = 8;

std::size_t barWidth(const Layout& layout, const std::vector<Facet>& facets) {
  std::size_t others = 0;
  for (const Facet& facet : facets) others = std::max(others, displayWidth(printable(facet.first)));
  others += std::to_string(facets.front().second).size() + 6;
  if (layout.width == 0) return widestBar;
  return std::clamp(layout.width > others ? layout.width - others : 0, narrowestBar, widestBar);
}

void writeBars(const std::vector<Facet>& facets) {
  if (facets.empty()) {
    std::cerr << "recordctl: no records\n";
    return;
  }
  const Layout layout = outputLayout();
  const std::size_t width = barWidth(layout, facets);
  Table table(std::cout, layout, {{"value"}, {"count", true}, {"", true}});
  for (const Facet& facet : facets) {
    const auto length =
        static_cast<std::size_t>(facet.second) * width / static_cast<std::size_t>(facets.front().second);
    table.add(
        {{facet.first}, {std::to_string(facet.second), true}, {std::string(std::max<std::size_t>(length, 1), '#')}});
  }
  table.finish();
}

/// Names of categories are taken in either case here.
void tellUnmatched(Session& session, const FacetOptions& options) {
  const Catalogue catalogue = Catalogue::of(options.selection.kind.kind(), session.store(Access::existing));
  const auto isName = [&](const std::string& name) { return lowered(name) == lowered(options.name); };
  if (std::none_of(catalogue.categories.begin(), catalogue.categories.end(), isName))
    tellAside(session, {unknownName({Field::category, options.name}, catalogue)}, options.selection.isStrict);
  options.selection.tellUnmatched(session);
}

void showFacets(Session& session, const FacetOptions& options) {
  const std::vector<Facet> facets = countFacets(session, options);
  if (!session.json()) writeBars(facets);
  if (session.json()) {
    for (const Facet& facet : facets) writeJson(toJson(facet));
  }
  if (facets.empty()) tellUnmatched(session, options);
}

}  // namespace

void addFacets(const Command& commands, Session& session) {
  auto options = std::make_shared<FacetOptions>();
  const Command command = commands.add("facets", "How many records have each value of a category");
  command.argument("NAME", options->name, "the category, in either case");
  options->selection.addTo(command);
  command.option("--limit", "N", options->limit, "only so many values, the widest; 0, the default, for all");
  command.run([&session, options] { showFacets(session, *options); });
}

}  // namespace database_provider::recordctl
