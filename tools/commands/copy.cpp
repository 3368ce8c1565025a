// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include "importing/Importer.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/PassedOver.h"
#include "tools/core/storeNames.h"
#include "tools/terminal/Interrupt.h"
#include "tools/terminal/Progress.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::printable;

struct CopyOptions {
  std::string from{};
  std::string to{};
  std::optional<std::string> fromUser{};
  std::string fromPasswordFile{};
  std::string onDifference = "keep";
  bool skipDamaged = false;
};

struct Counts {
  std::size_t copied = 0;
  std::size_t replaced = 0;
  std::size_t alike = 0;
  std::size_t different = 0;
  std::size_t damaged = 0;
  std::size_t records = 0;  ///< how many of all of them are records
};

struct Place {
  std::string database;
  std::string collection;
  std::vector<std::string> key;         ///< what tells one document from another
  std::optional<RecordKind> records{};  ///< the kind of the records that are here
};

/// Everything of the library that can be read; users are not, since a store never hands out their credentials.
std::vector<Place> places() {
  std::vector<Place> result;
  for (const RecordKind kind : {RecordKind::experiment, RecordKind::scenario}) {
    const RecordPlace place = placeOf(kind);
    result.push_back({place.database, place.collection, {"_id"}, kind});
  }
  result.push_back({layout::settings.database, layout::settings.collection, {"user", "tag"}});
  return result;
}

/// Copies the documents of one place, in batches.
class PlaceCopy {
 public:
  PlaceCopy(DataBaseClient& to, const Place& place, bool replaces, Counts& counts, Progress& progress)
      : to_(to), place_(place), replaces_(replaces), counts_(counts), progress_(progress) {}

  void add(ObjectProperties&& document) {
    checkInterrupt();
    size_ += document.toBson().size();
    batch_.push_back(std::move(document));
    if (batch_.size() >= mostDocuments || size_ >= mostBytes) flush();
  }

  void flush() {
    if (place_.records) counts_.records += batch_.size();
    std::vector<const ObjectProperties*> missing;
    for (const ObjectProperties& document : batch_) {
      if (place_.key == idAlone || !isThere(document)) missing.push_back(&document);
    }
    if (!missing.empty()) insert(missing);
    batch_.clear();
    size_ = 0;
    progress_.update(0, counts_.copied + counts_.replaced + counts_.alike + counts_.different);
  }

 private:
  static constexpr std::size_t mostDocuments = 1000;
  static constexpr std::size_t mostBytes = 8U << 20U;
  const std::vector<std::string> idAlone{"_id"};

  /// The store itself tells which ids are there; looking for each of them first would take far longer.
  void insert(const std::vector<const ObjectProperties*>& documents) {
    std::vector<std::string> ids;
    const auto failures = to_.insertMany(place_.database, place_.collection, documents, ids);
    for (const auto& failure : failures) {
      const ObjectProperties& document = *documents.at(failure.index);
      const bool isDuplicate = failure.error.kind() == database_client::Error::Kind::duplicateKey;
      if (!isDuplicate || !isThere(document)) tellDifferent(document, failure.error.what());
    }
    counts_.copied += documents.size() - failures.size();
  }

  ObjectProperties queryFor(const ObjectProperties& document) const {
    ObjectProperties query;
    for (const std::string& key : place_.key) query.copyValue(key, document, key);
    return query;
  }

  /// Looks for the document's counterpart and compares the two; false when there is none.
  bool isThere(const ObjectProperties& document) {
    std::optional<bool> isAlike;
    to_.findEach(place_.database, place_.collection, queryFor(document), ObjectProperties(), 1, 0,
                 [&](ObjectProperties& other) {
                   isAlike = areAlike(document, other);
                   return false;
                 });
    if (!isAlike) return false;
    if (*isAlike)
      ++counts_.alike;
    else if (replaces_)
      replace(document);
    else
      tellDifferent(document, "differs, and stays as it is");
    return true;
  }

  void replace(ObjectProperties document) {
    const ObjectProperties query = queryFor(document);
    document.removeKey("_id");  // The one that is there stays.
    to_.update(place_.database, place_.collection, query, document, database_client::UpdateFlags::none,
               database_client::UpdateOperation::replace);
    ++counts_.replaced;
  }

  /// Documents that are told apart by other keys may have ids of their own.
  bool areAlike(ObjectProperties left, ObjectProperties right) const {
    if (place_.key != idAlone) {
      left.removeKey("_id");
      right.removeKey("_id");
    }
    return left.toBson() == right.toBson();
  }

