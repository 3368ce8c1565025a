// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/Contract.h"

namespace database_test {

namespace {

const char* const otherCode = "refuses it under another code, or not at all";
const char* const equalIds = "takes equal ids of one batch";
const char* const unknownOperator = "knows not all of these operators";
const char* const bsonKinds = "drops the connection over this kind of value, or changes it";

}  // namespace

// docs/servers.md lists the same; a test compares the two.
const std::vector<WrongAnswer>& knownWrongAnswers() {
  static const std::vector<WrongAnswer> all{
      {"secantus", "AddFieldsReachesEachElementOfAnArray", "leaves an array on the path alone"},
      {"secantus", "AllOverAPathThroughAnArrayTakesEachElement", "finds nothing"},
      {"secantus", "AllWithAnArrayMatchesTheFieldItself", "finds only an element that is the array"},
      {"secantus", "AllOfNullCoversMissing", "finds nothing"},
      {"secantus", "ASelectorThatDemandsTwoValuesOfOneFieldInsertsNothing", "takes one of them"},
      {"secantus", "AnExclusionStageReachesThroughAnArray", "leaves an array on the path alone"},
      {"secantus", "AnExpressionsPathGathersWhatItFindsInAnArray", "takes it as missing"},
      {"secantus", "AnExpressionsPathTakesNoIndex", "takes the element"},
      {"secantus", "AnUnknownAccumulatorIsRefused", otherCode},
      {"secantus", "BinaryComparesByLengthThenKindThenBytes", "compares bytes alone"},
      {"secantus", "ComparingToUndefinedIsAnError", otherCode},
      {"secantus", "CountTellsTheNumberOrNothing", "gives a zero where a server gives no document"},
      {"secantus", "ElemMatchOfFieldsEntersNestedArraysByIndex", "takes objects only"},
      {"secantus", "EmptyArraysAndEmptyObjectsAreDifferentKeys", "takes them as one"},
      {"secantus", "FirstAndLastAreOperatorsToo", "gives null for an empty array"},
      {"secantus", "ModIsExactForLongIntegers", "computes with doubles"},
      {"secantus", "ModWantsTwoNumbersAndADivisor", otherCode},
      {"secantus", "NullDoesNotMatchWhereAnArrayHasNothingToGoOnWith", "matches them"},
      {"secantus", "OptionsInTwoPlacesAreRefused", otherCode},
      {"secantus", "SetAddsNewKeysInTheOrderOfTheirNames", "adds them in the order given, as servers before 5.0"},
      {"secantus", "SortTakesNullForElementsThatLackTheKey", "passes over them"},
      {"secantus", "SumBeyond64BitsBecomesADouble", "fails"},
      {"secantus", "SumOfDoublesIsCompensated", "adds without compensation"},
      {"secantus", "TheCustomDataOfAUserIsKept", "drops it"},
      {"secantus", "AnEmptyPasswordIsToldByItsCode", otherCode},
      {"secantus", "APersonSeesItselfAndChangesItsOwnData", "drops the data, and refuses the question"},
      {"secantus", "NamesMayHoldWhatSeparatesThePartsOfALogin",
       "refuses the login of a name with a comma or an equals sign"},
      {"secantus", "askForAnother", "lets whoever may read every database read the users"},
      {"secantus", "askForOneself", "refuses it to whoever may not read others"},
      {"secantus", "createAdministrator", "lets whoever may make users grant any role"},
      {"secantus", "createReader", "lets whoever may make users grant any role"},
      {"secantus", "customDataOfAnother", "lets whoever may change the own data change any user"},
      {"secantus", "listDatabases", "refuses it to all but the administrator, instead of leaving out"},
      {"secantus", "listUsers", "lets whoever may read every database read the users"},
      {"secantus", "ownRoles", "lets whoever may change the own data change any user"},
      {"secantus", "passwordOfAnother", "lets whoever may change the own password change any"},
      {"secantus", "rolesOfAnother", "lets whoever may change the own data change any user"},
      {"secantus", "setUp", "lets whoever may change the own data make roles"},
      {"secantus", "setUpTheAdministrator", "lets whoever may change the own data make roles"},
      {"java", "ABulkInsertReportsWhatFailedAndStoresTheRest", equalIds},
      {"java", "ACollectionTellsItsSize", "tells no size"},
      {"java", "ACopyBetweenTwoStoresOfOneSortKeepsEverything", equalIds},
      {"java", "ACopyIntoAFileAndBackKeepsEverythingAndMayBeRepeated", equalIds},
      {"java", "ACopyReplacesRecordsThatDifferOnRequest", equalIds},
      {"java", "ACopyTellsWhatDiffersAndLeavesItUnlessToldOtherwise", equalIds},
      {"java", "ADocumentThatSetInsertsHasTheSelectorsKeysInOrder", "takes the order of the selector"},
      {"java", "ANumericPartIsAlsoAKey", "takes it as an index only"},
      {"java", "APathEntersTheObjectsOfAnArray", "enters arrays inside arrays too"},
      {"java", "APatternThatIsNoneIsRefused", otherCode},
      {"java", "AStoredPatternIsFoundByAnEqualOne", "compares the pattern without its options"},
      {"java", "AddFieldsReachesEachElementOfAnArray", "takes a path as a name"},
      {"java", "AddFieldsSetsReplacesAndCreatesObjects", "takes a path as a name"},
      {"java", "AddToSetKeepsEachValueOnce", "tells equal numbers of two kinds apart"},
      {"java", "AllIsEqualityWithEachValue", "wants an array"},
      {"java", "AllWithAnArrayMatchesTheFieldItself", "finds only an element that is the array"},
      {"java", "AllOfNullCoversMissing", "finds nothing"},
      {"java", "AnArrayOperandMatchesTheWholeOrAnElement", "finds only the whole"},
      {"java", "AnIdThatIsThereAlreadyIsAFailedRow", equalIds},
      {"java", "AnEmptyProjectIsRefused", otherCode},
      {"java", "AnExportOfAllComesBackWithConfigurationAndSettings", equalIds},
      {"java", "AnExpressionsPathGathersWhatItFindsInAnArray", "drops the connection"},
      {"java", "AnExpressionsPathTakesNoIndex", "drops the connection"},
      {"java", "AnUnknownPatternOptionIsRefused", otherCode},
      {"java", "AnUnknownVariableIsRefused", otherCode},
      {"java", "AppendRefusesWhatIsNoArray", "takes null as an empty array"},
      {"java", "ArithmeticWidensAsItHasTo", "gives a double for the rest of a division"},
      {"java", "ArraysGiveTheirElements", "tells equal numbers of two kinds apart"},
      {"java", "BinaryComparesByLengthThenKindThenBytes", bsonKinds},
      {"java", "CategoryNotExists", "negates a pattern for each element apart"},
      {"java", "ComparingToUndefinedIsAnError", otherCode},
      {"java", "ComparisonsOrderKindsAndNumbersExactly", "puts NaN above the numbers"},
      {"java", "ConditionsChooseAValue", unknownOperator},
      {"java", "CountWantsAPlainName", otherCode},
      {"java", "DescriptionNotExists", "negates a pattern for each element apart"},
      {"java", "DifferentElementsMaySatisfyEachCondition", "wants one element for all"},
      {"java", "FiguresOfAnItemInBins", unknownOperator},
      {"java", "FirstAndLastAreOperatorsToo", unknownOperator},
      {"java", "GroupsMustBeArraysOfObjectsAndNotEmpty", otherCode},
      {"java", "InMayNotHoldOperators", otherCode},
      {"java", "KeptKeysStayInTheDocumentsOrder", "gives the order of the projection"},
      {"java", "KindsAreToldAndConverted", unknownOperator},
      {"java", "KindsWithoutAnAccessorComeBackUnchanged", bsonKinds},
      {"java", "LimitMustBePositiveAndSkipNotNegative", otherCode},
      {"java", "MatchWantsAQuery", otherCode},
      {"java", "ModIsExactForLongIntegers", "computes with doubles"},
      {"java", "ModWantsTwoNumbersAndADivisor", otherCode},
      {"java", "NanAndTheInfinitiesAreDoubles", "puts NaN above the numbers"},
      {"java", "NanIsNeitherBelowNorAboveNumbers", "puts NaN above the numbers"},
      {"java", "NotWithAScalarIsAnError", otherCode},
      {"java", "NullComparesWithMissingWhereEqualityIsMeant", "finds nothing"},
      {"java", "NullDoesNotMatchWhereAnArrayHasNothingToGoOnWith", "matches them"},
      {"java", "NullOnAPathMatchesWhereItEnds", "matches scalars in an array"},
      {"java", "OptionsInTwoPlacesAreRefused", otherCode},
      {"java", "PushSkipsMissingAndKeepsNull", "skips null"},
      {"java", "RecordsAreSortedByAnItemWithThoseWithoutItLast", unknownOperator},
      {"java", "ReplaceWithTakesTheExpressionItself", unknownOperator},
      {"java", "RoundingGoesToTheEvenNeighbour", unknownOperator},
      {"java", "SetAddsNewKeysInTheOrderOfTheirNames", "adds them in the order given, as servers before 5.0"},
      {"java", "SetRefusesAScalarOrNullInTheWay", "replaces null"},
      {"java", "SetRefusesAnEmptyPartOfAPath", otherCode},
      {"java", "SortPutsNanBelowAllNumbers", "puts NaN above the numbers"},
      {"java", "SortWantsDirections", otherCode},
      {"java", "StandardDeviationsPassOverWhatIsNoNumber", unknownOperator},
      {"java", "SumBeyond64BitsBecomesADouble", "overflows"},
      {"java", "SumOfDoublesIsCompensated", "adds without compensation"},
      {"java", "SymbolsCompareAsStrings", bsonKinds},
      {"java", "UnsetWantsStrings", otherCode},
      {"java", "VariablesAreSeenInTheirScope", unknownOperator},
  };
  return all;
}

std::string knownWrong(const std::string& engine, const std::string& test) {
  for (const WrongAnswer& answer : knownWrongAnswers()) {
    if (serverOf(engine).rfind(answer.engine, 0) == 0 && test == answer.test) return answer.reason;
  }
  return {};
}

}  // namespace database_test
