// SPDX-License-Identifier: Apache-2.0
#include "tools/core/PassedOver.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::printable;

/// The id as it is written on a command line, or as JSON where it is of another kind.
std::string nameOf(const ObjectProperties& id) {
  if (id.isEmpty()) return "a document";
  const std::string text = id.valueAsId("_id", "");
  return text.empty() ? id.toJson() : text;
}

}  // namespace

void PassedOver::add(const ObjectProperties& id, const database_client::Error& error) {
  // A command may read the same documents several times.
  if (known_.size() < mostKnown && !known_.insert(error.what()).second) return;
  if (++count_ > mostTold) return;
  if (prepare_) prepare_();
  std::cerr << "recordctl: " << printable(nameOf(id)) << " is passed over: " << printable(error.what()) << '\n';
}

void PassedOver::finish() {
  const std::size_t notTold = count_ - std::min(std::exchange(count_, 0), mostTold);
  if (notTold > 0) std::cerr << "recordctl: " << notTold << " more are passed over; \"recordctl check\" names them\n";
}

}  // namespace database_provider::recordctl
