// SPDX-License-Identifier: Apache-2.0
#include "importing/ColumnInference.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "importing/RecordMaker.h"
#include "records/layout.h"
#include "values/Number.h"
#include "values/Text.h"

namespace database_provider::importing {

namespace {

using Use = InferredColumn::Use;

constexpr std::size_t mostColumns = 10'000;
constexpr std::size_t deepestPath = 10;
// Texts of few values: every table has some columns of up to twenty, and a large one may have more where each of them
// comes often.
constexpr std::size_t alwaysFew = 20;
constexpr std::size_t mostTexts = 1000;
constexpr long long oftenEnough = 10;
constexpr std::size_t longestCategory = 64;
// One slip in a hundred, and no fewer than a hundred values to say so.
constexpr long long valuesForSlips = 100;
constexpr std::size_t longestSample = 40;
constexpr std::array absentWords = {"NA", "N/A", "n/a", "#N/A", "-", "--", "?", ".", "null", "NULL", "None"};

/// Of each order of the date the formats, with or without the time of day.
const std::vector<std::vector<std::size_t>>& orders() {
  static const std::vector<std::vector<std::size_t>> result = {{0, 1, 2}, {3, 4, 5}, {6, 7, 8}, {9, 10, 11},
                                                               {12, 13},  {14},      {15},      {16}};
  return result;
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isAbsentWord(std::string_view text) {
  return std::find(absentWords.begin(), absentWords.end(), text) != absentWords.end();
}

bool isHexDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

/// An object id, or a UUID.
bool looksLikeId(std::string_view text) {
  constexpr std::size_t sizeOfObjectId = 24;
  constexpr std::size_t sizeOfUuid = 36;
  if (text.size() == sizeOfObjectId || text.size() == 32) return isHexDigits(text);
  return text.size() == sizeOfUuid && text[8] == '-' && text[13] == '-' && text[18] == '-' && text[23] == '-' &&
         isHexDigits(text.substr(0, 8));
}

std::string counted(long long count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

// Of two that both take 01/02/2012 the day stands first; without a date that only one of them takes neither is chosen.
const std::array<const char*, ColumnInference::formatCount>& ColumnInference::timeFormats() {
  static const std::array<const char*, formatCount> formats = {
      "%d/%m/%Y", "%d/%m/%Y %H:%M", "%d/%m/%Y %H:%M:%S", "%m/%d/%Y", "%m/%d/%Y %H:%M",          "%m/%d/%Y %H:%M:%S",
      "%Y/%m/%d", "%Y/%m/%d %H:%M", "%Y/%m/%d %H:%M:%S", "%d.%m.%Y", "%d.%m.%Y %H:%M",          "%d.%m.%Y %H:%M:%S",
      "%d %b %Y", "%d %b %Y %H:%M", "%b %d, %Y",         "%d-%b-%Y", "%a, %d %b %Y %H:%M:%S %z"};
  return formats;
}

ColumnInference::ColumnInference(ImportPlan given, bool areTextsTyped)
    : given_(std::move(given)), areTextsTyped_(areTextsTyped) {
  for (const std::string& name : columnNames(given_)) named_.insert(name);
  named_.insert("_id");
  named_.insert(layout::key::recordInfo);
}

void ColumnInference::bring(const ImportPlan& plan) {
  for (const std::string& name : plan.categories) {
    if (!named_.insert(name).second) continue;
    brought_.insert(name);
    given_.categories.push_back(name);
  }
  for (const ImportPlan::Description& column : plan.descriptions) {
    if (!named_.insert(column.name).second) continue;
    brought_.insert(column.name);
    given_.descriptions.push_back(column);
  }
}

ColumnInference::Column* ColumnInference::columnOf(std::string_view name) {
  if (named_.find(name) != named_.end()) {
    const auto brought = brought_.find(name);
    if (brought != brought_.end()) brought_.erase(brought);
    return nullptr;
  }
  const auto [place, isNew] = places_.try_emplace(std::string(name), columns_.size());
  if (!isNew) return place->second < columns_.size() ? &columns_[place->second] : nullptr;
  if (columns_.size() == mostColumns) {
    places_.erase(place);
    return nullptr;
  }
  columns_.emplace_back().name = name;
  return &columns_.back();
}

void ColumnInference::add(const Row& row) {
  if (!row.problem.empty() || row.refusal) return;
  ++rows_;
  if (row.cells.empty()) return addDocument(ElementReader(row.parsed), "", row.line, 0);
  if (header_ != row.keys) {
    header_ = row.keys;
    byCell_.clear();
    for (const std::string& name : header_) byCell_.push_back(columnOf(name));
  }
  for (std::size_t i = 0; i < row.cells.size(); ++i) addCell(i, row.cells[i], row.line);
}

void ColumnInference::addCell(std::size_t place, const std::string& cell, std::size_t line) {
  if (byCell_[place] == nullptr || cell.empty()) return;
  addText(*byCell_[place], cell, true, line);
}

void ColumnInference::addDocument(ElementReader level, const std::string& prefix, std::size_t line, std::size_t depth) {
  while (level.next()) {
    const std::string name = prefix + std::string(level.key());
    const PropertyType type = level.type();
    if (type == PropertyType::group && depth < deepestPath && named_.find(name) == named_.end()) {
      addDocument(level.children(), name + ".", line, depth + 1);
      // A value under the same name in another row would be one or the other.
      const auto known = places_.find(name);
      if (known != places_.end()) note(columns_[known->second], Look::nested, "an object", line);
      continue;
    }
    if (Column* column = columnOf(name)) addValue(*column, level, line);
  }
}

void ColumnInference::addValue(Column& column, const ElementReader& value, std::size_t line) {
  switch (value.type()) {
    case PropertyType::undefined:
    case PropertyType::null:
      return;
    case PropertyType::string:
      if (!value.asString().empty()) addText(column, value.asString(), areTextsTyped_, line);
      return;
    case PropertyType::boolean:
      noteText(column, value.asBool(false) ? "true" : "false");
      return note(column, Look::boolean, value.asBool(false) ? "true" : "false", line);
    case PropertyType::int32:
    case PropertyType::int64: {
      const std::int64_t number = value.type() == PropertyType::int32 ? value.asInt32(0) : value.asInt64(0);
      const bool isNarrow = number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
      const std::string text = std::to_string(number);
      noteText(column, text);
      return note(column, isNarrow ? Look::int32 : Look::int64, text, line);
    }
    case PropertyType::real: {
      const std::string text = values::formatReal(value.asDouble(0));
      noteText(column, text);
      return note(column, Look::real, text, line);
    }
    case PropertyType::time:
      noteText(column, "a time");
      return note(column, Look::time, values::formatTime(value.asTime(0)), line);
    default:
      return note(column, Look::nested, value.type() == PropertyType::array ? "an array" : "another kind", line);
  }
}

void ColumnInference::addText(Column& column, std::string_view text, bool isTyped, std::size_t line) const {
  noteText(column, text);
  note(column, lookOf(column, values::trimmed(text), isTyped), text, line);
}

void ColumnInference::note(Column& column, Look look, std::string_view text, std::size_t line) {
  ++column.present;
  const auto place = static_cast<std::size_t>(look);
  if (column.looks[place]++ == 0) column.samples[place] = {values::excerpt(text, longestSample), line};
  constexpr std::size_t mostWords = 20;
  if (look == Look::absent && column.absent.size() < mostWords) column.absent.emplace(text);
}

void ColumnInference::noteText(Column& column, std::string_view text) {
  if (text.size() > longestCategory || text.find('\n') != std::string_view::npos) column.hasLongTexts = true;
  if (column.hasLongTexts || column.hasManyTexts) return;
  column.texts.emplace(text);
  if (column.texts.size() <= mostTexts) return;
  column.hasManyTexts = true;
  column.texts.clear();
}

ColumnInference::Look ColumnInference::lookOf(Column& column, std::string_view text, bool isTyped) const {
  if (text.empty() || given_.absent.end() != std::find(given_.absent.begin(), given_.absent.end(), text))
    return Look::absent;
  if (isTyped) {
    const std::string_view unsignedText = text.substr(text.front() == '-' ? 1 : 0);
    const bool beginsAsNumber = !unsignedText.empty() && (isDigit(unsignedText.front()) ||
                                                          unsignedText.front() == '.' || unsignedText.front() == ',');
    const bool isAllDigits = beginsAsNumber && std::all_of(unsignedText.begin(), unsignedText.end(), isDigit);
    const auto signs = std::count_if(unsignedText.begin(), unsignedText.end(), [](char c) { return !isDigit(c); });
    if (unsignedText.size() > 1 && unsignedText[0] == '0' && isDigit(unsignedText[1]) && signs <= 1 &&
        unsignedText.find_first_not_of("0123456789.,") == std::string_view::npos)
      return Look::zeros;
    if (isAllDigits) {
      const auto number = values::parseInteger(text);
      if (!number) return Look::digits;
      const bool isNarrow = *number >= std::numeric_limits<int>::min() && *number <= std::numeric_limits<int>::max();
      return isNarrow ? Look::int32 : Look::int64;
    }
    if (beginsAsNumber && text.find_first_of(",.eE") != std::string_view::npos &&
        text.find_first_not_of("0123456789,.eE+-") == std::string_view::npos) {
      const bool isPlain = values::parseReal(text).has_value();
      const bool isPointGroups = !isPlain && values::plainNumber(text, '.', ',').has_value();
      const bool isComma = values::plainNumber(text, ',', '\0').has_value();
      const bool isCommaGroups = !isComma && values::plainNumber(text, ',', '.').has_value();
      if (isPlain) return isCommaGroups ? Look::pointOrGroup : Look::real;
      if (isComma) return isPointGroups ? Look::commaOrGroup : Look::comma;
      if (isPointGroups) return Look::pointAndGroups;
      if (isCommaGroups) return Look::commaAndGroups;
    }
    if (text == "true" || text == "True" || text == "TRUE" || text == "false" || text == "False" || text == "FALSE")
      return Look::boolean;
  }
  if (isAbsentWord(text)) return Look::absent;
  if (text.size() <= 9 && values::parseNonFinite(text)) return Look::nonFinite;
  return lookOfTime(column, text);
}

ColumnInference::Look ColumnInference::lookOfTime(Column& column, std::string_view text) const {
  constexpr std::size_t shortest = 8;
  constexpr std::size_t longest = 40;
  constexpr long long valuesToGiveUp = 50;
  if (text.size() < shortest || text.size() > longest) return Look::text;
  if (values::parseTime(text)) return Look::time;
  bool isTime = false;
  for (const std::string& format : given_.timeFormats) isTime = isTime || values::parseTime(text, format);
  if (isTime) return Look::time;
  // To try all formats takes long, and most texts are none of them.
  if (!column.areFormatsLookedAt || text.find_first_of("0123456789") == std::string_view::npos) return Look::text;
  for (std::size_t i = 0; i < formatCount; ++i) {
    if (column.present >= valuesToGiveUp && column.formats[i] == 0) continue;
    if (!values::parseTime(text, timeFormats()[i])) continue;
    ++column.formats[i];
    isTime = true;
  }
  column.areFormatsLookedAt = isTime || column.present < valuesToGiveUp || column[Look::otherTime] > 0;
  return isTime ? Look::otherTime : Look::text;
}

/// Whether so many values are all of them, but for slips.
bool ColumnInference::fits(const Column& column, long long values) {
  const long long wanted = column.present - column[Look::absent];
  const bool wouldLose = column[Look::zeros] + column[Look::digits] + column[Look::nested] > 0;
  if (values == 0 || wouldLose) return false;
  return values == wanted || (wanted >= valuesForSlips && (wanted - values) * 100 <= wanted);
}

long long ColumnInference::numbersOf(const Column& column, const Forms& forms) {
  const long long plain = column[Look::int32] + column[Look::int64] + column[Look::nonFinite];
  if (forms.decimal == ',')
    return plain + column[Look::comma] + column[Look::commaOrGroup] +
           (forms.hasCommaGroups ? column[Look::commaAndGroups] + column[Look::pointOrGroup] : 0);
  return plain + column[Look::real] + column[Look::pointOrGroup] +
         (forms.hasPointGroups ? column[Look::pointAndGroups] + column[Look::commaOrGroup] : 0);
}

ColumnInference::Forms ColumnInference::formsOfAll() const {
  const auto isAny = [this](const auto& condition) { return std::any_of(columns_.begin(), columns_.end(), condition); };
  Forms withPoint{'.', true, false, ""};
  Forms withComma{',', false, true, ""};
  const bool hasPoint = isAny([&](const Column& column) {
    return column[Look::real] + column[Look::pointAndGroups] > 0 && fits(column, numbersOf(column, withPoint));
  });
  const bool hasComma = isAny([&](const Column& column) {
    return column[Look::comma] + column[Look::commaAndGroups] > 0 && fits(column, numbersOf(column, withComma));
  });
  Forms result;
  result.decimal = given_.decimal != '\0' ? given_.decimal : hasComma && !hasPoint ? ',' : '.';
  // Who says which sign stands before fractions, says that the other one does not.
  result.hasPointGroups =
      result.decimal == '.' && (given_.decimal == '.' || given_.thousands == ',' || isAny([&](const Column& column) {
                                  return column[Look::pointAndGroups] > 0 && fits(column, numbersOf(column, withPoint));
                                }));
  result.hasCommaGroups =
      result.decimal == ',' && (given_.thousands == '.' || isAny([&](const Column& column) {
                                  return column[Look::commaAndGroups] > 0 && fits(column, numbersOf(column, withComma));
                                }));
  long long dayFirst = 0;
  long long monthFirst = 0;
  for (const Column& column : columns_) {
    const long long days = column.formats[0] + column.formats[1] + column.formats[2];
    const long long months = column.formats[3] + column.formats[4] + column.formats[5];
    if (fits(column, days + column[Look::time]) && days > months) ++dayFirst;
    if (fits(column, months + column[Look::time]) && months > days) ++monthFirst;
  }
  if (dayFirst > 0 && monthFirst == 0) result.timeFormat = "%d";
  if (monthFirst > 0 && dayFirst == 0) result.timeFormat = "%m";
  return result;
}

std::string ColumnInference::sampleOf(const Column& column, Look look) {
  const Sample& sample = column.samples[static_cast<std::size_t>(look)];
  return "\"" + sample.text + "\"" + (sample.line > 0 ? ", line " + std::to_string(sample.line) : "");
}

/// The first value that is not as the others.
std::string ColumnInference::surprise(const Column& column, const std::set<Look>& expected) {
  std::optional<Look> first;
  for (std::size_t i = 0; i < lookCount; ++i) {
    const auto look = static_cast<Look>(i);
    if (look == Look::absent || column.looks[i] == 0 || expected.count(look) > 0) continue;
    if (!first || column.samples[i].line < column.samples[static_cast<std::size_t>(*first)].line) first = look;
  }
  return first ? sampleOf(column, *first) : "";
}

bool ColumnInference::decideNumber(const Column& column, const Forms& forms, ImportPlan& plan,
                                   InferredColumn& result) const {
  const long long numbers = numbersOf(column, forms);
  if (numbers == 0 || !fits(column, numbers)) return false;
  // Of texts of JSON alone nan and inf are words.
  if (numbers == column[Look::nonFinite] && !areTextsTyped_ && header_.empty()) return false;
  const Column& c = column;
  std::set<Look> expected{Look::int32, Look::int64, Look::nonFinite};
  long long grouped = 0;
  long long fractions = c[Look::nonFinite];
  if (forms.decimal == ',') {
    expected.insert({Look::comma, Look::commaOrGroup});
    fractions += c[Look::comma] + c[Look::commaOrGroup];
    if (forms.hasCommaGroups) {
      expected.insert({Look::commaAndGroups, Look::pointOrGroup});
      grouped = c[Look::commaAndGroups] + c[Look::pointOrGroup];
    }
  } else {
    expected.insert({Look::real, Look::pointOrGroup});
    fractions += c[Look::real] + c[Look::pointOrGroup];
    if (forms.hasPointGroups) {
      expected.insert({Look::pointAndGroups, Look::commaOrGroup});
      grouped = c[Look::pointAndGroups] + c[Look::commaOrGroup];
    }
  }
  if (grouped > 0) plan.thousands = forms.decimal == ',' ? '.' : ',';
  if (forms.decimal == ',' && (fractions > c[Look::nonFinite] || grouped > 0)) plan.decimal = ',';
  // Whether a number with groups has a fraction too is not counted; the wide type takes both.
  const bool isWholeColumn = fractions == 0 && grouped == 0;
  result.type = !isWholeColumn ? PropertyType::real : c[Look::int64] > 0 ? PropertyType::int64 : PropertyType::int32;
  result.surprises = c.present - c[Look::absent] - numbers;
  if (result.surprises > 0)
    result.reason = counted(result.surprises, "value") + " no number, first " + surprise(c, expected);
  return true;
}

long long ColumnInference::countOf(const Column& column, std::size_t order) {
  long long count = 0;
  for (const std::size_t format : orders()[order]) count += column.formats[format];
  return count;
}

/// The order of the date that the texts of a column have. Where two take them all equally, another column may have
/// decided; else `reason` says so.
std::optional<std::size_t> ColumnInference::orderOf(const Column& column, const Forms& forms, std::string& reason) {
  std::vector<std::size_t> fitting;
  for (std::size_t order = 0; order < orders().size(); ++order) {
    const long long count = countOf(column, order);
    if (count > 0 && fits(column, column[Look::time] + count)) fitting.push_back(order);
  }
  if (fitting.empty()) return std::nullopt;
  if (fitting.size() == 1) return fitting.front();
  const long long first = countOf(column, fitting[0]);
  const long long second = countOf(column, fitting[1]);
  if (first != second) return fitting[first > second ? 0 : 1];
  if (!forms.timeFormat.empty()) return fitting[forms.timeFormat == "%d" ? 0 : 1];
  reason = "day or month first: " + sampleOf(column, Look::otherTime) + "; --time-format says which";
  return std::nullopt;
}

bool ColumnInference::decideTime(const Column& column, const Forms& forms, ImportPlan& plan, InferredColumn& result) {
  long long values = column[Look::time];
  std::vector<std::string> chosen;
  if (column[Look::otherTime] > 0) {
    const auto order = orderOf(column, forms, result.reason);
    if (!order) return false;
    values += countOf(column, *order);
    for (const std::size_t format : orders()[*order]) {
      if (column.formats[format] > 0) chosen.emplace_back(timeFormats()[format]);
    }
  } else if (!fits(column, values)) {
    return false;
  }
  std::vector<std::string>& known = plan.timeFormats;
  for (const std::string& format : chosen) {
    // What another column has decided otherwise would be read in that way here.
    const std::string contrary = format.rfind("%d/", 0) == 0 ? "%m/" : format.rfind("%m/", 0) == 0 ? "%d/" : "none";
    const bool isContrary = std::any_of(known.begin(), known.end(),
                                        [&](const std::string& other) { return other.rfind(contrary, 0) == 0; });
    if (!isContrary) continue;
    result.reason = "days and months stand in another order than in the column before";
    return false;
  }
  for (const std::string& format : chosen) {
    if (std::find(known.begin(), known.end(), format) == known.end()) known.push_back(format);
  }
  result.type = PropertyType::time;
  result.surprises = column.present - column[Look::absent] - values;
  if (result.surprises > 0)
    result.reason =
        counted(result.surprises, "value") + " no time, first " + surprise(column, {Look::time, Look::otherTime});
  return true;
}

void ColumnInference::decideText(const Column& column, const Forms& forms, InferredColumn& result) {
  const Column& c = column;
  const long long numbers = numbersOf(c, forms);
  std::string why;
  if (c[Look::zeros] > 0)
    why = "leading zeros (" + sampleOf(c, Look::zeros) + ")";
  else if (c[Look::digits] > 0)
    why = "more digits than a number has (" + sampleOf(c, Look::digits) + ")";
  else if (!result.reason.empty())
    why = result.reason;
  else if (c[Look::commaOrGroup] > 0 && fits(c, numbers + c[Look::commaOrGroup]))
    why = "thousands or a fraction: " + sampleOf(c, Look::commaOrGroup) + "; --decimal says which";
  else if (c[Look::pointOrGroup] > 0 && fits(c, numbers + c[Look::pointOrGroup]))
    why = "thousands or a fraction: " + sampleOf(c, Look::pointOrGroup) + "; --thousands . makes it a number";
  else if (numbers > 0 && numbers < c.present - c[Look::absent])
    why = "mixed: numbers, and " +
          surprise(c, {Look::int32, Look::int64, Look::real, Look::pointOrGroup, Look::commaOrGroup,
                       Look::pointAndGroups, Look::comma, Look::commaAndGroups, Look::nonFinite});
  const auto count = static_cast<long long>(c.texts.size());
  const bool isFew = !c.hasManyTexts && (c.texts.size() <= alwaysFew || c.present >= oftenEnough * count);
  const bool areIds =
      !c.texts.empty() && count == c.present && count > 1 &&
      std::all_of(c.texts.begin(), c.texts.end(), [](const std::string& text) { return looksLikeId(text); });
  result.use = !c.hasLongTexts && isFew && !areIds ? Use::category : Use::userBlock;
  const std::string texts = c.hasLongTexts   ? "long texts"
                            : areIds         ? "an id of each row"
                            : c.hasManyTexts ? "more than " + std::to_string(mostTexts) + " different texts"
                                             : counted(count, "different text");
  result.reason = why.empty() ? texts : why + "; " + texts;
}

/// A name that records have already stays what it is where that takes every value.
void ColumnInference::asInStore(const Column& column, const StoreColumns& inStore, InferredColumn& result) {
  const StoreColumn* known = inStore.find(column.name);
  if (known == nullptr || known->name != column.name || column[Look::nested] > 0) return;
  if (known->kind == StoreColumn::Kind::category && result.use == Use::description &&
      result.type != PropertyType::boolean && result.type != PropertyType::time) {
    result.use = Use::category;
    result.reason = "a category in the store";
  }
  if (known->kind != StoreColumn::Kind::description || known->types.size() != 1) return;
  const PropertyType type = known->types.front();
  const bool isWider =
      result.use == Use::description &&
      ((type == PropertyType::int64 && result.type == PropertyType::int32) ||
       (type == PropertyType::real && (result.type == PropertyType::int32 || result.type == PropertyType::int64)));
  const bool isText = type == PropertyType::string && column.present > 0;
  if (!isWider && !isText) return;
  result.use = Use::description;
  result.type = type;
  result.surprises = isText ? 0 : result.surprises;
  result.reason = "as in the store";
}

InferredColumn ColumnInference::decide(const Column& column, const Forms& forms, ImportPlan& plan) const {
  InferredColumn result;
  result.name = column.name;
  result.values = column.present;
  const auto described = [&](PropertyType type) {
    result.use = Use::description;
    result.type = type;
  };
  if (column.present == 0) {
    result.reason = "empty";
    return result;
  }
  if (column[Look::nested] > 0) {
    result.reason = column.samples[static_cast<std::size_t>(Look::nested)].text == "an array" ? "arrays" : "objects";
    return result;
  }
  if (fits(column, column[Look::boolean])) {
    described(PropertyType::boolean);
    result.surprises = column.present - column[Look::absent] - column[Look::boolean];
    if (result.surprises > 0)
      result.reason =
          counted(result.surprises, "value") + " neither true nor false, first " + surprise(column, {Look::boolean});
  } else if (decideNumber(column, forms, plan, result) || decideTime(column, forms, plan, result)) {
    described(result.type);
  } else {
    decideText(column, forms, result);
    return result;
  }
  for (const std::string& word : column.absent) {
    if (std::find(plan.absent.begin(), plan.absent.end(), word) == plan.absent.end()) plan.absent.push_back(word);
  }
  return result;
}

InferredPlan ColumnInference::result(const StoreColumns& inStore) const {
  InferredPlan result;
  result.plan = given_;
  result.rows = rows_;
  auto& categories = result.plan.categories;
  auto& descriptions = result.plan.descriptions;
  const auto isMissing = [this](const std::string& name) { return brought_.count(name) > 0; };
  categories.erase(std::remove_if(categories.begin(), categories.end(), isMissing), categories.end());
  descriptions.erase(std::remove_if(descriptions.begin(), descriptions.end(),
                                    [&](const ImportPlan::Description& column) { return isMissing(column.name); }),
                     descriptions.end());
  const Forms forms = formsOfAll();
  for (const Column& column : columns_) {
    InferredColumn decided = decide(column, forms, result.plan);
    asInStore(column, inStore, decided);
    if (decided.use == Use::category) result.plan.categories.push_back(decided.name);
    if (decided.use == Use::description) result.plan.descriptions.push_back({decided.name, decided.type});
    result.columns.push_back(std::move(decided));
  }
  return result;
}

}  // namespace database_provider::importing
