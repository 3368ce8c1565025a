// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "tests/contract/Contract.h"

namespace database_test {

// Order and equality of values.

TEST_P(StoreContract, NumbersCompareByValueAcrossKinds) {
  given({"{'_id':1,'a':{'$numberInt':'5'}}", "{'_id':2,'a':{'$numberLong':'5'}}",
         "{'_id':3,'a':{'$numberDouble':'5.0'}}", "{'_id':4,'a':{'$numberDouble':'5.5'}}"});
  EXPECT_EQ(found("{'a':{'$numberDouble':'5.0'}}"), "1 2 3");
  EXPECT_EQ(found("{'a':{'$gt':{'$numberLong':'5'}}}"), "4");
}

TEST_P(StoreContract, DecimalsCompareWithTheOtherNumbers) {
  given({"{'_id':1,'a':{'$numberDecimal':'5.0'}}", "{'_id':2,'a':5}", "{'_id':3,'a':{'$numberDecimal':'5.5'}}"});
  EXPECT_EQ(found("{'a':5}"), "1 2");
  EXPECT_EQ(found("{'a':{'$gt':5.25}}"), "3");
}

TEST_P(StoreContract, LongIntegersAreNotRoundedToDoubles) {
  given({"{'_id':1,'a':{'$numberLong':'9007199254740993'}}", "{'_id':2,'a':{'$numberDouble':'9007199254740992.0'}}",
         "{'_id':3,'a':{'$numberLong':'9007199254740991'}}"});
  EXPECT_EQ(found("{'a':{'$numberDouble':'9007199254740992.0'}}"), "2");
  EXPECT_EQ(found("{'a':{'$gt':{'$numberDouble':'9007199254740992.0'}}}"), "1");
  EXPECT_EQ(found("{'a':{'$lt':{'$numberDouble':'9007199254740992.0'}}}"), "3");
}

TEST_P(StoreContract, NanEqualsItself) {
  given({"{'_id':1,'a':{'$numberDouble':'NaN'}}", "{'_id':2,'a':0}"});
  EXPECT_EQ(found("{'a':{'$numberDouble':'NaN'}}"), "1");
}

TEST_P(StoreContract, NanIsNeitherBelowNorAboveNumbers) {
  given({"{'_id':1,'a':{'$numberDouble':'NaN'}}", "{'_id':2,'a':0}"});
  EXPECT_EQ(found("{'a':{'$lt':5}}"), "2");
  EXPECT_EQ(found("{'a':{'$lt':{'$numberDouble':'NaN'}}}"), "");
  EXPECT_EQ(found("{'a':{'$gt':{'$numberDouble':'NaN'}}}"), "");
  EXPECT_EQ(found("{'a':{'$gte':{'$numberDouble':'NaN'}}}"), "1");
  EXPECT_EQ(found("{'a':{'$lte':{'$numberDouble':'NaN'}}}"), "1");
}

TEST_P(StoreContract, NegativeZeroEqualsZero) {
  given({"{'_id':1,'a':{'$numberDouble':'-0.0'}}", "{'_id':2,'a':0}"});
  EXPECT_EQ(found("{'a':0}"), "1 2");
}

TEST_P(StoreContract, StringsCompareByteByByte) {
  given({"{'_id':1,'a':'Z'}", "{'_id':2,'a':'a'}", "{'_id':3,'a':'é'}"});
  EXPECT_EQ(found("{'a':{'$lt':'a'}}"), "1");
  EXPECT_EQ(found("{'a':{'$gt':'z'}}"), "3");
}

TEST_P(StoreContract, FalseIsBelowTrue) {
  given({"{'_id':1,'a':false}", "{'_id':2,'a':true}"});
  EXPECT_EQ(found("{'a':{'$lt':true}}"), "1");
}

TEST_P(StoreContract, DatesBefore1970ComeFirst) {
  given({"{'_id':1,'a':{'$date':{'$numberLong':'-1'}}}", "{'_id':2,'a':{'$date':{'$numberLong':'0'}}}"});
  EXPECT_EQ(found("{'a':{'$lt':{'$date':{'$numberLong':'0'}}}}"), "1");
}

TEST_P(StoreContract, BinaryComparesByLengthThenKindThenBytes) {
  given({"{'_id':1,'a':{'$binary':{'base64':'/w==','subType':'00'}}}",
         "{'_id':2,'a':{'$binary':{'base64':'AAA=','subType':'00'}}}",
         "{'_id':3,'a':{'$binary':{'base64':'AAA=','subType':'05'}}}"});
  EXPECT_EQ(found("{'a':{'$lt':{'$binary':{'base64':'AAA=','subType':'00'}}}}"), "1");
  EXPECT_EQ(found("{'a':{'$gt':{'$binary':{'base64':'AAA=','subType':'00'}}}}"), "3");
}

TEST_P(StoreContract, ObjectsAreEqualOnlyInTheSameOrderOfKeys) {
  given({"{'_id':1,'a':{'x':1,'y':2}}", "{'_id':2,'a':{'y':2,'x':1}}", "{'_id':3,'a':{'x':1.0,'y':2.0}}"});
  EXPECT_EQ(found("{'a':{'x':1,'y':2}}"), "1 3");
}

TEST_P(StoreContract, TheShorterOfTwoObjectsIsSmaller) {
  given({"{'_id':1,'a':{'x':1}}", "{'_id':2,'a':{'x':1,'y':0}}", "{'_id':3,'a':{}}"});
  EXPECT_EQ(found("{'a':{'$lt':{'x':1,'y':0}}}"), "1 3");
}

TEST_P(StoreContract, ComparisonsStayWithinTheOperandsKind) {
  given({"{'_id':1,'a':5}", "{'_id':2,'a':'5'}", "{'_id':3,'a':true}", "{'_id':4,'a':null}", "{'_id':5}"});
  EXPECT_EQ(found("{'a':{'$gte':0}}"), "1");
  EXPECT_EQ(found("{'a':{'$gte':''}}"), "2");
  EXPECT_EQ(found("{'a':{'$lte':true}}"), "3");
}

TEST_P(StoreContract, NullComparesWithMissingWhereEqualityIsMeant) {
  given({"{'_id':1,'a':null}", "{'_id':2}", "{'_id':3,'a':1}"});
  EXPECT_EQ(found("{'a':{'$lte':null}}"), "1 2");
  EXPECT_EQ(found("{'a':{'$gte':null}}"), "1 2");
  EXPECT_EQ(found("{'a':{'$lt':null}}"), "");
}

TEST_P(StoreContract, MinKeyAndMaxKeyCompareWithEverything) {
  given({"{'_id':1,'a':5}", "{'_id':2,'a':'text'}", "{'_id':3,'a':{'$minKey':1}}", "{'_id':4,'a':{'$maxKey':1}}"});
  EXPECT_EQ(found("{'a':{'$gt':{'$minKey':1}}}"), "1 2 4");
  EXPECT_EQ(found("{'a':{'$lt':{'$maxKey':1}}}"), "1 2 3");
}

TEST_P(StoreContract, SymbolsCompareAsStrings) {
  given({"{'_id':1,'a':{'$symbol':'x'}}", "{'_id':2,'a':'x'}"});
  EXPECT_EQ(found("{'a':'x'}"), "1 2");
}

TEST_P(StoreContract, ComparingToUndefinedIsAnError) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(found("{'a':{'$gt':{'$undefined':true}}}"), "error 2");
}

