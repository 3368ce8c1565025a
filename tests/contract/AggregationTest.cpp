// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "tests/contract/Contract.h"

namespace database_test {

// Stages.

TEST_P(StoreContract, StagesRunOneAfterTheOther) {
  given({"{'_id':1,'a':3}", "{'_id':2,'a':1}", "{'_id':3,'a':2}"});
  EXPECT_EQ(aggregated("[{'$match':{'a':{'$gt':1}}},{'$sort':{'a':1}},{'$limit':1}]"), "{'_id':3,'a':2}");
}

TEST_P(StoreContract, NoStagesGiveEveryDocument) {
  given({"{'_id':1}", "{'_id':2}"});
  EXPECT_EQ(aggregatedInAnyOrder("[]"), "{'_id':1}\n{'_id':2}");
}

TEST_P(StoreContract, AStageHasOneOperator) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$match':{},'$limit':1}]"), "error 40323");
  EXPECT_EQ(aggregated("[{}]"), "error 40323");
}

TEST_P(StoreContract, AnUnknownStageIsRefused) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$nope':1}]"), "error 40324");
}

TEST_P(StoreContract, MatchWantsAQuery) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$match':5}]"), "error 15959");
}

TEST_P(StoreContract, ProjectKeepsAndLeavesOut) {
  given({"{'_id':1,'a':1,'b':2}"});
  EXPECT_EQ(aggregated("[{'$project':{'a':1}}]"), "{'_id':1,'a':1}");
  EXPECT_EQ(aggregated("[{'$project':{'a':true,'_id':0}}]"), "{'a':1}");
  EXPECT_EQ(aggregated("[{'$project':{'a':0}}]"), "{'_id':1,'b':2}");
}

TEST_P(StoreContract, ProjectCopiesPathsAndLeavesOutMissingOnes) {
  given({"{'_id':1,'a':{'b':5}}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'x':'$a.b','y':'$nothing'}}]"), "{'x':5}");
}

TEST_P(StoreContract, AnEmptyProjectIsRefused) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$project':{}}]"), "error 51272");
}

TEST_P(StoreContract, AddFieldsSetsReplacesAndCreatesObjects) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(aggregated("[{'$addFields':{'a':'$_id','b.c':7}}]"), "{'_id':1,'a':1,'b':{'c':7}}");
  EXPECT_EQ(aggregated("[{'$set':{'d':{'e':'$a'}}}]"), "{'_id':1,'a':1,'d':{'e':1}}");
}

TEST_P(StoreContract, AddFieldsReachesEachElementOfAnArray) {
  given({"{'_id':1,'a':[{'x':1},{'x':2}]}"});
  EXPECT_EQ(aggregated("[{'$addFields':{'a.y':7}}]"), "{'_id':1,'a':[{'x':1,'y':7},{'x':2,'y':7}]}");
}

TEST_P(StoreContract, UnsetTakesOneNameOrSeveral) {
  given({"{'_id':1,'a':1,'b':2,'c':3}"});
  EXPECT_EQ(aggregated("[{'$unset':'a'}]"), "{'_id':1,'b':2,'c':3}");
  EXPECT_EQ(aggregated("[{'$unset':['a','b']}]"), "{'_id':1,'c':3}");
}

TEST_P(StoreContract, UnsetWantsStrings) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$unset':5}]"), "error 31002");
  EXPECT_EQ(aggregated("[{'$unset':[]}]"), "error 31119");
  EXPECT_EQ(aggregated("[{'$unset':[5]}]"), "error 31120");
}

TEST_P(StoreContract, UnwindGivesADocumentForEachElement) {
  given({"{'_id':1,'a':[7,null,8]}"});
  EXPECT_EQ(aggregated("[{'$unwind':'$a'}]"), "{'_id':1,'a':7}\n{'_id':1,'a':null}\n{'_id':1,'a':8}");
}

