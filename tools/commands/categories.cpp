// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/input/Columns.h"

namespace database_provider::recordctl {

namespace {

struct CategoriesOptions {
  std::string names{};
  KindOption kind{};
};

void setCategories(Session& session, const CategoriesOptions& options) {
  std::vector<std::string> names;
  if (!options.names.empty()) names = parseNames({options.names}, "categories");
  session.provider(options.kind.kind(), Access::create)->setCategoriesNames({names.begin(), names.end()});
  std::cerr << "recordctl: " << names.size() << (names.size() == 1 ? " category" : " categories") << " configured\n";
}

}  // namespace

void addCategoriesCommand(const Command& commands, Session& session) {
  auto options = std::make_shared<CategoriesOptions>();
  const Command command = commands.add("categories", "The categories that records are meant to have");
  const Command set = command.add("set", "Replace the configured categories");
  set.argument("NAMES", options->names, "A,B,C in their order; an empty text for none", Traits::emptyToo());
  options->kind.addTo(set);
  set.run([&session, options] { setCategories(session, *options); });
}

}  // namespace database_provider::recordctl