// Paths.

TEST_P(StoreContract, APathGoesThroughObjects) {
  given({"{'_id':1,'a':{'b':{'c':1}}}", "{'_id':2,'a':{'b':1}}", "{'_id':3,'a.b.c':1}"});
  EXPECT_EQ(found("{'a.b.c':1}"), "1");
}

TEST_P(StoreContract, AnArrayMatchesByAnElement) {
  given({"{'_id':1,'a':[1,2]}", "{'_id':2,'a':1}", "{'_id':3,'a':[[1]]}", "{'_id':4,'a':[]}"});
  EXPECT_EQ(found("{'a':1}"), "1 2");
}

TEST_P(StoreContract, AnArrayOperandMatchesTheWholeOrAnElement) {
  given({"{'_id':1,'a':[1,2]}", "{'_id':2,'a':[[1,2]]}", "{'_id':3,'a':[1,2,3]}", "{'_id':4,'a':[2,1]}"});
  EXPECT_EQ(found("{'a':[1,2]}"), "1 2");
}

TEST_P(StoreContract, APathEntersTheObjectsOfAnArray) {
  given({"{'_id':1,'a':[{'b':1},{'b':2}]}", "{'_id':2,'a':[{'b':3}]}", "{'_id':3,'a':[[{'b':1}]]}"});
  EXPECT_EQ(found("{'a.b':1}"), "1");
}

