// SPDX-License-Identifier: Apache-2.0
#include "repository/DocumentRewriter.h"

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "database_client/codes.h"

namespace database_provider::repository {

using database_client::ArrayScope;
using database_client::EnteredScope;
using database_client::Error;
using database_client::GroupScope;
using database_client::UpdateFlags;
using database_client::UpdateOperation;
using database_client::UpdateResult;

namespace {

constexpr const char* idKey = "_id";

bool areSameAt(const std::string& key, const ObjectProperties& one, const ObjectProperties& other) {
  ObjectProperties ofOne;
  ObjectProperties ofOther;
  return ofOne.copyValue(key, one, key) == ofOther.copyValue(key, other, key) && ofOne.toBson() == ofOther.toBson();
}

std::vector<std::string> keysOf(const ObjectProperties& level) {
  std::vector<std::string> result;
  for (ElementReader element(level); element.next();) {
    if (element.key() != idKey) result.emplace_back(element.key());
  }
  return result;
}

bool isPath(const std::string& key) {
  return !key.empty() && key.front() != '$' && key.find('.') == std::string::npos;
}

/// The update that makes one document of another, and the conditions under which it may.
class Difference {
 public:
  Difference(const ObjectProperties& stored, const ObjectProperties& changed, bool isGuarded) : isGuarded_(isGuarded) {
    if (addValues(stored, changed, "")) return;
    operation_ = UpdateOperation::replace;
    values_ = changed;
    values_.removeKey(idKey);
    conditions_ = ObjectProperties();
    if (isGuarded_) addWholeDocument(stored);
  }

  bool isEmpty() const { return operation_ == UpdateOperation::set && values_.isEmpty(); }
  int operation() const { return operation_; }
  const ObjectProperties& document() const { return values_; }
  /// Selects the document by its "_id", if it still has what was read of it and is selected.
  ObjectProperties selector(const ObjectProperties& id, const Selection& selection) const {
    ObjectProperties result(id);
    if (!isGuarded_) return result;
    const ArrayScope all(result, "$and");
    for (int i = 0; i < conditions_.size(); ++i)
      result.copyValue(conditions_.nameAt(i), conditions_, conditions_.nameAt(i));
    if (!selection.selectsAll()) result.include(std::to_string(result.size()), selection.query());
    return result;
  }

 private:
  /// Adds what has another value on this level; false where the difference is no list of values at paths.
  bool addValues(const ObjectProperties& stored, const ObjectProperties& changed, const std::string& prefix) {
    const std::vector<std::string> before = keysOf(stored);
    const std::vector<std::string> after = keysOf(changed);
    const bool keepsKeys = before.size() <= after.size() && std::equal(before.begin(), before.end(), after.begin());
    if (!keepsKeys || std::set<std::string>(after.begin(), after.end()).size() != after.size()) return false;
    return std::all_of(after.begin(), after.end(),
                       [&](const std::string& key) { return addValue(stored, changed, prefix, key); });
  }

  bool addValue(const ObjectProperties& stored, const ObjectProperties& changed, const std::string& prefix,
                const std::string& key) {
    if (areSameAt(key, stored, changed)) return true;
    const bool isInfo = prefix.empty() && key == layout::key::recordInfo;
    if (isInfo && stored.type(key) == PropertyType::group && changed.type(key) == PropertyType::group) {
      const EnteredScope inStored = EnteredScope::group(stored, key);
      const EnteredScope inChanged = EnteredScope::group(changed, key);
      return addValues(stored, changed, key + ".");
    }
    if (!isPath(key)) return false;
    values_.copyValue(prefix + key, changed, key);
    if (isGuarded_) addCondition(prefix + key, stored, key);
    return true;
  }

