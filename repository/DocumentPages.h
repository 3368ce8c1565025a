// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "database_provider/records.h"

namespace database_provider::repository {

/// The documents of a selection, some at a time, with nothing left open in between: the client can be used for other
/// calls meanwhile, a store in a file is not read-locked for as long as a caller thinks about a record, and a server
/// does not close a cursor that nobody asked for a while. Without a sort a page begins behind the last document of the
/// one before, so that it costs the same wherever it stands. A sort, which would be done anew for every page, is done
/// once: the ids are taken in its order at the start (some 40 bytes each are held), and pages are read by them.
///
/// Documents under an id that is neither an object id nor a text, which other programs may have written, cannot be
/// gone on from or asked for by it. They are reached by the number that was read before.
class DocumentPages {
 public:
  DocumentPages(const Records& records, Selection selection, FindOptions options, ObjectProperties projection = {});

  /// Hands over at most so many; false when there are no more. `receive` returns false to leave the rest to the next
  /// page.
  bool next(int most, const std::function<bool(ObjectProperties&)>& receive);

 private:
  bool nextInOrder(int most, const std::function<bool(ObjectProperties&)>& receive);
  bool nextById(int most, const std::function<bool(ObjectProperties&)>& receive);

  Records records_;
  Selection selection_;
  FindOptions options_;  ///< ask for what was not handed over yet
  ObjectProperties projection_;
  bool isLimited_;
  bool isById_ = false;
  bool isAtEnd_ = false;
  std::vector<std::string> ids_{};  ///< in the order of the sort
  std::size_t at_ = 0;
};

}  // namespace database_provider::repository
