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

// Operators.

TEST_P(StoreContract, ComparisonsPutMissingBelowNull) {
  given({"{'_id':1,'a':null}", "{'_id':2}", "{'_id':3,'a':0}"});
  EXPECT_EQ(aggregatedInAnyOrder("[{'$project':{'below':{'$lt':['$a',null]},'none':{'$lte':['$a',null]},"
                                 "'same':{'$eq':['$a',null]}}}]"),
            "{'_id':1,'below':false,'none':true,'same':true}\n{'_id':2,'below':true,'none':true,'same':false}\n"
            "{'_id':3,'below':false,'none':false,'same':false}");
}

TEST_P(StoreContract, ComparisonsOrderKindsAndNumbersExactly) {
  given({"{'_id':1,'a':{'$numberLong':'9007199254740993'},'b':{'$numberDouble':'9007199254740992.0'}}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'number':{'$gt':['$a','$b']},'text':{'$lt':['$a','x']},"
                       "'nan':{'$lt':[{'$numberDouble':'NaN'},{'$numberDouble':'-Infinity'}]},"
                       "'order':{'$cmp':[[1],true]}}}]"),
            "{'number':true,'text':true,'nan':true,'order':-1}");
}

TEST_P(StoreContract, ConditionsChooseAValue) {
  given({"{'_id':1,'a':5}"});
  EXPECT_EQ(
      aggregated("[{'$project':{'_id':0,'c':{'$cond':[{'$gt':['$a',4]},'big','small']},"
                 "'d':{'$cond':{'if':'$b','then':1,'else':2}},'e':{'$ifNull':['$b',null,'$a']},"
                 "'f':{'$switch':{'branches':[{'case':{'$eq':['$a',4]},'then':1},{'case':'$a','then':2}],'default':3}},"
                 "'g':{'$cond':[true,'$$REMOVE',1]}}}]"),
      "{'c':'big','d':2,'e':5,'f':2}");
}

TEST_P(StoreContract, ConnectivesTakeNullZeroAndMissingForFalse) {
  given({"{'_id':1,'a':0,'b':[],'c':'','d':null}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'and':{'$and':['$b','$c']},'or':{'$or':['$a','$d','$e']},"
                       "'not':{'$not':['$e']},'all':{'$and':[]},'none':{'$or':[]}}}]"),
            "{'and':true,'or':false,'not':true,'all':true,'none':false}");
}

TEST_P(StoreContract, ArithmeticWidensAsItHasTo) {
  given({"{'_id':1,'a':{'$numberInt':'2147483647'},'b':{'$numberInt':'2'}}"});
  EXPECT_EQ(
      aggregated("[{'$project':{'_id':0,'sum':{'$add':['$a','$b']},'product':{'$multiply':['$a','$b']},"
                 "'difference':{'$subtract':['$b','$a']},'quotient':{'$divide':['$b',4]},'rest':{'$mod':[-7,'$b']},"
                 "'mixed':{'$add':['$b',0.5]}}}]"),
      "{'sum':2147483649,'product':4294967294,'difference':-2147483645,'quotient':0.5,'rest':-1,'mixed':2.5}");
}

TEST_P(StoreContract, ArithmeticWithNullOrMissingIsNull) {
  given({"{'_id':1,'a':null}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'v':{'$add':[1,'$a']},'w':{'$divide':['$b',2]},'x':{'$floor':'$b'}}}]"),
            "{'v':null,'w':null,'x':null}");
}

TEST_P(StoreContract, ArithmeticRefusesTextsAndDivisionByZero) {
  given({"{'_id':1,'a':'x','b':0}"});
  EXPECT_NE(aggregated("[{'$project':{'v':{'$add':[1,'$a']}}}]").find("error"), std::string::npos);
  EXPECT_NE(aggregated("[{'$project':{'v':{'$divide':[1,'$b']}}}]").find("error"), std::string::npos);
}

TEST_P(StoreContract, RoundingGoesToTheEvenNeighbour) {
  given({"{'_id':1,'a':2.5,'b':-2.5,'c':3.75}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'a':{'$round':'$a'},'b':{'$round':['$b',0]},'c':{'$round':['$c',1]},"
                       "'floor':{'$floor':'$b'},'ceil':{'$ceil':'$b'},'trunc':{'$trunc':'$b'},'abs':{'$abs':'$b'}}}]"),
            "{'a':2.0,'b':-2.0,'c':3.8,'floor':-3.0,'ceil':-2.0,'trunc':-2.0,'abs':2.5}");
}

