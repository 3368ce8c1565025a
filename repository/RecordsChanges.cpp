// SPDX-License-Identifier: Apache-2.0

// Changes of many records.
//
// The ids of the records are collected first, and the records then read and changed some at a time. A change may move a
// record into or out of the selection, or to another place in the order of an index by which a server finds it: who
// wrote while a cursor over the selection is open would meet records twice, or never. Ids are kept as the queries that
// ask for them, 18 bytes for each, so that an "_id" of any kind can be asked for again.
//
// What would be refused is looked for before anything is written, in a file in the same transaction. What fails
// between the check and the write, since somebody else changed a record on a server, is counted as failed.

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "database_client/codes.h"
#include "database_provider/records.h"
#include "repository/DocumentRewriter.h"
#include "repository/Node.h"
#include "repository/RecordChange.h"
#include "repository/convertValue.h"
#include "repository/documentValue.h"
#include "repository/items.h"
#include "repository/kinds.h"

namespace database_provider {

using database_client::ArrayScope;
using database_client::EnteredScope;
using database_client::Error;
using database_client::GroupScope;
using database_client::Transaction;
using repository::DocumentRewriter;
using repository::findItem;
using repository::itemsOf;
using repository::object;
using repository::placeOf;
using repository::RecordChange;
using repository::writeItems;
using Kind = NameInUse::Kind;
using Outcome = DocumentRewriter::Outcome;

namespace {

constexpr int mostTold = 20;

/// Changes a document; false where the record is to be skipped.
using Change = std::function<bool(ObjectProperties&)>;

const char* sectionOf(Kind kind) {
  return kind == Kind::category ? layout::key::category : layout::key::description;
}

const char* namePathOf(Kind kind) {
  return kind == Kind::category ? layout::path::categoryName : layout::path::descriptionName;
}

const char* nounOf(Kind kind) {
  return kind == Kind::category ? "category" : "description";
}

Selection hasName(Kind kind, const std::string& name) {
  return Selection::ofQuery(repository::toDocument(object({{namePathOf(kind), name}})));
}

void requireText(const std::string& text, const char* what) {
  if (text.empty()) throw Error(Error::Kind::document, std::string(what) + " is empty");
}

/// Records that stand in the way of a change.
class Obstacles {
 public:
  void add(const ObjectProperties& document) {
    if (count_++ >= mostTold) return;
    const std::string id = document.valueAsId("_id", "?");
    ids_ += (ids_.empty() ? "" : ", ") + id;
  }
  /// Throws where there are any: "3 records have …: ID, ID, ID".
  void refuse(const std::string& have, const std::string& has, const std::string& what, const std::string& name) const {
    if (count_ == 0) return;
    throw Error(Error::Kind::query,
                std::to_string(count_) + (count_ == 1 ? " record " + has : " records " + have) + " " + what + ": " +
                    ids_ + (count_ > mostTold ? " and " + std::to_string(count_ - mostTold) + " more" : ""),
                {name});
  }

 private:
  long long count_ = 0;
  std::string ids_{};
};

/// In a file a transaction, for changes that are more than told.
class ChangeScope {
 public:
  ChangeScope(DataBaseClient& store, const ChangeOptions& options) {
    if (store.keepsInsertionOrder() && !options.dryRun) transaction_.emplace(store);
  }
  void commit() {
    if (transaction_) transaction_->commit();
  }

