// SPDX-License-Identifier: Apache-2.0
#include "repository/DocumentPages.h"

#include <algorithm>
#include <map>
#include <utility>

namespace database_provider::repository {

namespace {

constexpr std::ptrdiff_t mostIds = 1000;  // in one query; not every server finds many thousands within its time

}  // namespace

DocumentPages::DocumentPages(const Records& records, Selection selection, FindOptions options,
                             ObjectProperties projection)
    : records_(records),
      selection_(std::move(selection)),
      options_(std::move(options)),
      projection_(std::move(projection)),
      isLimited_(options_.limit > 0) {
  const bool isOnePage = isLimited_ && options_.limit <= mostIds;
  if (options_.sort.empty() || isOnePage) return;
  ids_ = records_.ids(selection_, options_);
  isById_ = std::none_of(ids_.begin(), ids_.end(), [](const std::string& id) { return id.empty(); });
}

bool DocumentPages::next(int most, const std::function<bool(ObjectProperties&)>& receive) {
  return isById_ ? nextById(most, receive) : nextInOrder(most, receive);
}

bool DocumentPages::nextInOrder(int most, const std::function<bool(ObjectProperties&)>& receive) {
  if (isAtEnd_) return false;
  FindOptions page = options_;
  page.limit = isLimited_ ? std::min(options_.limit, most) : most;
  int count = 0;
  std::string last;
  bool isStopped = false;
  records_.forEachDocument(selection_, page, projection_, [&](ObjectProperties& document) {
    ++count;
    last = document.valueAsId("_id", "");
    isStopped = !receive(document);
    return !isStopped;
  });
  if (isLimited_) options_.limit -= count;
  isAtEnd_ = (!isStopped && count < page.limit) || (isLimited_ && options_.limit == 0);
  if (last.empty() || !options_.sort.empty()) {
    options_.skip += count;
  } else {
    options_.after = last;
    options_.skip = 0;
  }
  return count > 0;
}

bool DocumentPages::nextById(int most, const std::function<bool(ObjectProperties&)>& receive) {
  while (at_ < ids_.size()) {
    const auto begin = ids_.begin() + static_cast<std::ptrdiff_t>(at_);
    const auto end = begin + std::min<std::ptrdiff_t>({most, mostIds, ids_.end() - begin});
    std::map<std::string, ObjectProperties> found;
    records_.forEachDocument(Selection::ofIds({begin, end}), {}, projection_, [&](ObjectProperties& document) {
      std::string id = document.valueAsId("_id", "");
      found.emplace(std::move(id), std::move(document));
      return true;
    });
    for (auto id = begin; id != end; ++id) {
      ++at_;
      const auto document = found.find(*id);
      if (document != found.end() && !receive(document->second)) return true;
    }
    // What others removed meanwhile may have been a whole page.
    if (!found.empty()) return true;
  }
  return false;
}

}  // namespace database_provider::repository
