// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/answers.h"
#include "tools/terminal/Table.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::displayWidth;
using values::lowered;
using values::printable;

struct FacetOptions {
  std::string name{};
  int limit = 0;
  SelectionOptions selection{};
};

constexpr std::size_t widestBar = 40;
constexpr std::size_t narrowestBar = 8;

std::size_t barWidth(const Layout& layout, const std::vector<Facet>& facets) {
  std::size_t others = 0;
  for (const Facet& facet : facets) others = std::max(others, displayWidth(printable(facet.value)));
  others += std::to_string(facets.front().count).size() + 6;
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
    const auto length = static_cast<std::size_t>(facet.count) * width / static_cast<std::size_t>(facets.front().count);
    table.add(
        {{facet.value}, {std::to_string(facet.count), true}, {std::string(std::max<std::size_t>(length, 1), '#')}});
  }
  table.finish();
}

/// Names of categories are taken in either case here.
void tellUnmatched(Session& session, const FacetOptions& options) {
  const RecordKind kind = options.selection.kind.kind();
  const auto remark = session.records(kind).remarkOn(options.name, NameInUse::Kind::category);
  if (remark && lowered(remark->nearest) != lowered(options.name))
    tellAside(session, {sentenceOf(*remark, kind)}, options.selection.isStrict);
  options.selection.tellUnmatched(session);
}

void showFacets(Session& session, const FacetOptions& options) {
  const Records records = session.records(options.selection.kind.kind());
  const std::vector<Facet> facets = records.facets(options.name, options.selection.selection(), options.limit);
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
