// SPDX-License-Identifier: Apache-2.0

// Goes through what programs do with the records of a store: docs/records.md tells of it, block by block.

#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

// tour: headers
#include <database_provider/arrow.h>
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

  // tour: update
  const ChangeResult result = plots.update(
      where("site=Waseca"), Changes().category("soil", "loam").compute("gain", "yield - 30").unset("note"));
  std::cout << result.changed << " changed, " << result.skipped << " without a yield\n";
  // tour end

  // tour: rename
  plots.rename({"gain", "surplus"});
  plots.renameValues("soil", {{"loam", "silty loam"}});
  plots.convert("surplus", PropertyType::string);
  // tour end

  // tour: upsert
  const auto plot = [](const char* site, const char* variety, int year) {
    return NewRecord().category("site", site).category("variety", variety).description("year", year);
  };
  const ImportResult written =
      plots.upsertMany({plot("Morris", "Svansota", 1932).description("yield", 35.1), plot("Crookston", "Trebi", 1932)},
                       {"site", "variety", "year"});
  std::cout << written.imported << " new, " << written.updated << " changed\n";  // 1 new, 1 changed
  // tour end

  // tour: import
  std::istringstream table("site,variety,year,yield\nCrookston,Trebi,1932,20.6\nMorris,Svansota,1932,\nMorris,,,30\n");
  const auto rows = readRows("plots.csv", RowFormat::csv, [&](char* bytes, std::size_t size) {
    table.read(bytes, static_cast<std::streamsize>(size));
    return static_cast<std::size_t>(table.gcount());
  });
  ImportPlan plan;
  plan.categories = {"site", "variety"};
  plan.descriptions = {{"year", PropertyType::int32}, {"yield", PropertyType::real}};
  plan.key = {"site", "variety", "year"};
  const ImportResult imported = plots.importFrom(*rows, plan);
  std::cout << imported.updated << " changed, " << imported.unchanged << " as they were\n";
  for (const BadRow& bad : imported.badRows)  // plots.csv:4: variety: has no value, and belongs to the key
    std::cout << bad.origin.file << ':' << bad.origin.line << ": " << bad.column << ": " << bad.reason << '\n';
  // tour end

  // tour: arrow
  ArrowArrayStream stream;
  plots.exportArrow(where("year=1932"), {"site", "yield", "created"}, &stream);
  ArrowArray batch;
  while (stream.get_next(&stream, &batch) == 0 && batch.release != nullptr) {
    std::cout << batch.length << " rows of " << batch.n_children << " columns\n";
    batch.release(&batch);
  }
  stream.release(&stream);
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
