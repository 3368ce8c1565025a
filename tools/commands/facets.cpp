#include <algorithm>
#include <iostream>
#include <list>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/Table.h"
#include "tools/core/Text.h"

namespace database_provider::recordctl {

namespace {

using Facet = std::pair<std::string, long long>;

struct FacetOptions {
  std::string name{};
  SelectionOptions selection{};
};

/// The name as a pattern that fits only itself.
std::string escaped(const std::string& name) {
  std::string result;
  for (const char c : name) {
    if (std::string_view("\\^$.|?*+()[]{}").find(c) != std::string_view::npos) result += '\\';
    result += c;
  }
  return result;
}

ObjectProperties projection(const char* path) {
  ObjectProperties result;
  result.setValueBool(path, true);
  result.setValueBool("_id", false);
  return result;
}

ObjectProperties itemFields() {
  ObjectProperties result;
  result.setValueString("name", "$recordInfo.category.name");
  result.setValueString("value", "$recordInfo.category.value");
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
  const database_client::Group count(result, "count");
  result.setValueInt32("$sum", 1);
  return result;
}

/// The provider counts over all records only, so a selection takes a pipeline of its own.
ObjectProperties pipelineOf(const FacetOptions& options, const Selection& selection) {
  const std::vector<std::pair<const char*, ObjectProperties>> stages = {
      {"$match", selection.filter.toObjectProeprties()},
      {"$project", projection("recordInfo.category")},
      {"$unwind", {}},
      {"$project", itemFields()},
      {"$match", nameMatch(options.name)},
      {"$group", countByValue()}};
  ObjectProperties result;
  result.beginArray("pipeline");
  for (std::size_t i = 0; i < stages.size(); ++i) {
    const database_client::Group stage(result, std::to_string(i));
    if (stages[i].first == std::string_view("$unwind"))
      result.setValueString("$unwind", "$recordInfo.category");
    else
      result.include(stages[i].first, stages[i].second);
  }
  result.endArray();
  return result;
}

std::vector<Facet> countSelected(Session& session, const FacetOptions& options, const Selection& selection) {
  const RecordPlace place = placeOf(options.selection.kind.kind());
  std::list<ObjectProperties*> found;
  session.store(Access::existing).aggregate(place.database, place.collection, pipelineOf(options, selection), found);
  std::vector<Facet> result;
  for (ObjectProperties* pointer : found) {
    const std::unique_ptr<ObjectProperties> document(pointer);
    result.emplace_back(document->valueAsString("_id", ""), document->valueAsInt64("count", 0));
  }
  return result;
}

std::vector<Facet> countAll(Session& session, const FacetOptions& options) {
  std::map<std::string, int> counts;
  session.provider(options.selection.kind.kind(), Access::existing)
      ->categoriesStatistics(escaped(options.name), counts);
  return {counts.begin(), counts.end()};
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

void showFacets(Session& session, const FacetOptions& options) {
  const Selection selection = options.selection.selection();
  auto facets =
      options.selection.where.empty() ? countAll(session, options) : countSelected(session, options, selection);
  std::sort(facets.begin(), facets.end(), [](const Facet& left, const Facet& right) {
    return left.second != right.second ? left.second > right.second : left.first < right.first;
  });
  if (!session.json()) return writeBars(facets);
  for (const Facet& facet : facets) writeJson(toJson(facet));
}

}  // namespace

void addFacets(const Command& commands, Session& session) {
  auto options = std::make_shared<FacetOptions>();
  const Command command = commands.add("facets", "How many records have each value of a category");
  command.argument("NAME", options->name, "the category, in either case");
  options->selection.addTo(command);
  command.run([&session, options] { showFacets(session, *options); });
}

}  // namespace database_provider::recordctl
