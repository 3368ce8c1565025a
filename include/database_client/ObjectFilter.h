// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "database_client/ObjectProperties.h"
#include "database_client/export.h"
#include "database_client/types.h"

namespace database_client {

/// A query under construction: conditions, the and/or groupings opened around them, and field groups.
///
/// It becomes one query document on request; a filter without conditions is `{}`, which matches everything. Conditions
/// next to each other all hold; in an or-group they are alternatives. Two conditions on one key both hold. An empty
/// group adds nothing. A group that is still open counts as closed when the filter is converted, and a surplus close
/// does nothing. Copies are independent. Adding a condition takes constant time.
class DATABASE_CLIENT_EXPORT ObjectFilter {
 public:
  ObjectFilter();
  ObjectFilter(const ObjectFilter& other);
  ObjectFilter& operator=(const ObjectFilter& other);
  virtual ~ObjectFilter();

  /// The value under `key` compares with `value`. Under equal and notEqual, `options` (of "imsx") compare the whole
  /// text under these options, the text never being taken as a pattern; empty options compare the exact text. matches
  /// and notMatches take `value` as a pattern. exists and notExists ignore the value. A NUL in a text that is sent as a
  /// pattern is Error{document}; options other than "imsx" are Error{query}.
  virtual void setFilterString(OperationType operation, const std::string& key, const std::string& value,
                               const std::string& options);
  virtual void setFilterBool(OperationType operation, const std::string& key, bool value);
  virtual void setFilterInt(OperationType operation, const std::string& key, int value);
  virtual void setFilterLongLong(OperationType operation, const std::string& key, long long value);
  virtual void setFilterDouble(OperationType operation, const std::string& key, double value);
  /// `value` is in milliseconds since the epoch, UTC.
  virtual void setFilterTime(OperationType operation, const std::string& key, long long value);
  /// `id` as `ObjectProperties::setValueId` takes it.
  virtual void setFilterId(OperationType operation, const std::string& key, const std::string& id);

  virtual void start_and();
  /// Closes the innermost and-group or or-group, whichever it is; so does `finish_or`.
  virtual void finish_and();
  virtual void start_or();
  virtual void finish_or();

  /// Conditions until `endGroup` stand inside the nested document `key` of the query, such as a field's "$elemMatch".
  virtual void beginGroup(const std::string& key);
  virtual void endGroup();

  /// Adds a copy of `other`, as one condition, to the group that is open.
  virtual void include(const ObjectFilter& other);
  /// Moves the conditions on `key` of the outermost level to `out`, whose content is replaced; without any, `out` is
  /// empty.
  virtual void exclude(const std::string& key, ObjectFilter& out);

  /// Replaces everything by a query document; its conditions can be added to and excluded from like any other.
  virtual void fromObjectProperties(const ObjectProperties& query);
  virtual ObjectProperties toObjectProeprties() const;
  /// True when the filter has no condition at all, whatever groups are open.
  virtual bool isEmpty() const;

 private:
  struct Query;
  std::unique_ptr<Query> query_;
};

}  // namespace database_client
