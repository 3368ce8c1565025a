// SPDX-License-Identifier: Apache-2.0

// Goes through what programs do with the records of a store: docs/records.md tells of it, block by block.

#include <iostream>
#include <memory>
#include <string>
#include <vector>

// tour: headers
#include <database_provider/diagnosis.h>
#include <database_provider/records.h>

using namespace database_provider;
// tour end

namespace {

void run(const std::string& address) {
  // tour: open
  const std::unique_ptr<DataBaseClient> store = open(address);
  const Records plots(*store, RecordKind::experiment);
  // tour end

  // tour: insert
  const std::string id = plots.insert(NewRecord()
                                          .category("site", "Waseca")
                                          .category("variety", "Svansota")
                                          .description("year", 1931)
                                          .description("yield", 48.9)
                                          .file(ObjectType::documentObject, "nas", "/trials/1931/waseca.pdf"));
  plots.insertMany({
      NewRecord()
          .category("site", "Waseca")
          .category("variety", "Manchuria")
          .description("year", 1932)
          .description("yield", 33.5),
      NewRecord()
          .category("site", "Morris")
          .category("variety", "Manchuria")
          .description("year", 1931)
          .description("yield", 27.4),
      NewRecord().category("site", "Morris").category("variety", "Svansota").description("year", 1932),
  });
  // tour end

  // tour: find
  for (const auto& [plot, record] : plots.find(where("site=Waseca and yield>40")))
    std::cout << record.category("variety").value_or("?") << ' ' << record.descriptionAs<double>("yield").value_or(0)
              << '\n';
  // tour end

  // tour: read
  if (const std::optional<Record> record = plots.read(id)) {
    std::cout << *record->descriptionAs<double>("yield") << '\n';
    try {
      record->descriptionAs<Time>("yield");
    } catch (const database_client::Error& error) {
      std::cout << error.what() << '\n';  // description "yield" is a double, not a time
    }
  }
  // tour end

  // tour: sort
  FindOptions best;
  best.sort = sortBy("yield:desc");
  best.limit = 2;
  for (const auto& [plot, record] : plots.find(Selection(), best))
    std::cout << record.category("site").value_or("?") << ' ' << record.descriptionAs<double>("yield").value_or(0)
              << '\n';
  // tour end

  // tour: page
  FindOptions page;
  page.limit = 2;
  std::vector<std::string> ids = plots.ids(Selection(), page);
  while (!ids.empty()) {
    std::cout << ids.size() << " records\n";
    page.after = ids.back();
    ids = plots.ids(Selection(), page);
  }
  // tour end

  // tour: questions
  for (const Facet& facet : plots.facets("site")) std::cout << facet.value << ' ' << facet.count << '\n';
  for (const Figures& figures : plots.stats({"yield"}, {"site"}))
    std::cout << figures.by[0].value_or("none") << ": " << figures.count << " of " << figures.count + figures.missing
              << ", mean " << figures.mean.value_or(0) << '\n';
  for (const CoverageCell& cell : plots.coverage("site", "variety"))
    std::cout << cell.values[0] << '/' << cell.values[1] << ' ' << cell.count << '\n';
  // tour end

  // tour: remarks
  if (plots.count(where("sight=Waseca")) == 0)
    for (const Remark& remark : plots.remarks("sight=Waseca"))
      std::cout << remark.text << '\n';  // no record has a category or description "sight"
  // tour end

  // tour: care
  for (const Finding& finding : diagnose(plots))
    std::cout << problemName(finding.problem) << ' ' << finding.name << ": " << finding.records << '\n';
  // tour end

  // tour: remove
  std::cout << plots.remove(where("not has yield")) << " removed\n";
  // tour end
}

}  // namespace

int main(int argc, char** argv) {
  try {
    run(argc > 1 ? argv[1] : "file::memory:");
    return 0;
  } catch (const database_client::Error& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