TEST_P(StoreContract, DatesMoveByMilliseconds) {
  given({"{'_id':1,'a':{'$date':{'$numberLong':'1000'}}}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'later':{'$toLong':{'$add':['$a',500]}},"
                       "'between':{'$subtract':['$a',{'$date':{'$numberLong':'400'}}]}}}]"),
            "{'later':1500,'between':600}");
}

TEST_P(StoreContract, ArraysGiveTheirElements) {
  given({"{'_id':1,'a':[7,8,9]}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'at':{'$arrayElemAt':['$a',1]},'last':{'$arrayElemAt':['$a',-1]},"
                       "'beyond':{'$arrayElemAt':['$a',5]},'size':{'$size':'$a'},'is':{'$isArray':'$a'},"
                       "'in':{'$in':[8.0,'$a']},'none':{'$isArray':'$b'}}}]"),
            "{'at':8,'last':9,'size':3,'is':true,'in':true,'none':false}");
}

TEST_P(StoreContract, FirstAndLastAreOperatorsToo) {
  given({"{'_id':1,'a':[7,8,9],'b':[]}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'first':{'$first':'$a'},'last':{'$last':'$a'},'none':{'$first':'$b'},"
                       "'null':{'$first':'$c'}}}]"),
            "{'first':7,'last':9,'null':null}");
}

TEST_P(StoreContract, VariablesAreSeenInTheirScope) {
  given({"{'_id':1,'a':[1,2,3],'b':[{'c':1},{'c':2}]}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'f':{'$filter':{'input':'$a','as':'x','cond':{'$gt':['$$x',1]}}},"
                       "'m':{'$map':{'input':'$b','in':{'$add':['$$this.c',10]}}},"
                       "'l':{'$let':{'vars':{'x':1},'in':{'$let':{'vars':{'x':5,'y':'$$x'},'in':['$$x','$$y']}}}},"
                       "'n':{'$map':{'input':'$a','as':'x','in':'$$x.y'}}}}]"),
            "{'f':[2,3],'m':[11,12],'l':[5,1],'n':[null,null,null]}");
}

TEST_P(StoreContract, AnUnknownVariableIsRefused) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$project':{'x':{'$let':{'vars':{'y':1},'in':'$$z'}}}}]"), "error 17276");
}

TEST_P(StoreContract, KindsAreToldAndConverted) {
  given({"{'_id':{'$oid':'5f5f5f5f5f5f5f5f5f5f5f5f'},'a':2.9,'b':'12'}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'type':{'$type':'$a'},'none':{'$type':'$c'},'number':{'$isNumber':'$b'},"
                       "'long':{'$toLong':'$a'},'int':{'$toInt':'$b'},'time':{'$toLong':{'$toDate':'$_id'}},"
                       "'bad':{'$convert':{'input':'x','to':'int','onError':'no'}},'null':{'$toInt':'$c'}}}]"),
            "{'type':'double','none':'missing','number':false,'long':2,'int':12,'time':1600085855000,'bad':'no','null':"
            "null}");
}

TEST_P(StoreContract, TextsArraysAndDocumentsAreJoined) {
  given({"{'_id':1,'a':'x','b':[1],'c':{'d':1,'e':2}}"});
  EXPECT_EQ(aggregated("[{'$project':{'_id':0,'t':{'$concat':['$a','y']},'n':{'$concat':['$a','$z']},"
                       "'l':{'$concatArrays':['$b',[2]]},'o':{'$mergeObjects':['$c',{'e':3,'f':4}]}}}]"),
            "{'t':'xy','n':null,'l':[1,2],'o':{'d':1,'e':3,'f':4}}");
}

TEST_P(StoreContract, GroupsTakeExpressions) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':2}", "{'_id':3,'a':3}"});
  EXPECT_EQ(aggregatedInAnyOrder("[{'$group':{'_id':{'odd':{'$eq':[{'$mod':['$a',2]},1]}},"
                                 "'n':{'$sum':{'$multiply':['$a',10]}}}}]"),
            "{'_id':{'odd':false},'n':20}\n{'_id':{'odd':true},'n':40}");
}

TEST_P(StoreContract, StandardDeviationsPassOverWhatIsNoNumber) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':'x'}", "{'_id':3,'a':3}", "{'_id':4}"});
  EXPECT_EQ(aggregated("[{'$group':{'_id':null,'p':{'$stdDevPop':'$a'},'n':{'$stdDevPop':'$b'}}}]"),
            "{'_id':null,'p':1.0,'n':null}");
  EXPECT_EQ(aggregated("[{'$match':{'_id':1}},{'$group':{'_id':null,'s':{'$stdDevSamp':'$a'}}}]"),
            "{'_id':null,'s':null}");
}

