// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/FilterRows.h"

#include <utility>

#include "database_client/ObjectFilter.h"
#include "database_provider/DatabaseFilter.h"

namespace database_test {

using database_client::ObjectFilter;
using database_client::ObjectProperties;
using database_provider::DatabaseFilter;
using Op = database_client::OperationType;

namespace {

constexpr long long beyondDoubles = 9007199254740993;
const char* const objectId = "5f5f5f5f5f5f5f5f5f5f5f5f";

// Ways in which a filter becomes a query: straight, after a copy of it was changed, and read back from its own query.
template <typename Filter>
std::vector<ObjectProperties> queriesOf(const Filter& filter) {
  std::vector<ObjectProperties> queries{filter.toObjectProeprties()};
  Filter copy(filter);
  copy.include(copy);
  queries.push_back(filter.toObjectProeprties());
  Filter readBack;
  readBack.fromObjectProperties(queries.front());
  queries.push_back(readBack.toObjectProeprties());
  return queries;
}

FilterRow object(std::string name, std::string expected, const std::function<void(ObjectFilter&)>& build) {
  return {std::move(name), std::move(expected), [build] {
            ObjectFilter filter;
            build(filter);
            return queriesOf(filter);
          }};
}

FilterRow record(std::string name, std::string expected, const std::function<void(DatabaseFilter&)>& build) {
  return {std::move(name), std::move(expected), [build] {
            DatabaseFilter filter;
            filter.filter_init();
            build(filter);
            filter.filter_finish();
            return queriesOf(filter);
          }};
}

using Rows = std::vector<FilterRow>;

Rows texts() {
  const auto text = [](std::string name, std::string expected, Op operation, const std::string& value,
                       const std::string& options) {
    return object(std::move(name), std::move(expected),
                  [=](ObjectFilter& f) { f.setFilterString(operation, "s", value, options); });
  };
  return {
      text("TextEqual", "1", Op::equal, "abc", ""),
      text("TextEqualInEitherCase", "1 2", Op::equal, "abc", "i"),
      text("TextNotEqual", "2 3 4 5 6 7 8", Op::notEqual, "abc", ""),
      text("TextNotEqualInEitherCase", "3 4 5 6 7 8", Op::notEqual, "abc", "i"),
      text("TextWithPatternCharacters", "3", Op::equal, "a.b*c", ""),
      text("TextWithPatternCharactersInEitherCase", "3", Op::equal, "A.B*C", "i"),
      text("TextWithAnchorsInEitherCase", "4", Op::equal, "A^B$", "i"),
      text("TextWithBlanksUnderTheOptionForBlanks", "7", Op::equal, "X Y#Z", "ix"),
      text("TextEmpty", "5", Op::equal, "", ""),
      text("TextEmptyUnderOptions", "5", Op::equal, "", "i"),
      text("TextThatNamesAnOperator", "", Op::equal, "$gt", ""),
      text("TextLess", "2 3 4 5", Op::less, "abc", ""),
      text("TextLessOrEqual", "1 2 3 4 5", Op::lessOrEqual, "abc", ""),
      text("TextGreater", "6 7", Op::greater, "abc", ""),
      text("TextGreaterOrEqual", "1 6 7", Op::greaterOrEqual, "abc", ""),
      text("PatternAtTheStart", "1 3 4 6", Op::matches, "^a", ""),
      text("PatternInEitherCase", "1 2 3 4 6", Op::matches, "^A", "i"),
      text("PatternNegated", "2 5 7 8", Op::notMatches, "^a", ""),
      text("PatternBeforeAFinalNewline", "1 3 6", Op::matches, "c$", ""),
      text("PatternWithADot", "3 4", Op::matches, "a.b", ""),
      text("PatternWithAnEscapedDollar", "4", Op::matches, "\\$", ""),
      text("TextExists", "1 2 3 4 5 6 7", Op::exists, "ignored", "i"),
      text("TextNotExists", "8", Op::notExists, "ignored", ""),
  };
}

Rows values() {
  return {
      object("IntEqual", "1 5", [](ObjectFilter& f) { f.setFilterInt(Op::equal, "a", 1); }),
      object("IntNotEqual", "2 3 4 6 7 8", [](ObjectFilter& f) { f.setFilterInt(Op::notEqual, "a", 1); }),
      object("IntLess", "1 5 6", [](ObjectFilter& f) { f.setFilterInt(Op::less, "a", 2); }),
      object("IntGreaterOrEqual", "2 3", [](ObjectFilter& f) { f.setFilterInt(Op::greaterOrEqual, "a", 2); }),
      object("DoubleGreater", "2 3 6", [](ObjectFilter& f) { f.setFilterDouble(Op::greater, "a", 1.0); }),
      object("DoubleLessOrEqual", "1 5 6", [](ObjectFilter& f) { f.setFilterDouble(Op::lessOrEqual, "a", 1.5); }),
      object("LongEqual", "3", [](ObjectFilter& f) { f.setFilterLongLong(Op::equal, "a", beyondDoubles); }),
      object("DoubleNextToALong", "", [](ObjectFilter& f) { f.setFilterDouble(Op::equal, "a", 9007199254740992.0); }),
      object("ValueExistsEvenNull", "1 2 3 4 5 6 8", [](ObjectFilter& f) { f.setFilterInt(Op::exists, "a", 0); }),
      object("ValueNotExists", "7", [](ObjectFilter& f) { f.setFilterInt(Op::notExists, "a", 0); }),
      object("BoolEqual", "6", [](ObjectFilter& f) { f.setFilterBool(Op::equal, "b", true); }),
      object("BoolNotEqual", "1 2 3 4 5 7 8", [](ObjectFilter& f) { f.setFilterBool(Op::notEqual, "b", true); }),
      object("TimeLess", "6", [](ObjectFilter& f) { f.setFilterTime(Op::less, "t", 0); }),
      object("TimeGreaterOrEqual", "3", [](ObjectFilter& f) { f.setFilterTime(Op::greaterOrEqual, "t", 1000); }),
      object("IdEqual", "7", [](ObjectFilter& f) { f.setFilterId(Op::equal, "o", objectId); }),
      object("IdOfAnotherForm", "1", [](ObjectFilter& f) { f.setFilterId(Op::equal, "o", "foreign"); }),
      object("IdNotEqual", "1 2 3 4 5 6 8", [](ObjectFilter& f) { f.setFilterId(Op::notEqual, "o", objectId); }),
      object("PathIntoAnObject", "1 2", [](ObjectFilter& f) { f.setFilterInt(Op::equal, "g.x", 1); }),
      object("PathIntoAnArray", "1", [](ObjectFilter& f) { f.setFilterString(Op::equal, "l.n", "q", ""); }),
      object("RangeOnOneKey", "6",
             [](ObjectFilter& f) {
               f.setFilterDouble(Op::greater, "a", 1);
               f.setFilterDouble(Op::less, "a", 2);
             }),
      object("OneElementForAll", "2",
             [](ObjectFilter& f) {
               f.beginGroup("l");
               f.beginGroup("$elemMatch");
               f.setFilterString(Op::equal, "n", "p", "");
               f.setFilterInt(Op::equal, "v", 2);
               f.endGroup();
               f.endGroup();
             }),
  };
}

void a(ObjectFilter& f, int value) {
  f.setFilterInt(Op::equal, "a", value);
}
void s(ObjectFilter& f, const char* value) {
  f.setFilterString(Op::equal, "s", value, "");
}

void fiveLevels(ObjectFilter& f) {
  f.start_or();
  f.start_and();
  f.start_or();
  f.start_and();
  a(f, 1);
  f.start_or();
  s(f, "abc");
  s(f, "");
  f.finish_or();
  f.finish_and();
  s(f, "x y#z");
  f.finish_or();
  f.setFilterBool(Op::exists, "s", true);
  f.finish_and();
  f.setFilterBool(Op::equal, "b", true);
  f.finish_or();
}

void emptyGroups(ObjectFilter& f) {
  f.start_and();
  f.start_or();
  f.start_and();
  f.start_or();
  f.start_and();
  f.finish_and();
  f.finish_or();
  f.finish_and();
  f.finish_or();
  f.finish_and();
}

Rows groups() {
  return {
      object("Nothing", "1 2 3 4 5 6 7 8", [](ObjectFilter& /*f*/) {}),
      object("Or", "1 2 5", [](ObjectFilter& f) { f.start_or(), a(f, 1), s(f, "ABC"), f.finish_or(); }),
      object("OrOnOneKey", "1 2 5", [](ObjectFilter& f) { f.start_or(), a(f, 1), a(f, 2), f.finish_or(); }),
      object("AndInOr", "1 2",
             [](ObjectFilter& f) {
               f.start_or(), f.start_and(), a(f, 1), s(f, "abc"), f.finish_and(), a(f, 2), f.finish_or();
             }),
      object("OrBesideACondition", "1",
             [](ObjectFilter& f) { a(f, 1), f.start_or(), s(f, "abc"), s(f, "ABC"), f.finish_or(); }),
      object("FiveLevels", "1 5 6 7", fiveLevels),
      object("EmptyAnd", "2", [](ObjectFilter& f) { f.start_and(), f.finish_and(), a(f, 2); }),
      object("EmptyOr", "2", [](ObjectFilter& f) { f.start_or(), f.finish_or(), a(f, 2); }),
      object("EmptyGroupInOr", "2",
             [](ObjectFilter& f) { f.start_or(), f.start_and(), f.finish_and(), a(f, 2), f.finish_or(); }),
      object("EmptyGroupsAlone", "1 2 3 4 5 6 7 8", emptyGroups),
      object("UnclosedGroup", "1 2", [](ObjectFilter& f) { f.start_or(), a(f, 2), s(f, "abc"); }),
      object("SurplusClose", "2", [](ObjectFilter& f) { f.finish_and(), f.finish_or(), a(f, 2), f.finish_and(); }),
      object("OrClosedByTheOtherFinish", "2",
             [](ObjectFilter& f) {
               f.start_or(), a(f, 2), s(f, "abc"), f.finish_and();
               f.setFilterBool(Op::exists, "b", true);
             }),
      object("IncludedFilterIsOneAlternative", "1 2",
             [](ObjectFilter& f) {
               ObjectFilter other;
               s(other, "abc"), a(other, 1);
               f.start_or(), a(f, 2), f.include(other), f.finish_or();
             }),
      object("IncludedFilterWithoutConditions", "2", [](ObjectFilter& f) { a(f, 2), f.include(ObjectFilter()); }),
  };
}

Rows categories() {
  const auto category = [](std::string name, std::string expected, Op operation, const std::string& of,
                           const std::string& value, const std::string& options = "") {
    return record(std::move(name), std::move(expected),
                  [=](DatabaseFilter& f) { f.setCategory(operation, of, value, options); });
  };
  return {
      record("RecordsAll", "1 2 3 4 5 6 7 8", [](DatabaseFilter& /*f*/) {}),
      category("CategoryEqual", "1 3", Op::equal, "Site", "Waseca"),
      category("CategoryEqualInEitherCase", "1 3", Op::equal, "Site", "WASECA", "i"),
      category("CategoryNotEqual", "2 4 7", Op::notEqual, "Site", "Waseca"),
      category("CategoryGreater", "1 3 4", Op::greater, "Site", "O"),
      category("CategoryExistsInEitherCase", "1 2 3 4 7 8", Op::exists, "site", ""),
      category("CategoryNotExists", "5 6", Op::notExists, "Site", ""),
      category("CategoryMatches", "1 3", Op::matches, "Site", "^W"),
      category("CategoryMatchesInEitherCase", "1 3 4", Op::matches, "Site", "^w", "i"),
      category("CategoryNotMatches", "2 4 7", Op::notMatches, "Site", "^W"),
      category("CategoryNameWithPatternCharacters", "7", Op::equal, "Si.te", "x"),
      category("CategoryNameWithPatternCharactersExists", "7", Op::exists, "Si.te", ""),
      record("CategoriesBoth", "1",
             [](DatabaseFilter& f) {
               f.setCategory(Op::equal, "Site", "Waseca", "");
               f.setCategory(Op::equal, "Color", "red", "");
             }),
      record("CategoriesEither", "2 3",
             [](DatabaseFilter& f) {
               f.start_or();
               f.setCategory(Op::equal, "Site", "Morris", "");
               f.setCategory(Op::equal, "Color", "Red", "");
               f.finish_or();
             }),
  };
}

Rows descriptions() {
  return {
      record("DescriptionDoubleGreater", "2 3",
             [](DatabaseFilter& f) { f.setDescriptionAsDouble(Op::greater, "yield", 30); }),
      record("DescriptionDoubleEqual", "1",
             [](DatabaseFilter& f) { f.setDescriptionAsDouble(Op::equal, "yield", 27.5); }),
      record("DescriptionDoubleFindsAnInt", "3",
             [](DatabaseFilter& f) { f.setDescriptionAsDouble(Op::equal, "yield", 40); }),
      record("DescriptionInt", "1", [](DatabaseFilter& f) { f.setDescriptionAsInt(Op::equal, "year", 1931); }),
      record("DescriptionIntRange", "1",
             [](DatabaseFilter& f) {
               f.setDescriptionAsInt(Op::greaterOrEqual, "year", 1931);
               f.setDescriptionAsInt(Op::less, "year", 1932);
             }),
      record("DescriptionLong", "3",
             [](DatabaseFilter& f) { f.setDescriptionAsLongLong(Op::equal, "big", beyondDoubles); }),
      record("DescriptionTextIsNoNumber", "8",
             [](DatabaseFilter& f) { f.setDescriptionAsString(Op::equal, "yield", "27.5", ""); }),
      record("DescriptionTextInEitherCase", "2",
             [](DatabaseFilter& f) { f.setDescriptionAsString(Op::equal, "note", "A.B*C", "i"); }),
      record("DescriptionMatches", "2",
             [](DatabaseFilter& f) { f.setDescriptionAsString(Op::matches, "note", "a.b", ""); }),
      record("DescriptionBool", "4", [](DatabaseFilter& f) { f.setDescriptionAsBool(Op::equal, "done", true); }),
      record("DescriptionTime", "8", [](DatabaseFilter& f) { f.setDescriptionAsTime(Op::lessOrEqual, "when", 0); }),
      record("DescriptionExistsInEitherCase", "1 2 3 8",
             [](DatabaseFilter& f) { f.setDescriptionAsInt(Op::exists, "YIELD", 0); }),
      record("DescriptionNotExists", "4 5 6 7",
             [](DatabaseFilter& f) { f.setDescriptionAsDouble(Op::notExists, "yield", 0); }),
      record("RecordId", "4", [](DatabaseFilter& f) { f.setId(Op::equal, "4"); }),
      record("RecordIdNot", "1 2 3 5 6 7 8", [](DatabaseFilter& f) { f.setId(Op::notEqual, "4"); }),
      record("RecordsOfEitherPair", "1 2",
             [](DatabaseFilter& f) {
               f.start_or(), f.start_and();
               f.setCategory(Op::equal, "Site", "Waseca", "");
               f.setCategory(Op::equal, "Color", "red", "");
               f.finish_and(), f.start_and();
               f.setCategory(Op::equal, "Site", "Morris", "");
               f.setDescriptionAsInt(Op::equal, "year", 1932);
               f.finish_and(), f.finish_or();
             }),
      record("RecordsOfAnIncludedFilter", "1",
             [](DatabaseFilter& f) {
               DatabaseFilter other;
               other.setCategory(Op::equal, "Site", "Waseca", "");
               f.setDescriptionAsInt(Op::exists, "year", 0);
               f.include(other);
             }),
  };
}

Rows allRows() {
  Rows all;
  for (const Rows& part : {texts(), values(), groups(), categories(), descriptions()}) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

}  // namespace

const std::vector<FilterRow>& filterRows() {
  static const std::vector<FilterRow> rows = allRows();
  return rows;
}

const std::vector<const char*>& filterRecords() {
  static const std::vector<const char*> records{
      "{'_id':'1','s':'abc','a':1,'o':'foreign','g':{'x':1,'y':2},'l':[{'n':'p','v':1},{'n':'q','v':2}],'recordInfo':{"
      "'category':[{'name':'Site','value':'Waseca'},{'name':'Color','value':'red'}],'description':[{'name':'yield',"
      "'type':8,'value':27.5},{'name':'year','type':6,'value':1931},{'name':'note','type':4,'value':'first'}]}}",
      "{'_id':'2','s':'ABC','a':2.0,'b':false,'g':{'x':1},'l':[{'n':'p','v':2}],'recordInfo':{'category':[{'name':'"
      "Site',"
      "'value':'Morris'},{'name':'Color','value':'blue'}],'description':[{'name':'yield','type':8,'value':48.9},{'name'"
      ":"
      "'year','type':6,'value':1932},{'name':'note','type':4,'value':'a.b*c'}]}}",
      "{'_id':'3','s':'a.b*c','a':{'$numberLong':'9007199254740993'},'t':{'$date':{'$numberLong':'1000'}},'l':[],"
      "'recordInfo':{'category':[{'name':'Site','value':'Waseca'},{'name':'Color','value':'Red'}],'description':[{'"
      "name':"
      "'yield','type':6,'value':40},{'name':'big','type':7,'value':{'$numberLong':'9007199254740993'}}]}}",
      "{'_id':'4','s':'a^b$','a':null,'recordInfo':{'category':[{'name':'Site','value':'wasec'}],'description':[{'name'"
      ":"
      "'done','type':5,'value':true}]}}",
      "{'_id':'5','s':'','a':[1,'x']}",
      "{'_id':'6','s':'abc\\n','a':1.5,'b':true,'t':{'$date':{'$numberLong':'-1000'}},'recordInfo':{'category':[],"
      "'description':[]}}",
      "{'_id':'7','s':'x "
      "y#z','o':{'$oid':'5f5f5f5f5f5f5f5f5f5f5f5f'},'recordInfo':{'category':[{'name':'Si.te','value':"
      "'x'},{'name':'Site','value':''}]}}",
      "{'_id':'8','a':'1','recordInfo':{'category':[{'name':'SITE','value':'Waseca'}],'description':[{'name':'yield',"
      "'type':4,'value':'27.5'},{'name':'when','type':9,'value':{'$date':{'$numberLong':'0'}}}]}}",
  };
  return records;
}

}  // namespace database_test
