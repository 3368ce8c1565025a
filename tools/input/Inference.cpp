// SPDX-License-Identifier: Apache-2.0
#include "tools/input/Inference.h"

#include <algorithm>
#include <iostream>

#include "importing/ColumnInference.h"
#include "importing/toolFormats.h"
#include "tools/terminal/Interrupt.h"
#include "tools/terminal/Progress.h"
#include "values/Cell.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using Use = InferredColumn::Use;
using values::columnTypeName;

std::string escaped(const std::string& name) {
  std::string result;
  for (const char c : name) {
    if (c == ',' || c == ':' || c == '\\') result += '\\';
    result += c;
  }
  return result;
}

std::string useOf(const InferredColumn& column) {
  if (column.use == Use::category) return "category";
  if (column.use == Use::description) return "description " + columnTypeName(column.type);
  return "user block";
}

void add(std::string& list, const std::string& item) {
  list += (list.empty() ? "" : ",") + item;
}

}  // namespace

long long inferColumns(Session& session, ImportTask& task) {
  importing::StoreColumns inStore;
  if (!session.isNewFile())
    inStore = importing::StoreColumns(Records(session.store(Access::create), task.kind).names());
  bool areTextsTyped = false;
  for (InputSource& source : task.sources) {
    if (source.canBeReadOnlyOnce()) source.spool();
    areTextsTyped = areTextsTyped || source.format == RowFormat::mlflow || source.format == RowFormat::junit;
  }
  importing::ColumnInference inference(task.plan, areTextsTyped);
  Progress progress(0);
  std::uint64_t rows = 0;
  for (const InputSource& source : task.sources) {
    const auto reader = source.open();
    inference.bring(planFor(source.format));
    inference.leave(importing::keysKept(*reader));
    importing::Row row;
    while (reader->next(row)) {
      checkInterrupt();
      inference.add(row);
      progress.update(0, ++rows);
    }
  }
  progress.hide();
  InferredPlan result = inference.result(inStore);
  task.plan = std::move(result.plan);
  task.inferred = std::move(result.columns);
  return result.rows;
}

void showColumns(const std::vector<InferredColumn>& columns) {
  constexpr std::size_t widest = 40;
  std::size_t names = 0;
  std::size_t uses = 0;
  for (const InferredColumn& column : columns) {
    names = std::max(names, std::min(widest, values::displayWidth(values::printable(column.name))));
    uses = std::max(uses, useOf(column).size());
  }
  const auto padded = [](const std::string& text, std::size_t width) {
    const std::size_t taken = values::displayWidth(text);
    return text + std::string(taken < width ? width - taken : 0, ' ');
  };
  for (const InferredColumn& column : columns) {
    std::string line = "  " + padded(values::shortened(values::printable(column.name), widest), names) + "  ";
    line +=
        column.reason.empty() ? useOf(column) : padded(useOf(column), uses) + "  " + values::printable(column.reason);
    if (column.surprises > 0) line += " (bad rows; --on-surprise text keeps them as texts)";
    std::cerr << line << '\n';
  }
}

void tellColumns(const std::vector<InferredColumn>& columns) {
  std::string categories;
  std::string descriptions;
  std::string rest;
  const auto append = [](std::string& list, const std::string& item) { list += (list.empty() ? "" : ", ") + item; };
  for (const InferredColumn& column : columns) {
    const std::string name = values::excerpt(column.name);
    if (column.use == Use::category) append(categories, name);
    if (column.use == Use::description) append(descriptions, name + " (" + columnTypeName(column.type) + ")");
    if (column.use == Use::userBlock) append(rest, name + " (" + values::printable(column.reason) + ")");
  }
  std::string line;
  for (const auto& [title, list] : {std::pair("categories: ", &categories), std::pair("descriptions: ", &descriptions),
                                    std::pair("user block: ", &rest)}) {
    if (!list->empty()) line += (line.empty() ? "" : "; ") + std::string(title) + *list;
  }
  std::cerr << "recordctl: " << line << '\n';
}

std::string shellWord(const std::string& text) {
  const bool isPlain = !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("_-.,:/=@%+").find(c) != std::string_view::npos;
  });
  if (isPlain) return text;
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

std::string planOptions(const ImportPlan& plan) {
  std::string result;
  const auto option = [&](const char* name, const std::string& value) {
    if (!value.empty()) result += std::string(" ") + name + " " + shellWord(value);
  };
  std::string categories;
  for (const std::string& name : plan.categories) add(categories, escaped(name));
  option("--category", categories);
  std::string descriptions;
  for (const ImportPlan::Description& column : plan.descriptions)
    add(descriptions, escaped(column.name) + ":" + columnTypeName(column.type));
  option("--description", descriptions);
  std::string absent;
  for (const std::string& text : plan.absent) add(absent, escaped(text));
  option("--na", absent);
  if (plan.decimal != '\0') option("--decimal", std::string(1, plan.decimal));
  if (plan.thousands != '\0') option("--thousands", std::string(1, plan.thousands));
  for (const std::string& format : plan.timeFormats) option("--time-format", format);
  if (plan.timeUnit) option("--time-unit", *plan.timeUnit == std::chrono::seconds(1) ? "s" : "ms");
  if (plan.surpriseAsText) result += " --on-surprise text";
  if (categories.empty() && descriptions.empty()) result += " --no-infer";
  return result;
}

}  // namespace database_provider::recordctl
