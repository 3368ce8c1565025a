// SPDX-License-Identifier: Apache-2.0
#include "tools/core/StoreParts.h"

#include <algorithm>

namespace database_provider::recordctl {

namespace {

using Contents = StorePart::Contents;

StorePart configurationOf(RecordKind kind) {
  return {Contents::configuration, kind, placeOf(kind).database, layout::configuration};
}

StorePart recordsOf(RecordKind kind) {
  const RecordPlace& place = placeOf(kind);
  return {Contents::records, kind, place.database, place.collection};
}

std::vector<StorePart> makeParts() {
  return {configurationOf(RecordKind::experiment),
          configurationOf(RecordKind::scenario),
          recordsOf(RecordKind::experiment),
          recordsOf(RecordKind::scenario),
          {Contents::settings, RecordKind::experiment, layout::settings.database, layout::settings.collection}};
}

template <class Condition>
const StorePart* find(const Condition& condition) {
  const std::vector<StorePart>& parts = storeParts();
  const auto found = std::find_if(parts.begin(), parts.end(), condition);
  return found == parts.end() ? nullptr : &*found;
}

}  // namespace

const std::vector<StorePart>& storeParts() {
  static const std::vector<StorePart> parts = makeParts();
  return parts;
}

const StorePart& configurationPart(RecordKind kind) {
  return *find([&](const StorePart& part) { return part.contents == Contents::configuration && part.kind == kind; });
}

const StorePart& recordsPart(RecordKind kind) {
  return *find([&](const StorePart& part) { return part.contents == Contents::records && part.kind == kind; });
}

const StorePart& settingsPart() {
  return *find([](const StorePart& part) { return part.contents == Contents::settings; });
}

const StorePart* findStorePart(const std::string& name) {
  return find([&](const StorePart& part) { return part.name() == name; });
}

}  // namespace database_provider::recordctl