TEST_P(StoreContract, UnwindGivesNothingForAnEmptyArrayNullAndMissing) {
  given({"{'_id':1,'a':[]}", "{'_id':2,'a':null}", "{'_id':3}"});
  EXPECT_EQ(aggregated("[{'$unwind':'$a'}]"), "");
}

TEST_P(StoreContract, UnwindKeepsThemWhenAskedTo) {
  given({"{'_id':1,'a':[]}", "{'_id':2,'a':null}", "{'_id':3}"});
  EXPECT_EQ(aggregatedInAnyOrder("[{'$unwind':{'path':'$a','preserveNullAndEmptyArrays':true}}]"),
            "{'_id':1}\n{'_id':2,'a':null}\n{'_id':3}");
}

TEST_P(StoreContract, UnwindLeavesWhatIsNoArrayAsItIs) {
  given({"{'_id':1,'a':5}"});
  EXPECT_EQ(aggregated("[{'$unwind':'$a'}]"), "{'_id':1,'a':5}");
}

TEST_P(StoreContract, UnwindTellsTheIndex) {
  given({"{'_id':1,'a':[7,8]}", "{'_id':2,'a':5}"});
  EXPECT_EQ(aggregatedInAnyOrder("[{'$unwind':{'path':'$a','includeArrayIndex':'i'}}]"),
            "{'_id':1,'a':7,'i':0}\n{'_id':1,'a':8,'i':1}\n{'_id':2,'a':5,'i':null}");
}

TEST_P(StoreContract, UnwindWantsAPath) {
  given({"{'_id':1,'a':[1]}"});
  EXPECT_EQ(aggregated("[{'$unwind':'a'}]"), "error 28818");
}

TEST_P(StoreContract, UnwindReachesNestedArrays) {
  given({"{'_id':1,'a':{'b':[1,2]}}"});
  EXPECT_EQ(aggregated("[{'$unwind':'$a.b'}]"), "{'_id':1,'a':{'b':1}}\n{'_id':1,'a':{'b':2}}");
}

TEST_P(StoreContract, CountTellsTheNumberOrNothing) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':1}"});
  EXPECT_EQ(aggregated("[{'$match':{'a':1}},{'$count':'n'}]"), "{'n':2}");
  EXPECT_EQ(aggregated("[{'$match':{'a':9}},{'$count':'n'}]"), "");
}

TEST_P(StoreContract, CountWantsAPlainName) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$count':5}]"), "error 40156");
  EXPECT_EQ(aggregated("[{'$count':''}]"), "error 40157");
  EXPECT_EQ(aggregated("[{'$count':'$n'}]"), "error 40158");
  EXPECT_EQ(aggregated("[{'$count':'a.b'}]"), "error 40160");
}

TEST_P(StoreContract, SortByCountOrdersValuesByTheirNumber) {
  given({"{'_id':1,'a':'x'}", "{'_id':2,'a':'y'}", "{'_id':3,'a':'y'}"});
  EXPECT_EQ(aggregated("[{'$sortByCount':'$a'}]"), "{'_id':'y','count':2}\n{'_id':'x','count':1}");
}

TEST_P(StoreContract, ReplaceRootPromotesAnObject) {
  given({"{'_id':1,'a':{'x':7}}"});
  EXPECT_EQ(aggregated("[{'$replaceRoot':{'newRoot':'$a'}}]"), "{'x':7}");
}

TEST_P(StoreContract, LimitMustBePositiveAndSkipNotNegative) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$limit':0}]"), "error 15958");
  EXPECT_NE(aggregated("[{'$skip':-1}]").find("error"), std::string::npos);
  EXPECT_EQ(aggregated("[{'$skip':1}]"), "");
}

// Paths of expressions, which differ from those of queries.

TEST_P(StoreContract, AnExpressionsPathGathersWhatItFindsInAnArray) {
  given({"{'_id':1,'a':[{'b':1},{'c':2},5,{'b':3}]}", "{'_id':2,'a':[5]}"});
  EXPECT_EQ(aggregatedInAnyOrder("[{'$project':{'x':'$a.b'}}]"), "{'_id':1,'x':[1,3]}\n{'_id':2,'x':[]}");
}