TEST_P(StoreContract, APathEntersAnArrayByIndex) {
  given({"{'_id':1,'a':[{'b':1},{'b':2}]}", "{'_id':2,'a':[{'b':2},{'b':1}]}", "{'_id':3,'a':[[7],[8]]}"});
  EXPECT_EQ(found("{'a.1.b':2}"), "1");
  EXPECT_EQ(found("{'a.0':[7]}"), "3");
  EXPECT_EQ(found("{'a.1.0':8}"), "3");
}

TEST_P(StoreContract, AnArrayInAnArrayIsEnteredOnlyByIndex) {
  given({"{'_id':1,'a':[[7],[8]]}"});
  EXPECT_EQ(found("{'a':7}"), "");
  EXPECT_EQ(found("{'a.0':7}"), "");
  EXPECT_EQ(found("{'a.0.0':7}"), "1");
}

TEST_P(StoreContract, ANumericPartIsAlsoAKey) {
  given({"{'_id':1,'a':{'0':5}}", "{'_id':2,'a':[{'0':5}]}", "{'_id':3,'a':[5]}"});
  EXPECT_EQ(found("{'a.0':5}"), "1 2 3");
}

TEST_P(StoreContract, DifferentElementsMaySatisfyEachCondition) {
  given({"{'_id':1,'a':[0,5]}", "{'_id':2,'a':[4,5]}", "{'_id':3,'a':2}"});
  EXPECT_EQ(found("{'a':{'$gt':1,'$lt':3}}"), "1 3");
}

// Null and missing.

TEST_P(StoreContract, NullMatchesMissing) {
  given({"{'_id':1,'a':null}", "{'_id':2}", "{'_id':3,'a':0}", "{'_id':4,'a':[null]}", "{'_id':5,'a':[]}"});
  EXPECT_EQ(found("{'a':null}"), "1 2 4");
}

TEST_P(StoreContract, NullMatchesUndefined) {
  given({"{'_id':1,'a':{'$undefined':true}}", "{'_id':2,'a':0}"});
  EXPECT_EQ(found("{'a':null}"), "1");
}

TEST_P(StoreContract, NullOnAPathMatchesWhereItEnds) {
  given({"{'_id':1,'a':5}", "{'_id':2}", "{'_id':3,'a':[{'b':1},{}]}", "{'_id':4,'a':[]}", "{'_id':5,'a':[1,2]}",
         "{'_id':6,'a':{'b':1}}"});
  EXPECT_EQ(found("{'a.b':null}"), "1 2 3");
}

TEST_P(StoreContract, NullDoesNotMatchWhereAnArrayHasNothingToGoOnWith) {
  given({"{'_id':1,'a':[true]}", "{'_id':2,'a':[]}", "{'_id':3,'a':[{}]}"});
  EXPECT_EQ(found("{'a.0.b':null}"), "3");
  EXPECT_EQ(found("{'a.1':null}"), "3");
}

TEST_P(StoreContract, TypeNullFindsRealNullOnly) {
  given({"{'_id':1,'a':null}", "{'_id':2}"});
  EXPECT_EQ(found("{'a':{'$type':10}}"), "1");
}

// Negations.

