// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "client/embedded/index/segments/bytes.h"
#include "client/embedded/index/segments/recordNumber.h"

/// Ascending lists of record numbers, as runs of consecutive ones:
///
///     posting = run*            run = varint(gap << 1 | several) [varint(length - 2)]
///
/// `gap` is the distance from the end of the run before (from 0 for the first); the length is there when it is above 1.
///
/// Runs, and no bitmaps or lists of single numbers: records of one kind are mostly put in one after the other, and then
/// a term that all of them have costs one run, of a few bytes, however many they are. Records that alternate cost a
/// byte or two each, as gaps do in any inverted index.
namespace database_client::embedded::index {

struct Run {
  RecordNumber first = 0;
  std::uint64_t length = 0;
};

class PostingWriter {
 public:
  /// `first` is not below the end of what was added before.
  void add(RecordNumber first, std::uint64_t length = 1) {
    if (first == run_.first + run_.length && run_.length > 0) {
      run_.length += length;
    } else {
      finishRun();
      run_ = {first, length};
    }
    count_ += length;
  }
  std::uint64_t count() const { return count_; }
  /// The end of the last run, 0 without one.
  RecordNumber end() const { return run_.first + run_.length; }
  /// The bytes of all runs; nothing can be added afterwards until `clear`.
  const std::string& finish() {
    finishRun();
    run_ = {};
    return bytes_;
  }
  void clear();

 private:
  void finishRun();

  std::string bytes_;
  Run run_;               // not written yet, since the next record may make it longer
  RecordNumber end_ = 0;  // of the last run that was written
  std::uint64_t count_ = 0;
};

/// Reads one run; `end` is the end of the run before and becomes that of this one.
inline Run readRun(ByteReader& reader, RecordNumber& end) {
  const std::uint64_t head = reader.varint();
  Run run{end + (head >> 1), 1};
  if (head & 1) run.length = reader.varint() + 2;
  end = run.first + run.length;
  // What was written is below 2^62. Beyond, a sum of two ends could overflow, and a run without end keep a loop going.
  if (end < run.first || end > RecordNumber{1} << 62) damaged("a record number");
  return run;
}

/// Whether the receiver wants more: always, unless it says otherwise.
template <class Receive>
bool give(Receive& receive, Run run) {
  if constexpr (std::is_void_v<std::invoke_result_t<Receive&, Run>>) {
    receive(run);
    return true;
  } else {
    return receive(run);
  }
}

/// Gives the runs to the receiver, until it returns false where it returns anything.
template <class Receive>
void eachRun(std::string_view posting, Receive receive) {
  ByteReader reader(posting);
  for (RecordNumber end = 0; !reader.atEnd();) {
    if (!give(receive, readRun(reader, end))) return;
  }
}

}  // namespace database_client::embedded::index