TEST_P(StoreContract, AnExpressionsPathTakesNoIndex) {
  given({"{'_id':1,'a':[7,8]}"});
  EXPECT_EQ(aggregated("[{'$project':{'x':'$a.1'}}]"), "{'_id':1,'x':[]}");
}

TEST_P(StoreContract, UnwindDoesNotReachThroughAnArray) {
  given({"{'_id':1,'a':[{'b':[1,2]}]}"});
  EXPECT_EQ(aggregated("[{'$unwind':'$a.b'}]"), "");
}

TEST_P(StoreContract, AnExclusionStageReachesThroughAnArray) {
  given({"{'_id':1,'a':[{'b':1,'c':2},5]}"});
  EXPECT_EQ(aggregated("[{'$project':{'a.b':0}}]"), "{'_id':1,'a':[{'c':2},5]}");
}

// Sort.

TEST_P(StoreContract, SortOrdersKindsAsTheStoreDoes) {
  given({"{'_id':1,'a':true}", "{'_id':2,'a':{'x':1}}", "{'_id':3,'a':'x'}", "{'_id':4,'a':5}", "{'_id':5}",
         "{'_id':6,'a':{'$minKey':1}}", "{'_id':7,'a':{'$maxKey':1}}", "{'_id':8,'a':{'$date':{'$numberLong':'0'}}}",
         "{'_id':9,'a':{'$oid':'5f5f5f5f5f5f5f5f5f5f5f5f'}}"});
  EXPECT_EQ(aggregated("[{'$sort':{'a':1}},{'$group':{'_id':null,'ids':{'$push':'$_id'}}}]"),
            "{'_id':null,'ids':[6,5,4,3,2,9,1,8,7]}");
}

TEST_P(StoreContract, SortPutsNanBelowAllNumbers) {
  given({"{'_id':1,'a':{'$numberDouble':'-Infinity'}}", "{'_id':2,'a':{'$numberDouble':'NaN'}}", "{'_id':3,'a':0}"});
  EXPECT_EQ(aggregated("[{'$sort':{'a':1}},{'$group':{'_id':null,'ids':{'$push':'$_id'}}}]"),
            "{'_id':null,'ids':[2,1,3]}");
}

TEST_P(StoreContract, SortTakesTheSmallestElementUpwardsAndTheLargestDownwards) {
  given({"{'_id':1,'a':[5,9]}", "{'_id':2,'a':7}", "{'_id':3,'a':[6,6.5]}"});
  EXPECT_EQ(aggregated("[{'$sort':{'a':1}},{'$group':{'_id':null,'ids':{'$push':'$_id'}}}]"),
            "{'_id':null,'ids':[1,3,2]}");
  EXPECT_EQ(aggregated("[{'$sort':{'a':-1}},{'$group':{'_id':null,'ids':{'$push':'$_id'}}}]"),
            "{'_id':null,'ids':[1,2,3]}");
}

TEST_P(StoreContract, SortPutsAnEmptyArrayBeforeNull) {
  given({"{'_id':1,'a':null}", "{'_id':2,'a':[]}"});
  EXPECT_EQ(aggregated("[{'$sort':{'a':1}},{'$project':{'a':0}}]"), "{'_id':2}\n{'_id':1}");
}

TEST_P(StoreContract, SortTakesNullForElementsThatLackTheKey) {
  given({"{'_id':1,'a':[{'b':5},7]}", "{'_id':2,'a':{'b':1}}"});
  EXPECT_EQ(aggregated("[{'$sort':{'a.b':1}},{'$project':{'_id':1}}]"), "{'_id':1}\n{'_id':2}");
}

TEST_P(StoreContract, SortTakesSeveralKeys) {
  given({"{'_id':1,'a':1,'b':1}", "{'_id':2,'a':1,'b':2}", "{'_id':3,'a':0,'b':9}"});
  EXPECT_EQ(aggregated("[{'$sort':{'a':1,'b':-1}},{'$project':{'_id':1}}]"), "{'_id':3}\n{'_id':2}\n{'_id':1}");
}