TEST_P(StoreContract, NotEqualSelectsDocumentsWithoutTheField) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':2}", "{'_id':3}", "{'_id':4,'a':[1,2]}"});
  EXPECT_EQ(found("{'a':{'$ne':1}}"), "2 3");
}

TEST_P(StoreContract, NotInSelectsDocumentsWithoutTheField) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':3}", "{'_id':3}", "{'_id':4,'a':[3,2]}"});
  EXPECT_EQ(found("{'a':{'$nin':[1,2]}}"), "2 3");
}

TEST_P(StoreContract, NotNegatesTheWholeOfItsOperand) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':5}", "{'_id':3}", "{'_id':4,'a':[1,9]}"});
  EXPECT_EQ(found("{'a':{'$not':{'$gt':3}}}"), "1 3");
}

TEST_P(StoreContract, NotTakesAPattern) {
  given({"{'_id':1,'a':'abc'}", "{'_id':2,'a':'xyz'}", "{'_id':3,'a':5}"});
  EXPECT_EQ(found("{'a':{'$not':{'$regularExpression':{'pattern':'^a','options':''}}}}"), "2 3");
}

TEST_P(StoreContract, NotWithAScalarIsAnError) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(found("{'a':{'$not':5}}"), "error 2");
}

TEST_P(StoreContract, NorSelectsWhatNoneOfItsPartsSelects) {
  given({"{'_id':1,'a':1}", "{'_id':2,'b':2}", "{'_id':3}"});
  EXPECT_EQ(found("{'$nor':[{'a':1},{'b':2}]}"), "3");
}

// Groups.

TEST_P(StoreContract, AndHoldsWhenAllItsPartsDo) {
  given({"{'_id':1,'a':1,'b':1}", "{'_id':2,'a':1}", "{'_id':3,'b':1}"});
  EXPECT_EQ(found("{'$and':[{'a':1},{'b':1}]}"), "1");
}

TEST_P(StoreContract, OrHoldsWhenOneOfItsPartsDoes) {
  given({"{'_id':1,'a':1,'b':1}", "{'_id':2,'a':1}", "{'_id':3,'b':1}", "{'_id':4}"});
  EXPECT_EQ(found("{'$or':[{'a':1},{'b':1}]}"), "1 2 3");
}

TEST_P(StoreContract, GroupsMustBeArraysOfObjectsAndNotEmpty) {
  given({"{'_id':1,'a':1}"});
  for (const char* group : {"$and", "$or", "$nor"}) {
    EXPECT_EQ(found("{'" + std::string(group) + "':[]}"), "error 2") << group;
    EXPECT_EQ(found("{'" + std::string(group) + "':[5]}"), "error 2") << group;
    EXPECT_EQ(found("{'" + std::string(group) + "':{'a':1}}"), "error 2") << group;
  }
}

TEST_P(StoreContract, AnUnknownOperatorIsAnErrorAtAnyLevel) {
  given({"{'_id':1,'a':{'b':1}}"});
  EXPECT_EQ(found("{'a':{'$nope':1}}"), "error 2");
  EXPECT_EQ(found("{'$nope':1}"), "error 2");
  EXPECT_EQ(found("{'$and':[{'a':{'$not':{'$nope':1}}}]}"), "error 2");
}

TEST_P(StoreContract, OperatorsThatRunCodeOrWriteAreRefused) {
  if (engine().rfind("embedded", 0) != 0) GTEST_SKIP() << "a server may run code";
  given({"{'_id':1}"});
  EXPECT_EQ(found("{'$where':'true'}"), "unsupported");
  EXPECT_EQ(aggregated("[{'$out':'other'}]"), "unsupported");
  EXPECT_EQ(aggregated("[{'$merge':'other'}]"), "unsupported");
}

// In.

TEST_P(StoreContract, InMatchesAnyOfItsValues) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':'x'}", "{'_id':3,'a':[2,9]}", "{'_id':4,'a':5}"});
  EXPECT_EQ(found("{'a':{'$in':[1,'x',2]}}"), "1 2 3");
}

