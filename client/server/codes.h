// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The numbers under which a server refuses, by the names that its manual gives them. From 10000 on, a number without a
/// name stands for the place in the server that did not understand its arguments.
namespace database_client::server::code {

constexpr int badValue = 2;
constexpr int hostUnreachable = 6;
constexpr int hostNotFound = 7;
constexpr int failedToParse = 9;
constexpr int userNotFound = 11;
constexpr int unauthorized = 13;
constexpr int typeMismatch = 14;
constexpr int overflow = 15;
constexpr int authenticationFailed = 18;
constexpr int invalidBson = 22;
constexpr int namespaceNotFound = 26;
constexpr int pathNotViable = 28;
constexpr int nonExistentPath = 29;
constexpr int invalidPath = 30;
constexpr int cannotBackfillArray = 34;
constexpr int conflictingUpdateOperators = 40;
constexpr int maxTimeExpired = 50;
constexpr int dollarPrefixedFieldName = 52;
constexpr int invalidIdField = 53;
constexpr int notSingleValueField = 54;
constexpr int invalidDbRef = 55;
constexpr int emptyFieldName = 56;
constexpr int dottedFieldName = 57;
constexpr int commandNotFound = 59;
constexpr int immutableField = 66;
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
constexpr int bsonObjectTooLarge = 10334;
constexpr int duplicateKey = 11000;
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
constexpr int passwordRequired = 50687;
constexpr int roleExists = 51002;
constexpr int userExists = 51003;

}  // namespace database_client::server::code