TEST_P(StoreContract, SortWantsDirections) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$sort':{'a':2}}]"), "error 15975");
  EXPECT_EQ(aggregated("[{'$sort':{}}]"), "error 15976");
}

// Group.

TEST_P(StoreContract, GroupCountsByValue) {
  given({"{'_id':1,'a':'x'}", "{'_id':2,'a':'y'}", "{'_id':3,'a':'x'}"});
  EXPECT_EQ(aggregatedInAnyOrder("[{'$group':{'_id':'$a','n':{'$sum':1}}}]"), "{'_id':'x','n':2}\n{'_id':'y','n':1}");
}

TEST_P(StoreContract, GroupJoinsNumbersOfEqualValue) {
  given({"{'_id':1,'a':{'$numberInt':'1'}}", "{'_id':2,'a':{'$numberLong':'1'}}",
         "{'_id':3,'a':{'$numberDouble':'1.0'}}"});
  EXPECT_EQ(aggregated("[{'$group':{'_id':'$a','n':{'$sum':1}}},{'$project':{'_id':0}}]"), "{'n':3}");
}

TEST_P(StoreContract, AMissingKeyGroupsWithNull) {
  given({"{'_id':1,'a':null}", "{'_id':2}"});
  EXPECT_EQ(aggregated("[{'$group':{'_id':'$a','n':{'$sum':1}}}]"), "{'_id':null,'n':2}");
}

TEST_P(StoreContract, AMissingPartOfACompoundKeyIsLeftOut) {
  given({"{'_id':1,'a':1,'b':null}", "{'_id':2,'a':1}"});
  EXPECT_EQ(aggregatedInAnyOrder("[{'$group':{'_id':{'a':'$a','b':'$b'},'n':{'$sum':1}}}]"),
            "{'_id':{'a':1,'b':null},'n':1}\n{'_id':{'a':1},'n':1}");
}

TEST_P(StoreContract, EmptyArraysAndEmptyObjectsAreDifferentKeys) {
  given({"{'_id':1,'a':[]}", "{'_id':2,'a':{}}"});
  EXPECT_EQ(aggregatedInAnyOrder("[{'$group':{'_id':'$a','n':{'$sum':1}}}]"), "{'_id':[],'n':1}\n{'_id':{},'n':1}");
}

TEST_P(StoreContract, GroupOfNothingIsNothing) {
  EXPECT_EQ(aggregated("[{'$group':{'_id':null,'n':{'$sum':1}}}]"), "");
}

TEST_P(StoreContract, GroupWantsAKey) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$group':{'n':{'$sum':1}}}]"), "error 15955");
}

TEST_P(StoreContract, SumPassesOverWhatIsNoNumber) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':'x'}", "{'_id':3}", "{'_id':4,'a':2.5}"});
  EXPECT_EQ(aggregated("[{'$group':{'_id':null,'n':{'$sum':'$a'},'none':{'$sum':'$b'}}}]"),
            "{'_id':null,'n':3.5,'none':0}");
}

TEST_P(StoreContract, SumGrowsBeyond32Bits) {
  given({"{'_id':1,'a':{'$numberInt':'2147483647'}}", "{'_id':2,'a':{'$numberInt':'1'}}"});
  EXPECT_EQ(aggregated("[{'$group':{'_id':null,'n':{'$sum':'$a'}}}]"), "{'_id':null,'n':2147483648}");
}

TEST_P(StoreContract, SumBeyond64BitsBecomesADouble) {
  given({"{'_id':1,'a':{'$numberLong':'9223372036854775807'}}", "{'_id':2,'a':{'$numberLong':'9223372036854775807'}}"});
  EXPECT_EQ(aggregated("[{'$group':{'_id':null,'n':{'$sum':'$a'}}},{'$match':{'n':{'$type':'double'}}},"
                       "{'$match':{'n':{'$gt':1.8e19}}},{'$count':'n'}]"),
            "{'n':1}");
}

