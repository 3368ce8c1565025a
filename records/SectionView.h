// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "database_provider/types.h"

namespace database_provider {

/// One section of a record's document: loaded when first asked for, edited in a copy, written back when edited.
///
/// Sections are those of the whole document, whichever level of it its owner stands at; there it stands afterwards,
/// too. The document is borrowed. A view without one loads nothing; when it has something to write, it makes a document
/// of its own, which it leaves to whoever asks with `getRecord`.
class DATABASE_PROVIDER_EXPORT SectionView {
 public:
  SectionView(const SectionView&) = delete;
  SectionView& operator=(const SectionView&) = delete;
  virtual ~SectionView() = default;

  /// Drops what was not written; the section is loaded afresh when next asked for.
  void setRecord(ObjectProperties* record);
  void clear();
  void extract() const;
  void updateRecord();
  /// Writes the section, edited or not, into another document.
  void updateRecord(ObjectProperties* target) const;
  /// The document, with the section written back; null while there is none.
  ObjectProperties* getRecord();

 protected:
  SectionView() = default;

  ObjectProperties* record() const { return record_; }
  void setModified() { modified_ = true; }
  void removeAll();

 private:
  // Both are given a document that stands at its root.

  /// Replaces the copy by what `record` holds.
  virtual void load(const ObjectProperties& record) const = 0;
  virtual void updateRecord_helper(ObjectProperties& target) const = 0;
  virtual void empty() const = 0;

  ObjectProperties* record_ = nullptr;
  bool modified_ = false;
  mutable bool extracted_ = false;
};

}  // namespace database_provider