  void addCondition(const std::string& path, const ObjectProperties& stored, const std::string& key) {
    const GroupScope condition(conditions_, std::to_string(conditions_.size()));
    if (!stored.contains(key)) {
      const GroupScope value(conditions_, path);
      conditions_.setValueBool("$exists", false);
      return;
    }
    const GroupScope expression(conditions_, "$expr");
    const ArrayScope operands(conditions_, "$eq");
    conditions_.setValueString("0", "$" + path);
    const GroupScope literal(conditions_, "1");
    conditions_.copyValue("$literal", stored, key);
  }

  void addWholeDocument(const ObjectProperties& stored) {
    try {
      ObjectProperties whole;
      whole.include("document", stored);
      addCondition("$ROOT", whole, "document");
    } catch (const Error& error) {
      throw Error(
          Error::Kind::document,
          std::string("the record is too large or too deep to be replaced while others may write it: ") + error.what(),
          {error.where()});
    }
  }

  bool isGuarded_;
  ObjectProperties values_{};
  ObjectProperties conditions_{};  ///< under "0", "1", …
  int operation_ = UpdateOperation::set;
};

ObjectProperties idOf(const ObjectProperties& document) {
  ObjectProperties result;
  result.copyValue(idKey, document, idKey);
  return result;
}

}  // namespace

DocumentRewriter::DocumentRewriter(DataBaseClient& store, layout::Place place, Part part, Selection selection)
    : store_(&store),
      place_(place),
      part_(part),
      selection_(std::move(selection)),
      isGuarded_(!store.keepsInsertionOrder()) {
  if (part == Part::recordInfo) projection_.setValueBool(layout::key::recordInfo, true);
}

DocumentRewriter::Outcome DocumentRewriter::rewrite(const ObjectProperties& stored, const Change& change) const {
  constexpr int mostTries = 10;
  const ObjectProperties id = idOf(stored);
  std::optional<ObjectProperties> current = stored;
  for (int i = 0; i < mostTries; ++i) {
    ObjectProperties changed = *current;
    change(changed);
    const Difference difference(*current, changed, isGuarded_);
    if (difference.isEmpty()) return Outcome::unchanged;
    if (part_ == Part::recordInfo && difference.operation() == UpdateOperation::replace)
      throw Error(Error::Kind::document, "a change of \"recordInfo\" takes keys away from it",
                  {layout::key::recordInfo});
    const UpdateResult written =
        store_->updateCounted(place_.database, place_.collection, difference.selector(id, selection_),
                              difference.document(), UpdateFlags::none, difference.operation());
    if (written.matched > 0) return Outcome::changed;
    if (i == 0) requireAcknowledgement(id);
    current = readAgain(id);
    if (!current) return Outcome::gone;
  }
  throw Error(Error::Kind::server,
              "others changed the record each of the " + std::to_string(mostTries) + " times that it was to be written",
              {id.valueAsId(idKey, ""), database_client::code::writeConflict, true, false});
}

std::optional<ObjectProperties> DocumentRewriter::readAgain(const ObjectProperties& id) const {
  std::optional<ObjectProperties> result;
  const Selection selected = Selection::ofQuery(id) && selection_;
  store_->findEach(place_.database, place_.collection, selected.query(), projection_, 1, 0,
                   [&](ObjectProperties& found) {
                     result = std::move(found);
                     return false;
                   });
  return result;
}

/// A write that is not acknowledged (w=0 in the address) meets nothing, as far as one can tell, and to do it again
/// would do it twice. Whether that is so, a write tells that cannot miss: that of its own "_id".
void DocumentRewriter::requireAcknowledgement(const ObjectProperties& id) const {
  const UpdateResult met =
      store_->updateCounted(place_.database, place_.collection, id, id, UpdateFlags::none, UpdateOperation::set);
  if (met.matched > 0 || store_->count(place_.database, place_.collection, id) == 0) return;
  throw Error(Error::Kind::unsupported,
              "records are changed over a connection that acknowledges writes alone, not w=0");
}

}  // namespace database_provider::repository