TEST_P(StoreContract, SumOfDoublesIsCompensated) {
  given({"{'_id':1,'a':1e16}", "{'_id':2,'a':1.0}", "{'_id':3,'a':-1e16}"});
  EXPECT_EQ(aggregated("[{'$sort':{'_id':1}},{'$group':{'_id':null,'n':{'$sum':'$a'}}}]"), "{'_id':null,'n':1.0}");
}

TEST_P(StoreContract, AverageIsADoubleOrNull) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':3}", "{'_id':3,'a':'x'}"});
  EXPECT_EQ(aggregated("[{'$group':{'_id':null,'n':{'$avg':'$a'},'none':{'$avg':'$b'}}}]"),
            "{'_id':null,'n':2.0,'none':null}");
}

TEST_P(StoreContract, MinAndMaxPassOverNullAndCompareKinds) {
  given({"{'_id':1,'a':5}", "{'_id':2,'a':null}", "{'_id':3}", "{'_id':4,'a':'x'}", "{'_id':5,'a':-1}"});
  EXPECT_EQ(aggregated("[{'$group':{'_id':null,'low':{'$min':'$a'},'high':{'$max':'$a'},'none':{'$max':'$b'}}}]"),
            "{'_id':null,'low':-1,'high':'x','none':null}");
}

TEST_P(StoreContract, FirstAndLastFollowTheOrder) {
  given({"{'_id':1,'a':5}", "{'_id':2,'a':7}", "{'_id':3}"});
  EXPECT_EQ(aggregated("[{'$sort':{'_id':1}},{'$group':{'_id':null,'f':{'$first':'$a'},'l':{'$last':'$a'}}}]"),
            "{'_id':null,'f':5,'l':null}");
}

TEST_P(StoreContract, PushSkipsMissingAndKeepsNull) {
  given({"{'_id':1,'a':5}", "{'_id':2,'a':null}", "{'_id':3}", "{'_id':4,'a':5}"});
  EXPECT_EQ(aggregated("[{'$sort':{'_id':1}},{'$group':{'_id':null,'all':{'$push':'$a'}}}]"),
            "{'_id':null,'all':[5,null,5]}");
}

TEST_P(StoreContract, AddToSetKeepsEachValueOnce) {
  given({"{'_id':1,'a':5}", "{'_id':2,'a':5.0}", "{'_id':3}", "{'_id':4,'a':[1]}", "{'_id':5,'a':[1]}"});
  EXPECT_EQ(aggregated("[{'$group':{'_id':null,'all':{'$addToSet':'$a'}}},{'$unwind':'$all'},{'$count':'n'}]"),
            "{'n':2}");
}

TEST_P(StoreContract, AnUnknownAccumulatorIsRefused) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$group':{'_id':null,'n':{'$nope':1}}}]"), "error 15952");
}

TEST_P(StoreContract, TheLibrarysStatisticsCountCategoryValues) {
  given({"{'_id':1,'recordInfo':{'category':[{'name':'Site','value':'A'},{'name':'Color','value':'red'}]}}",
         "{'_id':2,'recordInfo':{'category':[{'name':'Site','value':'B'}]}}",
         "{'_id':3,'recordInfo':{'category':[{'name':'site','value':'A'}]}}",
         "{'_id':4,'recordInfo':{'category':[]}}"});
  EXPECT_EQ(aggregatedInAnyOrder("[{'$project':{'recordInfo.category':1}},{'$unwind':'$recordInfo.category'},"
                                 "{'$match':{'recordInfo.category.name':{'$regex':'^Site$','$options':'i'}}},"
                                 "{'$group':{'_id':'$recordInfo.category.value','count':{'$sum':1}}}]"),
            "{'_id':'A','count':2}\n{'_id':'B','count':1}");
}

}  // namespace database_test