 private:
  std::optional<Transaction> transaction_{};
};

/// Whether a failure is that of one record, so that the others can be changed all the same.
bool isOfOneRecord(const Error& error) {
  return error.kind() == Error::Kind::document || error.kind() == Error::Kind::query ||
         error.kind() == Error::Kind::duplicateKey || error.code() == database_client::code::writeConflict;
}

/// The selected records, as queries for some of them each: few enough that a request to give up, which is asked for
/// with each read, does not wait long on a server that is far away.
std::vector<ObjectProperties> batchesOf(const Records& records, const Selection& selection) {
  constexpr int batchSize = 32;
  ObjectProperties idAlone;
  idAlone.setValueBool("_id", true);
  std::vector<ObjectProperties> result;
  ObjectProperties batch;
  int count = 0;
  records.forEachDocument(selection, {}, idAlone, [&](ObjectProperties& document) {
    {
      const GroupScope id(batch, "_id");
      const ArrayScope ids(batch, "$in");
      batch.copyValue(std::to_string(count++), document, "_id");
    }
    if (count < batchSize) return true;
    result.push_back(std::exchange(batch, ObjectProperties()));
    count = 0;
    return true;
  });
  if (count > 0) result.push_back(std::move(batch));
  return result;
}

/// What a record has to meet still when it is written. An "_id" never changes, and a selection by ids may name so many
/// of them that it is no thing to send with each record.
Selection lastingSelection(const Selection& selection) {
  const bool isOfIds = selection.query().size() == 1 && selection.query().contains("_id");
  return isOfIds ? Selection() : selection;
}

/// Changes the selected records, one after the other.
class ChangeRun {
 public:
  ChangeRun(const Records& records, const Selection& selection, const ChangeOptions& options, Change change)
      : records_(records),
        selection_(selection),
        options_(options),
        change_(std::move(change)),
        rewriter_(records.store(), placeOf(records.kind()), DocumentRewriter::Part::recordInfo,
                  lastingSelection(selection)) {}

  ChangeResult run() {
    try {
      for (const ObjectProperties& batch : batchesOf(records_, selection_)) {
        for (const ObjectProperties& document : read(batch)) {
          changeOne(document);
          if (options_.onProgress) options_.onProgress(result_);
        }
      }
    } catch (const Error& error) {
      if (options_.dryRun) throw;
      const bool isUndone = records_.store().keepsInsertionOrder();
      const std::string done = isUndone ? "nothing was changed" : changedSoFar();
      throw Error(error.kind(), error.what() + ("; " + done),
                  {error.where(), error.code(), error.retryable(), error.outcomeUnknown()});
    }
    return result_;
  }

 private:
  std::string changedSoFar() const {
    return std::to_string(result_.changed) + (result_.changed == 1 ? " record was" : " records were") +
           " changed before, and stay so";
  }

  std::vector<ObjectProperties> read(const ObjectProperties& batch) const {
    const layout::Place& place = placeOf(records_.kind());
    // In a file nobody writes meanwhile, and the selection could tempt the planner away from the ids.
    const bool isStill = records_.store().keepsInsertionOrder();
    const Selection selected =
        isStill ? Selection::ofQuery(batch) : Selection::ofQuery(batch) && lastingSelection(selection_);
    database_client::FindOptions options;
    options.projection = rewriter_.projection();
    std::vector<ObjectProperties> result;
    records_.store().findEach(place.database, place.collection, selected.query(), options,
                              [&result](ObjectProperties& document) {
                                result.push_back(std::move(document));
                                return true;
                              });
    return result;
  }

  void changeOne(const ObjectProperties& document) {
    bool isSkipped = false;
    const auto change = [&](ObjectProperties& changed) { isSkipped = !change_(changed); };
    try {
      const Outcome outcome = options_.dryRun ? tried(document, change) : rewriter_.rewrite(document, change);
      if (isSkipped)
        ++result_.skipped;
      else if (outcome != Outcome::gone)
        ++(outcome == Outcome::changed ? result_.changed : result_.unchanged);
    } catch (const Error& error) {
      if (!isOfOneRecord(error)) throw;
      ++result_.failed;
      if (options_.onFailure) options_.onFailure({document.valueAsId("_id", ""), error.what()});
    }
  }

  static Outcome tried(const ObjectProperties& document, const DocumentRewriter::Change& change) {
    ObjectProperties changed = document;
    change(changed);
    return changed.toBson() == document.toBson() ? Outcome::unchanged : Outcome::changed;
  }