TEST_P(StoreContract, BucketsHaveTheBoundaryBelow) {
  given({"{'_id':1,'a':5}", "{'_id':2,'a':0}", "{'_id':3,'a':4.5}", "{'_id':4,'a':'x'}"});
  EXPECT_EQ(aggregated("[{'$bucket':{'groupBy':'$a','boundaries':[0,5,10],'default':'other'}}]"),
            "{'_id':0,'count':2}\n{'_id':5,'count':1}\n{'_id':'other','count':1}");
}

TEST_P(StoreContract, ReplaceWithTakesTheExpressionItself) {
  given({"{'_id':1,'a':{'b':7}}"});
  EXPECT_EQ(aggregated("[{'$replaceWith':'$a'}]"), "{'b':7}");
}

// What sorts and describes records by their items.

namespace {

/// The value of the first item "N" of the array "r.c".
const char* const itemValue =
    "{'$let':{'vars':{'item':{'$arrayElemAt':[{'$filter':{'input':{'$cond':[{'$isArray':['$r.c']},'$r.c',[]]},"
    "'as':'item','cond':{'$eq':['$$item.name',{'$literal':'N'}]}}},0]}},'in':'$$item.value'}}";

}  // namespace

TEST_P(StoreContract, RecordsAreSortedByAnItemWithThoseWithoutItLast) {
  given({"{'_id':1,'r':{'c':[{'name':'M','value':0},{'name':'N','value':7}]}}", "{'_id':2}",
         "{'_id':3,'r':{'c':[{'name':'N','value':'x'}]}}", "{'_id':4,'r':{'c':null}}",
         "{'_id':5,'r':{'c':[{'name':'N','value':2.5},{'name':'N','value':9}]}}",
         "{'_id':6,'r':{'c':[{'name':'N'}]}}"});
  const auto sorted = [this](const std::string& direction) {
    return aggregated(std::string("[{'$project':{'_id':0,'record':'$$ROOT','value0':") + itemValue +
                      "}},{'$addFields':{'missing0':{'$lte':['$value0',null]}}},{'$sort':{'missing0':1,'value0':" +
                      direction + ",'record._id':1}},{'$replaceRoot':{'newRoot':'$record'}},{'$project':{'_id':1}}]");
  };
  EXPECT_EQ(sorted("1"), "{'_id':5}\n{'_id':1}\n{'_id':3}\n{'_id':2}\n{'_id':4}\n{'_id':6}");
  EXPECT_EQ(sorted("-1"), "{'_id':3}\n{'_id':1}\n{'_id':5}\n{'_id':2}\n{'_id':4}\n{'_id':6}");
}

TEST_P(StoreContract, FiguresOfAnItemInBins) {
  given({"{'_id':1,'r':{'c':[{'name':'N','value':1}]}}", "{'_id':2,'r':{'c':[{'name':'N','value':3}]}}", "{'_id':3}",
         "{'_id':4,'r':{'c':[{'name':'N','value':{'$numberDouble':'NaN'}}]}}",
         "{'_id':5,'r':{'c':[{'name':'N','value':10.0}]}}"});
  const std::string number = std::string("{'$let':{'vars':{'value':") + itemValue +
                             "},'in':{'$cond':[{'$and':[{'$isNumber':'$$value'},{'$gte':['$$value',"
                             "{'$numberDouble':'-Infinity'}]}]},'$$value',null]}}}";
  const std::string bin = "{'$let':{'vars':{'x':" + number +
                          "},'in':{'$cond':[{'$eq':['$$x',null]},null,{'$min':[{'$floor':{'$divide':[{'$subtract':["
                          "'$$x',0.0]},4.0]}},1]}]}}}";
  const std::string whole = "[{'$project':{'_id':0,'by0':" + bin + ",'value0':" + number +
                            "}},{'$group':{'_id':{'by0':'$by0'},'count':{'$sum':1},'count0':{'$sum':{'$cond':[{'$eq':["
                            "'$value0',null]},0,1]}},'min0':{'$min':'$value0'},'mean0':{'$avg':'$value0'},"
                            "'std0':{'$stdDevPop':'$value0'},'max0':{'$max':'$value0'}}},{'$sort':{'_id':1}}]";
  EXPECT_EQ(aggregated(whole),
            "{'_id':{'by0':null},'count':2,'count0':0,'min0':null,'mean0':null,'std0':null,'max0':null}\n"
            "{'_id':{'by0':0.0},'count':2,'count0':2,'min0':1,'mean0':2.0,'std0':1.0,'max0':3}\n"
            "{'_id':{'by0':1},'count':1,'count0':1,'min0':10.0,'mean0':10.0,'std0':0.0,'max0':10.0}");
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