TEST_P(StoreContract, InWithNullCoversMissing) {
  given({"{'_id':1,'a':null}", "{'_id':2}", "{'_id':3,'a':1}"});
  EXPECT_EQ(found("{'a':{'$in':[null,7]}}"), "1 2");
}

TEST_P(StoreContract, InMayHoldPatterns) {
  given({"{'_id':1,'a':'abc'}", "{'_id':2,'a':'xyz'}", "{'_id':3,'a':5}"});
  EXPECT_EQ(found("{'a':{'$in':[{'$regularExpression':{'pattern':'^a','options':''}},5]}}"), "1 3");
}

TEST_P(StoreContract, InMayNotHoldOperators) {
  given({"{'_id':1,'a':'abc'}"});
  EXPECT_EQ(found("{'a':{'$in':[{'$regex':'^a'}]}}"), "error 2");
  EXPECT_EQ(found("{'a':{'$in':5}}"), "error 2");
}

TEST_P(StoreContract, AnEmptyInMatchesNothingAndAnEmptyNotInEverything) {
  given({"{'_id':1,'a':1}", "{'_id':2}"});
  EXPECT_EQ(found("{'a':{'$in':[]}}"), "");
  EXPECT_EQ(found("{'a':{'$nin':[]}}"), "1 2");
}

// Exists, type, size, all, elements, modulo.

TEST_P(StoreContract, ExistsIsTrueForNull) {
  given({"{'_id':1,'a':null}", "{'_id':2}", "{'_id':3,'a':[]}"});
  EXPECT_EQ(found("{'a':{'$exists':true}}"), "1 3");
  EXPECT_EQ(found("{'a':{'$exists':false}}"), "2");
}

TEST_P(StoreContract, ExistsOnTheFirstElementTellsANonEmptyArray) {
  given({"{'_id':1,'a':[7]}", "{'_id':2,'a':[]}", "{'_id':3,'a':7}"});
  EXPECT_EQ(found("{'a.0':{'$exists':true}}"), "1");
}

TEST_P(StoreContract, TypeTakesCodesNamesAndLists) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':'x'}", "{'_id':3,'a':1.5}", "{'_id':4,'a':{'$numberLong':'1'}}"});
  EXPECT_EQ(found("{'a':{'$type':2}}"), "2");
  EXPECT_EQ(found("{'a':{'$type':'string'}}"), "2");
  EXPECT_EQ(found("{'a':{'$type':'number'}}"), "1 3 4");
  EXPECT_EQ(found("{'a':{'$type':['string','double']}}"), "2 3");
}

TEST_P(StoreContract, TypeOfAnArrayIsThatOfItsElementsOrArray) {
  given({"{'_id':1,'a':['x']}", "{'_id':2,'a':[1]}", "{'_id':3,'a':[[1]]}", "{'_id':4,'a':'x'}"});
  EXPECT_EQ(found("{'a':{'$type':'string'}}"), "1 4");
  EXPECT_EQ(found("{'a':{'$type':'array'}}"), "1 2 3");
}

TEST_P(StoreContract, AnUnknownTypeIsAnError) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(found("{'a':{'$type':'nope'}}"), "error 2");
}

TEST_P(StoreContract, SizeCountsTheElementsOfARealArray) {
  given({"{'_id':1,'a':[1,2]}", "{'_id':2,'a':[]}", "{'_id':3,'a':2}", "{'_id':4,'a':[[1,2]]}"});
  EXPECT_EQ(found("{'a':{'$size':2}}"), "1");
  EXPECT_EQ(found("{'a':{'$size':0}}"), "2");
}

TEST_P(StoreContract, AllIsEqualityWithEachValue) {
  given({"{'_id':1,'a':['x','y']}", "{'_id':2,'a':['x']}", "{'_id':3,'a':'x'}", "{'_id':4,'a':['y','z','x']}"});
  EXPECT_EQ(found("{'a':{'$all':['x','y']}}"), "1 4");
  EXPECT_EQ(found("{'a':{'$all':['x']}}"), "1 2 3 4");
}