  const Records& records_;
  const Selection& selection_;
  const ChangeOptions& options_;
  Change change_;
  DocumentRewriter rewriter_;
  ChangeResult result_{};
};

/// Calls `receive` for the selected records, of which only the categories or the descriptions are read.
void forEachSection(const Records& records, const Selection& selection, Kind kind,
                    const std::function<void(const ObjectProperties&)>& receive) {
  ObjectProperties projection;
  projection.setValueBool(kind == Kind::category ? layout::path::category : layout::path::description, true);
  records.forEachDocument(selection, {}, projection, [&](const ObjectProperties& document) {
    receive(document);
    return true;
  });
}

bool haveSameValue(const ObjectProperties& document, const char* section, const std::string& one,
                   const std::string& other) {
  const auto valueOf = [&](const std::string& name) {
    const std::optional<ElementReader> value = findItem(itemsOf(document, section), name);
    return value ? repository::valueOf(*value) : std::nullopt;
  };
  const std::optional<Value> value = valueOf(one);
  return value && value == valueOf(other);
}

/// Refuses what would make two names one that are to stay two.
void requireFree(const Records& records, Kind kind, const Renaming& renaming) {
  const Kind otherKind = kind == Kind::category ? Kind::description : Kind::category;
  const Selection haveOld = hasName(kind, renaming.from);
  const std::string quoted = "\"" + renaming.to + "\"";
  Obstacles ofOtherKind;
  forEachSection(records, haveOld && hasName(otherKind, renaming.to), kind,
                 [&](const ObjectProperties& document) { ofOtherKind.add(document); });
  ofOtherKind.refuse("have", "has", std::string("a ") + nounOf(otherKind) + " " + quoted, renaming.to);
  Obstacles ofSameKind;
  if (renaming.merge) {
    forEachSection(records, haveOld && hasName(kind, renaming.to), kind, [&](const ObjectProperties& document) {
      if (!haveSameValue(document, sectionOf(kind), renaming.from, renaming.to)) ofSameKind.add(document);
    });
    ofSameKind.refuse("have", "has", "both names, with different values", renaming.to);
  } else {
    forEachSection(records, hasName(kind, renaming.to), kind,
                   [&](const ObjectProperties& document) { ofSameKind.add(document); });
    ofSameKind.refuse("have", "has", std::string("a ") + nounOf(kind) + " " + quoted + " already", renaming.to);
  }
}

ObjectProperties configurationOf(const Records& records) {
  ObjectProperties result;
  records.store().findEach(placeOf(records.kind()).database, layout::configuration, {}, {}, 1, 0,
                           [&result](ObjectProperties& document) {
                             result = std::move(document);
                             return false;
                           });
  return result;
}

bool isConfigured(const Records& records, const std::string& category) {
  const ObjectProperties configuration = configurationOf(records);
  const EnteredScope names = EnteredScope::array(configuration, layout::key::categoriesNames);
  return names && configuration.findLastItem("name", category) >= 0;
}

/// A configured category keeps its place under the new name, unless that is configured as well.
void renameConfigured(const Records& records, const Renaming& renaming) {
  const DocumentRewriter rewriter(records.store(), {placeOf(records.kind()).database, layout::configuration},
                                  DocumentRewriter::Part::document);
  rewriter.rewrite(configurationOf(records), [&renaming](ObjectProperties& configuration) {
    const char* const key = layout::key::categoriesNames;
    ObjectProperties renamed;
    {
      const EnteredScope names = EnteredScope::array(configuration, key);
      if (!names) return;
      const ArrayScope renamedNames(renamed, key);
      const bool isNewThere = configuration.findLastItem("name", renaming.to) >= 0;
      for (int i = 0; i < configuration.size(); ++i) {
        bool isOld = false;
        {
          const EnteredScope entry = EnteredScope::at(configuration, i);
          isOld = entry && configuration.valueAsString("name", "") == renaming.from;
        }
        if (isOld && isNewThere) continue;
        const std::string place = std::to_string(renamed.size());
        renamed.copyValue(place, configuration, configuration.nameAt(i));
        if (!isOld) continue;
        const GroupScope entry(renamed, place);
        renamed.setValueString("name", renaming.to);
      }
    }
    configuration.copyValue(key, renamed, key);
  });
}

}  // namespace

ChangeResult Records::update(const Selection& selection, const Changes& changes, const ChangeOptions& options) const {
  ChangeScope scope(*store_, options);
  const RecordChange change(*this, changes);
  const ChangeResult result =
      ChangeRun(*this, selection, options, [&](ObjectProperties& document) { return change.apply(document); }).run();
  scope.commit();
  return result;
}

std::vector<std::string> Records::unknownOperands(const Changes& changes) const {
  std::vector<std::string> result = RecordChange(*this, changes).operands();
  const auto isKnown = [this](const std::string& name) { return isInUse(layout::path::descriptionName, name); };
  result.erase(std::remove_if(result.begin(), result.end(), isKnown), result.end());
  return result;
}

ChangeResult Records::rename(const Renaming& renaming, const ChangeOptions& options) const {
  requireText(renaming.from, "the old name");
  requireText(renaming.to, "the new name");
  if (renaming.from == renaming.to) throw Error(Error::Kind::query, "the new name is the old one", {renaming.to});
  ChangeScope scope(*store_, options);
  const bool isCategory = isInUse(layout::path::categoryName, renaming.from) || isConfigured(*this, renaming.from);
  const bool isDescription = isInUse(layout::path::descriptionName, renaming.from);
  if (!renaming.kind && isCategory && isDescription)
    throw Error(Error::Kind::query, "\"" + renaming.from + "\" is a category and a description; say which is meant",
                {renaming.from});
  const Kind kind = renaming.kind.value_or(isDescription ? Kind::description : Kind::category);
  requireFree(*this, kind, renaming);
  const char* const section = sectionOf(kind);
  const auto change = [&](ObjectProperties& document) {
    if (!findItem(itemsOf(document, section), renaming.to)) {
      writeItems(document, section, renaming.from,
                 [&](ObjectProperties& item) { item.setValueString("name", renaming.to); });
    } else if (renaming.merge && haveSameValue(document, section, renaming.from, renaming.to)) {
      repository::removeItems(document, section, renaming.from);
    } else {
      throw Error(Error::Kind::document, "the record has both names now", {renaming.to});
    }
    return true;
  };
  const ChangeResult result = ChangeRun(*this, hasName(kind, renaming.from), options, change).run();
  if (kind == Kind::category && !options.dryRun) renameConfigured(*this, renaming);
  scope.commit();
  return result;
}

ChangeResult Records::renameValues(const std::string& category,
                                   const std::vector<std::pair<std::string, std::string>>& values,
                                   const ChangeOptions& options) const {
  requireText(category, "the name of the category");
  std::map<std::string, std::string> becomes;
  repository::Node::Array former;
  for (const auto& [from, to] : values) {
    requireText(from, "a value");
    requireText(to, "a value");
    if (!becomes.emplace(from, to).second)
      throw Error(Error::Kind::query, "\"" + from + "\" is to become two values", {from});
    former.elements.emplace_back(from);
  }
  const Selection selection = Selection::ofQuery(repository::toDocument(
      object({{layout::path::category,
               object({{"$elemMatch", object({{"name", category}, {"value", object({{"$in", former}})}})}})}})));
  ChangeScope scope(*store_, options);
  const auto change = [&](ObjectProperties& document) {
    writeItems(document, layout::key::category, category, [&](ObjectProperties& item) {
      const auto found = becomes.find(item.valueAsString("value", ""));
      if (found != becomes.end()) item.setValueString("value", found->second);
    });
    return true;
  };
  const ChangeResult result = ChangeRun(*this, selection, options, change).run();
  scope.commit();
  return result;
}

ChangeResult Records::convert(const std::string& description, PropertyType type, const ChangeOptions& options) const {
  requireText(description, "the name of the description");
  if (type < PropertyType::string || type > PropertyType::time)
    throw Error(Error::Kind::query, "descriptions are texts, booleans, numbers and times", {"type"});
  const std::string cannot = "a \"" + description + "\" that cannot become " + repository::kindNameOf(type);
  ChangeScope scope(*store_, options);
  const Selection selection = hasName(Kind::description, description);
  Obstacles obstacles;
  forEachSection(*this, selection, Kind::description, [&](const ObjectProperties& document) {
    for (ElementReader items = itemsOf(document, layout::key::description); items.next();) {
      const repository::Item item = repository::itemAt(items);
      if (item.name != description) continue;
      const std::optional<Value> value = item.value ? repository::valueOf(*item.value) : std::nullopt;
      if (!value || !repository::converted(*value, type)) return obstacles.add(document);
    }
  });
  obstacles.refuse("have", "has", cannot, description);
  const auto change = [&](ObjectProperties& document) {
    writeItems(document, layout::key::description, description, [&](ObjectProperties& item) {
      const std::optional<Value> value = repository::valueAt(item, "value");
      const std::optional<Value> becomes = value ? repository::converted(*value, type) : std::nullopt;
      if (!becomes) throw Error(Error::Kind::document, "the record has " + cannot, {description});
      repository::putValue(item, "value", *becomes);
      item.setValueInt32("type", static_cast<int>(type));
    });
    return true;
  };
  const ChangeResult result = ChangeRun(*this, selection, options, change).run();
  scope.commit();
  return result;
}

}  // namespace database_provider
