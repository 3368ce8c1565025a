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

std::string Generator::operands(const std::string& first, const std::string& second) {
  return "[" + first + "," + second + "]";
}

std::string Generator::variable(const std::string& name) {
  return grammar_.hasPathsThroughArrays && chance(40) ? "'$$" + name + ".a'" : "'$$" + name + "'";
}

/// What stands for an expression where it may be missing.
std::string Generator::present(const std::string& expression) {
  return grammar_.hasOddOperands ? expression : "{'$ifNull':" + operands(expression, scalar()) + "}";
}

std::string Generator::number(int depth) {
  static const Choices constants{"0", "1", "-3", "2.5", "{'$numberInt':'2147483647'}", "{'$numberLong':'4000000000'}"};
  static const Choices ofTwo{"$add", "$subtract", "$multiply", "$min", "$max", "$sum", "$avg"};
  static const Choices ofOne{"$abs", "$floor", "$ceil", "$trunc", "$round"};
  static const Choices divisors{"2", "-3", "0.5", "{'$numberLong':'7'}"};
  if (depth == 0 || chance(25)) {
    if (chance(30)) return oneOf(constants);
    const std::string path = "'$" + name() + "'";
    return "{'$cond':[{'$in':[{'$type':" + path + "},['int','double']]}," + path + "," + oneOf(constants) + "]}";
  }
  switch (below(6)) {
    case 0:
      return "{'" + oneOf(ofOne) + "':" + number(depth - 1) + "}";
    case 1:
      return "{'" + oneOf({"$divide", "$mod"}) + "':" + operands(number(depth - 1), oneOf(divisors)) + "}";
    case 2:
      return "{'$size':" + list(depth - 1) + "}";
    case 3:
      return "{'$cond':[" + truth(depth - 1) + "," + number(depth - 1) + "," + number(depth - 1) + "]}";
    default:
      return "{'" + oneOf(ofTwo) + "':" + operands(number(depth - 1), number(depth - 1)) + "}";
  }
}

std::string Generator::truth(int depth) {
  static const Choices comparisons{"$eq", "$ne", "$lt", "$lte", "$gt", "$gte"};
  if (depth == 0 || chance(40)) {
    return "{'" + oneOf(comparisons) + "':" + operands(expression(depth > 0 ? depth - 1 : 0), expression(0)) + "}";
  }
  switch (below(6)) {
    case 0:
      return "{'$not':[" + expression(depth - 1) + "]}";
    case 1:
      return "{'$in':" + operands("{'$ifNull':" + operands(expression(depth - 1), "0") + "}", list(depth - 1)) + "}";
    case 2:
      return "{'" + oneOf({"$isArray", "$isNumber"}) + "':[" + expression(depth - 1) + "]}";
    default:
      return "{'" + oneOf({"$and", "$or"}) + "':" + operands(truth(depth - 1), expression(depth - 1)) + "}";
  }
}

std::string Generator::list(int depth) {
  if (depth == 0 || chance(30)) {
    const std::string path = "'$" + name() + "'";
    return "{'$cond':[{'$isArray':[" + path + "]}," + path + ",[" + scalar() + "," + present(path) + "]]}";
  }
  switch (below(4)) {
    case 0: {
      const std::string in = oneOf({variable("each"), "{'x':" + variable("each") + "}", "{'$eq':['$$each','$a']}"});
      return "{'$map':{'input':" + list(depth - 1) + ",'as':'each','in':" + in + "}}";
    }
    case 1:
      return "{'$concatArrays':" + operands(list(depth - 1), list(depth - 1)) + "}";
    default: {
      const std::string condition = oneOf({variable("this"), "{'$gt':['$$this',1]}",
                                           "{'$ne':[" + variable("this") + ",'$b']}", "{'$isNumber':'$$this'}"});
      return "{'$filter':{'input':" + list(depth - 1) + ",'cond':" + condition + "}}";
    }
  }
}

std::string Generator::expression(int depth) {
  if (depth == 0 || chance(20)) return chance(30) ? scalar() : present("'$" + expressionPath() + "'");
  switch (below(9)) {
    case 0:
      return truth(depth - 1);
    case 1:
      return list(depth - 1);
    case 2:
      return present("{'$arrayElemAt':" + operands(list(depth - 1), std::to_string(below(4) - 2)) + "}");
    case 3:
      return "{'$ifNull':" + operands(expression(depth - 1), expression(depth - 1)) + "}";
    case 4:
      return "{'$switch':{'branches':[{'case':" + truth(depth - 1) + ",'then':" + expression(depth - 1) +
             "}],'default':" + expression(depth - 1) + "}}";
    case 5: {
      const std::string in =
          oneOf({variable("x"), "{'$ifNull':" + operands("'$$x'", present("'$b'")) + "}", "{'y':" + variable("x") + "}",
                 "{'$let':{'vars':{'x':" + present("'$a'") + "},'in':['$$x']}}"});
      return "{'$let':{'vars':{'x':" + expression(depth - 1) + "},'in':" + in + "}}";
    }
    case 6:
      return "{'$type':" + expression(depth - 1) + "}";
    default:
      return number(depth - 1);
  }
}

/// A number or a truth value alone would be a flag in a $project.
std::string Generator::computation() {
  switch (below(4)) {
    case 0:
      return "[{'$addFields':{'x':" + expression(3) + ",'a':" + expression(2) + "}}]";
    case 1:
      return "[{'$sort':{'_id':1}},{'$group':{'_id':{'t':" + truth(2) + "},'n':{'" +
             (grammar_.hasOddOperands ? "$sum" : "$max") + "':" + number(2) + "},'low':{'$min':" + expression(2) +
             "},'high':{'$max':" + expression(2) + "}}}]";
    case 2:
      return "[{'$match':" + filter(1) + "},{'$project':{'x':[" + expression(2) + "],'y':{'z':[" + number(3) + "]}}}]";
    default:
      return "[{'$project':{'x':[" + expression(3) + "],'y':[" + number(3) + "]}}]";
  }
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