TEST_P(StoreContract, AllOverAPathThroughAnArrayTakesEachElement) {
  given({"{'_id':1,'a':[{'name':'x'},{'name':'y'}]}", "{'_id':2,'a':[{'name':'x'}]}"});
  EXPECT_EQ(found("{'a.name':{'$all':['x','y']}}"), "1");
}

TEST_P(StoreContract, AllWithAnArrayMatchesTheFieldItself) {
  given({"{'_id':1,'a':[1,2]}", "{'_id':2,'a':[[1,2]]}", "{'_id':3,'a':[1]}"});
  EXPECT_EQ(found("{'a':{'$all':[[1,2]]}}"), "1 2");
}

TEST_P(StoreContract, AllMayHoldElementMatches) {
  given({"{'_id':1,'a':[{'x':1,'y':2},{'x':3}]}", "{'_id':2,'a':[{'x':1},{'y':2},{'x':3}]}"});
  EXPECT_EQ(found("{'a':{'$all':[{'$elemMatch':{'x':1,'y':2}},{'$elemMatch':{'x':3}}]}}"), "1");
}

TEST_P(StoreContract, AllOfNullCoversMissing) {
  given({"{'_id':1}", "{'_id':2,'a':1}"});
  EXPECT_EQ(found("{'a':{'$all':[null]}}"), "1");
}

TEST_P(StoreContract, AnEmptyAllMatchesNothing) {
  given({"{'_id':1,'a':[]}", "{'_id':2,'a':1}"});
  EXPECT_EQ(found("{'a':{'$all':[]}}"), "");
}

TEST_P(StoreContract, ElemMatchWantsOneElementForAllConditions) {
  given({"{'_id':1,'a':[{'n':'x','v':1},{'n':'y','v':2}]}", "{'_id':2,'a':[{'n':'x','v':2}]}",
         "{'_id':3,'a':{'n':'x','v':2}}"});
  EXPECT_EQ(found("{'a':{'$elemMatch':{'n':'x','v':2}}}"), "2");
  EXPECT_EQ(found("{'a.n':'x','a.v':2}"), "1 2 3");
}

TEST_P(StoreContract, ElemMatchOfOperatorsTakesElementsAsTheyAre) {
  given({"{'_id':1,'a':[1,5]}", "{'_id':2,'a':[[5]]}", "{'_id':3,'a':5}", "{'_id':4,'a':[0,9]}"});
  EXPECT_EQ(found("{'a':{'$elemMatch':{'$gt':3,'$lt':7}}}"), "1");
}

TEST_P(StoreContract, ElemMatchOfFieldsEntersNestedArraysByIndex) {
  given({"{'_id':1,'a':[[5,6]]}", "{'_id':2,'a':[{'0':5}]}", "{'_id':3,'a':[5]}"});
  EXPECT_EQ(found("{'a':{'$elemMatch':{'0':5}}}"), "1 2");
}

TEST_P(StoreContract, ModTruncatesAndPassesOverWhatIsNoNumber) {
  given({"{'_id':1,'a':7}", "{'_id':2,'a':7.9}", "{'_id':3,'a':'7'}", "{'_id':4,'a':{'$numberDouble':'NaN'}}",
         "{'_id':5,'a':-7}", "{'_id':6,'a':8}"});
  EXPECT_EQ(found("{'a':{'$mod':[4,3]}}"), "1 2");
  EXPECT_EQ(found("{'a':{'$mod':[4,-3]}}"), "5");
}

TEST_P(StoreContract, ModIsExactForLongIntegers) {
  given({"{'_id':1,'a':{'$numberLong':'9007199254740993'}}", "{'_id':2,'a':{'$numberLong':'9223372036854775807'}}"});
  EXPECT_EQ(found("{'a':{'$mod':[3,0]}}"), "1");
  EXPECT_EQ(found("{'a':{'$mod':[2,1]}}"), "1 2");
}

