// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <sstream>
#include <string>

#include "tests/contract/Contract.h"
#include "tests/support/pipelineCases.h"

namespace database_test {

namespace {

class PipelineContract : public StoreContract {};

/// The stages of a row behind two that take off the "_id" that a store gives to a document without one, and let the
/// documents through in the order in which they were inserted.
std::string withoutIds(const std::string& stages) {
  return "[{'$sort':{'_id':1}},{'$project':{'_id':0}}" + std::string(stages == "[]" ? "" : ",") + stages.substr(1);
}

std::string sortedLines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  std::string sorted;
  for (const std::string& line : lines) sorted += (sorted.empty() ? "" : "\n") + line;
  return sorted;
}

}  // namespace

TEST_P(PipelineContract, GivesItsResults) {
  for (const auto& [documents, rows] : rowNamed(pipelineCases(), rowName()).parts) {
    removed("{}");
    const bool haveIds = std::all_of(documents.begin(), documents.end(),
                                     [](const std::string& document) { return document.rfind("{'_id':", 0) == 0; });
    for (std::size_t i = 0; i < documents.size(); ++i)
      ASSERT_EQ(inserted(haveIds ? documents[i] : numbered(documents[i], i + 1)), "ok") << documents[i];
    for (const PipelineCase::Row& row : rows) {
      const std::string results = aggregated(haveIds ? row.stages : withoutIds(row.stages));
      if (row.order == Order::fixed)
        EXPECT_EQ(results, row.expected) << row.stages;
      else
        EXPECT_EQ(sortedLines(results), sortedLines(row.expected)) << row.stages;
    }
  }
}

TEST_P(StoreContract, LimitMustBePositiveAndSkipNotNegative) {
  given({"{'_id':1}"});
  EXPECT_EQ(aggregated("[{'$limit':0}]"), "error 15958");
  EXPECT_NE(aggregated("[{'$skip':-1}]").find("error"), std::string::npos);
  EXPECT_EQ(aggregated("[{'$skip':1}]"), "");
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

INSTANTIATE_TEST_SUITE_P(Engines, PipelineContract, ::testing::ValuesIn(rowsOfEngines(pipelineCases())), engineName);

}  // namespace database_test
