// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The numbers that `Error::code` gives: those of a MongoDB server, by the names that it gives them. From 10000 on most
/// have none there, only a place ("Location15974"); they are called here after what is refused.
///
/// A server may give numbers that do not stand here.
namespace database_client::code {

// Given by servers and by the embedded store.

constexpr int badValue = 2;
constexpr int failedToParse = 9;
constexpr int userNotFound = 11;
constexpr int unauthorized = 13;
constexpr int typeMismatch = 14;
constexpr int overflow = 15;  ///< too many levels, too many parts of a path
constexpr int authenticationFailed = 18;
constexpr int illegalOperation = 20;
constexpr int invalidBson = 22;  ///< also a replacement with operators, before anything is sent
constexpr int pathNotViable = 28;
constexpr int roleNotFound = 31;
constexpr int cannotBackfillArray = 34;
constexpr int conflictingUpdateOperators = 40;
constexpr int dollarPrefixedFieldName = 52;
constexpr int invalidIdField = 53;
constexpr int notSingleValueField = 54;  ///< a query for an upsert that demands two values of one field
constexpr int emptyFieldName = 56;
constexpr int immutableField = 66;  ///< a change of the "_id"
constexpr int queryExceededMemoryLimitNoDiskUseAllowed = 292;
constexpr int bsonObjectTooLarge = 10334;
constexpr int duplicateKey = 11000;

constexpr int passwordRequired = 50687;
constexpr int userExists = 51003;

constexpr int negativeNumber = 51024;  ///< a limit or skip below zero
constexpr int optionsBeforeRegexWithFlags = 51074;
constexpr int optionsAfterRegexWithFlags = 51075;
constexpr int invalidRegex = 51091;
constexpr int invalidRegexFlag = 51108;

constexpr int fieldNameEmpty = 15998;
constexpr int fieldNameWithDollar = 16410;
constexpr int fieldNameWithNul = 16411;
constexpr int fieldNameWithDot = 16412;
constexpr int fieldPathEmpty = 40352;
constexpr int fieldPathEndsWithDot = 40353;
constexpr int fieldPathOfDollarAlone = 16872;
constexpr int expressionWithSeveralOperators = 15983;
constexpr int unknownVariable = 17276;
constexpr int unknownAccumulator = 15952;

constexpr int stageWithoutOneField = 40323;  ///< a stage has exactly one field
constexpr int unknownStage = 40324;
constexpr int tooManyStages = 7749501;
constexpr int addFieldsConflictingPaths = 40176;
constexpr int addFieldsEmpty = 40177;
constexpr int addFieldsEmptyDocument = 40180;  ///< under one of the fields
constexpr int addFieldsNotADocument = 40272;
constexpr int countNotAString = 40156;
constexpr int countEmpty = 40157;
constexpr int countWithDollar = 40158;
constexpr int countWithNul = 40159;
constexpr int countWithDot = 40160;
constexpr int facetNotADocument = 40169;
constexpr int facetFieldNotAnArray = 40170;
constexpr int facetStageInside = 40600;  ///< a stage that cannot stand inside $facet
constexpr int groupNotADocument = 15947;
constexpr int groupIdTwice = 15948;
constexpr int groupWithoutId = 15955;
constexpr int groupFieldNotAnAccumulator = 40234;
constexpr int groupFieldWithDot = 40235;
constexpr int groupFieldWithDollar = 40236;
constexpr int groupFieldOfSeveralAccumulators = 40238;
constexpr int limitNotPositive = 15958;
constexpr int limitNotANumber = 5107201;  ///< or not a whole one, or below zero
constexpr int matchNotADocument = 15959;
constexpr int projectNotADocument = 15969;
constexpr int projectEmpty = 51272;
constexpr int projectEmptyDocument = 51270;  ///< under one of the fields
constexpr int projectPathBeyondAnother = 31249;
constexpr int projectPathTaken = 31250;
constexpr int projectExpressionInExclusion = 31252;
constexpr int projectInclusionInExclusion = 31253;
constexpr int projectExclusionInInclusion = 31254;
constexpr int replaceRootNotADocument = 40229;
constexpr int replaceRootUnknownOption = 40230;
constexpr int replaceRootWithoutNewRoot = 40231;
constexpr int replaceRootToNoDocument = 40228;  ///< what the expression gives is none
constexpr int skipNotANumber = 5107200;         ///< or not a whole one, or below zero
constexpr int sortNotADocument = 15973;
constexpr int sortDirectionNotANumber = 15974;
constexpr int sortDirectionNotOne = 15975;  ///< neither 1 nor -1
constexpr int sortWithoutKey = 15976;
constexpr int sortByCountOfDocument = 40147;  ///< of one that is no expression
constexpr int sortByCountPathWithoutDollar = 40148;
constexpr int sortByCountNotAPath = 40149;
constexpr int unsetNotAString = 31002;  ///< nor an array
constexpr int unsetEmpty = 31119;
constexpr int unsetElementNotAString = 31120;
constexpr int unwindNotAPath = 15981;  ///< nor a document
constexpr int unwindPathNotAString = 28808;
constexpr int unwindPreserveNotABoolean = 28809;
constexpr int unwindIndexNotAString = 28810;
constexpr int unwindUnknownOption = 28811;
constexpr int unwindWithoutPath = 28812;
constexpr int unwindPathWithoutDollar = 28818;
constexpr int unwindIndexWithDollar = 28822;

// Given by servers alone.

constexpr int hostUnreachable = 6;
constexpr int hostNotFound = 7;
constexpr int namespaceNotFound = 26;
constexpr int nonExistentPath = 29;
constexpr int invalidPath = 30;
constexpr int cursorNotFound = 43;
constexpr int maxTimeMsExpired = 50;
constexpr int invalidDbRef = 55;
constexpr int dottedFieldName = 57;
constexpr int commandNotFound = 59;
constexpr int writeConcernFailed = 64;  ///< applied, but not replicated as asked within the time
constexpr int cannotCreateIndex = 67;
constexpr int invalidOptions = 72;
constexpr int invalidNamespace = 73;
constexpr int indexOptionsConflict = 85;
constexpr int indexKeySpecsConflict = 86;
constexpr int networkTimeout = 89;
constexpr int shutdownInProgress = 91;
constexpr int writeConflict = 112;
constexpr int commandNotSupported = 115;
constexpr int documentValidationFailure = 121;
constexpr int failedToSatisfyReadPreference = 133;
constexpr int readConcernMajorityNotAvailableYet = 134;
constexpr int invalidPipelineOperator = 168;
constexpr int primarySteppedDown = 189;
constexpr int networkInterfaceExceededTimeLimit = 202;
constexpr int notImplemented = 238;
constexpr int exceededTimeLimit = 262;
constexpr int socketException = 9001;
constexpr int cannotGrowDocumentInCappedNamespace = 10003;
constexpr int legacyNotPrimary = 10058;
constexpr int notWritablePrimary = 10107;
constexpr int duplicateKeyInUpdate = 11001;
constexpr int interruptedAtShutdown = 11600;
constexpr int interrupted = 11601;
constexpr int interruptedDueToReplStateChange = 11602;
constexpr int duplicateKeyInCappedNamespace = 12582;
constexpr int backgroundOperationInProgressForDatabase = 12586;
constexpr int backgroundOperationInProgressForNamespace = 12587;
constexpr int staleConfig = 13388;
constexpr int notPrimaryNoSecondaryOk = 13435;
constexpr int notPrimaryOrSecondary = 13436;
constexpr int outOfDiskSpace = 14031;
constexpr int keyTooLong = 17280;
constexpr int resultingDocumentTooLarge = 17419;
constexpr int insertedDocumentTooLarge = 17420;
constexpr int clientMarkedKilled = 46841;
constexpr int roleExists = 51002;

}  // namespace database_client::code