  void tellDifferent(const ObjectProperties& document, const std::string& reason) {
    ++counts_.different;
    progress_.hide();
    std::cerr << place_.database << '/' << place_.collection;
    std::cerr << ' ' << printable(queryFor(document).toJson()) << ": " << printable(reason) << '\n';
  }

  DataBaseClient& to_;
  const Place& place_;
  bool replaces_;
  Counts& counts_;
  Progress& progress_;
  std::vector<ObjectProperties> batch_{};
  std::size_t size_ = 0;
};

std::vector<std::string> categoriesOf(RecordKind kind, DataBaseClient& client) {
  std::list<std::string> names;
  providerOf(kind, client)->enumCategoriesNames(names);
  return {names.begin(), names.end()};
}

/// Names that TO lacks come behind those that it has.
void copyCategories(RecordKind kind, DataBaseClient& from, DataBaseClient& to, Counts& counts) {
  const std::vector<std::string> names = categoriesOf(kind, from);
  if (names.empty()) return;
  const std::size_t before = categoriesOf(kind, to).size();
  importing::addCategories(to, kind, names);
  ++(categoriesOf(kind, to).size() > before ? counts.copied : counts.alike);
}

void tell(const Session& session, const Counts& counts) {
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("records", static_cast<std::int64_t>(counts.records));
    result.setValueInt64("problems", static_cast<std::int64_t>(counts.different + counts.damaged));
    return writeJson(result);
  }
  std::cout << counts.copied << " documents copied, ";
  if (counts.replaced > 0) std::cout << counts.replaced << " replaced, ";
  std::cout << counts.alike << " were there already, " << counts.different << " differ";
  if (counts.damaged > 0) std::cout << ", " << counts.damaged << " are damaged";
  std::cout << '\n';
}

/// Whoever --from-user names asks the source, be it nobody in particular; else the one who asks the other store.
std::unique_ptr<DataBaseClient> connectToSource(const CopyOptions& options, const std::string& user,
                                                const std::string& password) {
  if (!options.fromUser && options.fromPasswordFile.empty())
    return connectTo(options.from, user, password, Access::existing);
  const Login own{options.fromUser.value_or(""), options.fromPasswordFile};
  return connectTo(options.from, own.user, passwordOf(own), Access::existing);
}

void copy(Session& session, const CopyOptions& options) {
  const Login& login = session.options.login;
  const std::string password = passwordOf(login);
  const auto from = connectToSource(options, login.user, password);
  const auto to = connectTo(options.to, login.user, password, Access::create);
  Counts counts;
  Progress progress(0);
  PassedOver passedOver([&progress] { progress.hide(); });
  if (options.skipDamaged) {
    from->setUnreadableHandler([&](const ObjectProperties& id, const database_client::Error& error) {
      passedOver.add(id, error);
      return true;
    });
  }
  for (const Place& place : places()) {
    PlaceCopy copying(*to, place, options.onDifference == "replace", counts, progress);
    from->findEach(place.database, place.collection, {}, {}, 0, 0, [&](ObjectProperties& document) {
      copying.add(std::move(document));
      return true;
    });
    copying.flush();
    if (place.records) copyCategories(*place.records, *from, *to, counts);
  }
  progress.hide();
  counts.damaged = passedOver.count();
  passedOver.finish();
  if (counts.different + counts.damaged > 0) session.noteFailure();
  tell(session, counts);
}

}  // namespace

void addCopy(const Command& commands, Session& session) {
  auto options = std::make_shared<CopyOptions>();
  const Command command = commands.add("copy", "Copy records, configuration and settings to another store");
  command.argument("FROM", options->from, "a store, as --store takes it", Traits::made(addressOf));
  command.argument("TO", options->to, "another one; what it has already stays", Traits::made(addressOf));
  command.option("--on-difference", "WHAT", options->onDifference,
                 "what becomes of a document that TO has otherwise: keep (the default), which is told, or replace",
                 Traits::oneOf({"keep", "replace"}));
  command.flag("--skip-damaged", options->skipDamaged, "pass over what cannot be read in FROM, and say what that is");
  command.option("--from-user", "NAME", options->fromUser,
                 "who asks FROM, where that is not --user; an empty text for nobody in particular", Traits::emptyToo());
  command.option("--from-password-file", "FILE", options->fromPasswordFile, "the password of --from-user");
  command.run([&session, options] { copy(session, *options); });
}

}  // namespace database_provider::recordctl
