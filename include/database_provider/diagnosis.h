// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "database_provider/files.h"

/// What is odd in a store, although nothing in it is damaged: what slips of those who filled it leave behind.
namespace database_provider {

/// Something odd in the records of a kind, and what mends it.
struct Finding {
  enum class Problem {
    twoTypes,       ///< a description has values of several types
    alikeNames,     ///< two names differ by letter case or blanks alone
    alikeValues,    ///< two values of a category differ so
    nameUsedOnce,   ///< one record alone has a category or a description of this name
    missingFile,    ///< a file that records refer to, and that is on this machine or below a root, is not there
    withoutSource,  ///< experiments that name no data source
    plainRows,      ///< documents without categories and descriptions, which no filter sees
  };

  Problem problem = Problem::twoTypes;
  RecordKind kind = RecordKind::experiment;
  std::string name{};     ///< of the category or description, or the path; empty where it is about records as a whole
  std::string detail{};   ///< what is odd about it, for people: the types, the other name, the two values
  long long records = 0;  ///< how many would have to be mended; where names are counted, how often they stand
  std::vector<std::string> command{};  ///< the words of the command that mends it, without "recordctl"; empty for none
};

/// The name of a problem, as a person reads it: "one name of two types".
DATABASE_PROVIDER_EXPORT const char* problemName(Finding::Problem problem);

/// How a store is looked at.
struct DiagnosisOptions {
  FileRoots files{};        ///< where files are seen
  std::size_t most = 1000;  ///< findings of each problem; those beyond come as one, without a name
};

/// What is odd in the records of a kind, problem by problem, by name. Names and values are counted by the store (in a
/// file from its index, on a server by one aggregation for the names of a sort and for the values of a category); then
/// the records are gone through once for their files and sources. Memory is bounded by `most` and takes 8 bytes for
/// each value of the category that has most, beside what the store itself needs to count them.
DATABASE_PROVIDER_EXPORT std::vector<Finding> diagnose(const Records& records, const DiagnosisOptions& options = {});

}  // namespace database_provider