TEST_P(StoreContract, ModWantsTwoNumbersAndADivisor) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(found("{'a':{'$mod':[0,1]}}"), "error 2");
  EXPECT_EQ(found("{'a':{'$mod':[4]}}"), "error 2");
  EXPECT_EQ(found("{'a':{'$mod':[4,1,2]}}"), "error 2");
  EXPECT_EQ(found("{'a':{'$mod':['x',1]}}"), "error 2");
}

// Patterns.

TEST_P(StoreContract, PatternsAreNotAnchored) {
  given({"{'_id':1,'a':'xaby'}", "{'_id':2,'a':'b'}", "{'_id':3,'a':['ab']}", "{'_id':4,'a':5}"});
  EXPECT_EQ(found("{'a':{'$regex':'ab'}}"), "1 3");
}

TEST_P(StoreContract, PatternsKnowTheOptionsOfTheServer) {
  given({"{'_id':1,'a':'AB'}", "{'_id':2,'a':'x\\nab'}", "{'_id':3,'a':'a\\nb'}"});
  EXPECT_EQ(found("{'a':{'$regex':'ab','$options':'i'}}"), "1 2");
  EXPECT_EQ(found("{'a':{'$regex':'^ab','$options':'m'}}"), "2");
  EXPECT_EQ(found("{'a':{'$regex':'a.b','$options':'s'}}"), "3");
  EXPECT_EQ(found("{'a':{'$regex':'a b # note','$options':'x'}}"), "2");
}

TEST_P(StoreContract, ADollarAlsoMatchesBeforeAFinalNewline) {
  given({"{'_id':1,'a':'ab\\n'}", "{'_id':2,'a':'ab'}", "{'_id':3,'a':'abc'}"});
  EXPECT_EQ(found("{'a':{'$regex':'b$'}}"), "1 2");
  EXPECT_EQ(found("{'a':{'$regex':'b\\\\z'}}"), "2");
}

TEST_P(StoreContract, PatternsTakeInlineOptionsAndLookAround) {
  given({"{'_id':1,'a':'Waseca'}", "{'_id':2,'a':'Morris'}"});
  EXPECT_EQ(found("{'a':{'$regex':'(?i)^w'}}"), "1");
  EXPECT_EQ(found("{'a':{'$regex':'^(?!W)'}}"), "2");
}

TEST_P(StoreContract, PatternsCountCharactersNotBytes) {
  given({"{'_id':1,'a':'é'}", "{'_id':2,'a':'ab'}"});
  EXPECT_EQ(found("{'a':{'$regex':'^.$'}}"), "1");
}

TEST_P(StoreContract, AStoredPatternIsFoundByAnEqualOne) {
  given({"{'_id':1,'a':{'$regularExpression':{'pattern':'b','options':''}}}",
         "{'_id':2,'a':{'$regularExpression':{'pattern':'b','options':'i'}}}"});
  EXPECT_EQ(found("{'a':{'$regularExpression':{'pattern':'b','options':'i'}}}"), "2");
}

TEST_P(StoreContract, APatternThatIsNoneIsRefused) {
  given({"{'_id':1,'a':'x'}"});
  EXPECT_EQ(found("{'a':{'$regex':'('}}"), "error 51091");
}

TEST_P(StoreContract, AnUnknownPatternOptionIsRefused) {
  given({"{'_id':1,'a':'x'}"});
  EXPECT_EQ(found("{'a':{'$regex':'x','$options':'q'}}"), "error 51108");
}

TEST_P(StoreContract, OptionsWithoutAPatternAreRefused) {
  given({"{'_id':1,'a':'x'}"});
  EXPECT_EQ(found("{'a':{'$options':'i'}}"), "error 2");
}

TEST_P(StoreContract, OptionsInTwoPlacesAreRefused) {
  given({"{'_id':1,'a':'x'}"});
  const std::string answer =
      found("{'a':{'$regex':{'$regularExpression':{'pattern':'x','options':'i'}},'$options':'m'}}");
  EXPECT_TRUE(answer == "error 51074" || answer == "error 51075") << answer;
}

}  // namespace database_test
