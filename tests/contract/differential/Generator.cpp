// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/differential/Generator.h"

namespace database_test {

int Generator::below(int count) {
  return static_cast<int>(dice_() % static_cast<std::uint64_t>(count));
}

const std::string& Generator::oneOf(const Choices& choices) {
  return choices[static_cast<std::size_t>(below(static_cast<int>(choices.size())))];
}

std::string Generator::name() {
  static const Choices names{"a", "b", "c"};
  return oneOf(names);
}

std::string Generator::path() {
  static const Choices plain{"a", "b", "c", "a.b", "b.a", "a.b.c"};
  static const Choices numeric{"a.0", "b.1", "a.0.b"};
  return grammar_.hasNumericParts && chance(15) ? oneOf(numeric) : oneOf(plain);
}

std::string Generator::scalar() {
  static const Choices plain{"0",
                             "1",
                             "-1",
                             "5",
                             "1.5",
                             "{'$numberInt':'2147483647'}",
                             "{'$numberInt':'-2147483648'}",
                             "''",
                             "'a'",
                             "'b'",
                             "'A'",
                             "'é'",
                             "true",
                             "false",
                             "{'$date':{'$numberLong':'-1'}}",
                             "{'$date':{'$numberLong':'0'}}",
                             "{'$oid':'5f5f5f5f5f5f5f5f5f5f5f5f'}"};
  static const Choices odd{"{'$numberDouble':'1.0'}",
                           "{'$numberLong':'1'}",
                           "{'$numberDouble':'-0.0'}",
                           "{'$numberLong':'9223372036854775807'}",
                           "{'$numberLong':'-9223372036854775808'}",
                           "{'$numberLong':'9007199254740991'}",
                           "{'$numberLong':'9007199254740993'}",
                           "{'$numberDouble':'9007199254740992.0'}",
                           "{'$numberDouble':'Infinity'}",
                           "{'$numberDouble':'-Infinity'}",
                           "null"};
  static const Choices decimals{"{'$numberDecimal':'1.0'}", "{'$numberDecimal':'1.5'}", "{'$numberDecimal':'NaN'}"};
  if (!grammar_.hasOddValues) return oneOf(plain);
  if (chance(4)) return "{'$numberDouble':'NaN'}";
  if (chance(5)) return oneOf(decimals);
  return oneOf(chance(62) ? plain : odd);
}

std::string Generator::object(int depth) {
  std::string members;
  for (const char* key : {"a", "b", "c"}) {
    if (chance(50)) members += (members.empty() ? "'" : ",'") + std::string(key) + "':" + value(depth - 1);
  }
  return "{" + members + "}";
}

std::string Generator::array(int depth) {
  std::string elements;
  for (int i = below(4); i > 0; --i) elements += (elements.empty() ? "" : ",") + value(depth - 1);
  return "[" + elements + "]";
}

std::string Generator::value(int depth) {
  if (depth > 0 && chance(25)) return object(depth);
  if (grammar_.hasOddValues && depth > 0 && chance(30)) return array(depth);
  return scalar();
}

std::string Generator::document(int id) {
  std::string members = "'_id':" + std::to_string(id);
  for (const char* key : {"a", "b", "c"}) {
    if (chance(75)) members += ",'" + std::string(key) + "':" + value(3);
  }
  return "{" + members + "}";
}

std::string Generator::operand() {
  if (!grammar_.hasOddValues || chance(80)) return scalar();
  return chance(50) ? object(1) : "[" + scalar() + "]";
}

std::string Generator::scalarList() {
  std::string values;
  for (int i = below(4); i > 0; --i) values += (values.empty() ? "" : ",") + scalar();
  return "[" + values + "]";
}

std::string Generator::comparison() {
  static const Choices operators{"$gt", "$gte", "$lt", "$lte"};
  return "{'" + oneOf(operators) + "':" + scalar() + "}";
}

std::string Generator::condition(int depth) {
  switch (below(grammar_.hasExactMod ? 14 : 12)) {
    case 12:
      return "{'$all':[" + scalar() + "]}";
    case 13:
      return "{'$mod':[" + std::to_string(1 + below(3)) + "," + std::to_string(below(3)) + "]}";
    case 0:
      return "{'$ne':" + operand() + "}";
    case 1:
    case 2:
      return comparison();
    case 3:
      return "{'$in':" + scalarList() + "}";
    case 4:
      return "{'$nin':" + scalarList() + "}";
    case 5:
      return chance(50) ? "{'$exists':true}" : "{'$exists':false}";
    case 6:
      return "{'$type':" + oneOf({"'number'", "'string'", "'null'", "'array'", "'object'", "'bool'", "16", "1"}) + "}";
    case 7:
      return "{'$size':" + std::to_string(below(3)) + "}";
    case 8:
      if (!grammar_.hasPatterns) return comparison();
      return "{'$regex':'" + oneOf({"a", "^a", "^$", "b$", "."}) + "','$options':'" + oneOf({"", "i"}) + "'}";
    case 9:
      return depth > 0 ? "{'$not':" + comparison() + "}" : operand();
    case 10:
      return "{'$elemMatch':" + (grammar_.hasElementFields && chance(50) ? filter(0) : comparison()) + "}";
    default:
      return operand();
  }
}

std::string Generator::filter(int depth) {
  static const Choices groups{"$and", "$or", "$nor"};
  if (depth > 0 && chance(25)) return "{'" + oneOf(groups) + "':[" + filter(depth - 1) + "," + filter(depth - 1) + "]}";
  return "{'" + path() + "':" + condition(depth) + "}";
}

std::string Generator::projection() {
  const std::string keep = chance(50) ? "1" : "0";
  return "{'" + path() + "':" + keep + (chance(30) ? ",'_id':0}" : "}");
}

std::string Generator::change() {
  return "{'" + path() + "':" + value(1) + "}";
}

std::string Generator::selector() {
  const std::string first = path();
  std::string other = name();
  while (other.front() == first.front()) other = name();
  std::string conditions = "'" + first + "':" + scalar();
  if (!grammar_.hasNestedSeeds) return "{" + conditions + "}";
  if (chance(30)) return "{" + conditions + ",'" + other + "':{'$gt':" + scalar() + "}}";
  if (chance(30)) conditions += ",'$and':[{'" + other + "':{'$eq':" + scalar() + "}}]";
  return "{" + conditions + "}";
}

std::string Generator::addition() {
  return "{'" + name() + "':" + value(1) + "}";
}

std::string Generator::expressionPath() {
  return grammar_.hasPathsThroughArrays ? path() : name();
}

std::string Generator::group() {
  const std::string key = name();
  const std::string guard = grammar_.hasEmptyKeys ? "" : "{'$match':{'" + key + "':{'$ne':[]}}},";
  return guard + "{'$group':{'_id':'$" + key + "','n':{'$sum':1},'low':{'$min':'$" + name() + "'}}}";
}

std::string Generator::stage() {
  switch (below(8)) {
    case 7:
      return "{'$sort':{'" + expressionPath() + "':" + (chance(50) ? "1" : "-1") + ",'_id':1}},{'$limit':5}";
    case 0:
      return "{'$match':" + filter(1) + "}";
    case 1:
      return "{'$project':" + (grammar_.hasPathsThroughArrays ? projection() : "{'" + name() + "':0}") + "}";
    case 2:
      return "{'$unwind':'$" + expressionPath() + "'}";
    case 3:
      return "{'$unwind':{'path':'$" + name() + "','preserveNullAndEmptyArrays':true}}";
    case 4:
      if (!grammar_.hasNewFields) return group();
      return "{'$addFields':{'c':'$" + expressionPath() + "'}}";
    case 5:
      return group();
    default:
      return "{'$unset':'" + name() + "'}";
  }
}

std::string Generator::pipeline() {
  std::string stages;
  for (int i = 1 + below(3); i > 0; --i) stages += (stages.empty() ? "" : ",") + stage();
  return "[" + stages + "]";
}

}  // namespace database_test
