// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/segments/Segment.h"

#include <algorithm>

#include "client/bson/View.h"
#include "client/embedded/index/segments/bytes.h"

namespace database_client::embedded {

using index::ByteReader;
using index::damaged;

Segment::Segment(std::uint32_t number, std::int64_t firstBlob, std::string head)
    : number_(number), firstBlob_(firstBlob), head_(std::move(head)), bytes_(head_.size()) {
  ByteReader reader(index::unseal(head_));
  if (reader.byte() != index::segmentFormat) damaged("the format of a segment");
  level_ = static_cast<std::uint32_t>(reader.varint());
  terms_ = reader.varint();
  tombstones_ = reader.varint();
  chunkSize_ = static_cast<std::size_t>(reader.varint());
  if (chunkSize_ == 0) damaged("the head of a segment");
  const std::uint64_t blocks = reader.varint();
  const std::uint64_t chunks = reader.varint();
  // Each takes a byte at least. Without this a damaged number would reserve room for itself first.
  if (blocks > reader.left() || chunks > reader.left()) damaged("the head of a segment");
  blocks_.reserve(blocks);
  for (std::uint64_t i = 0; i < blocks; ++i) {
    const std::uint64_t blob = reader.varint();
    const std::uint64_t records = reader.varint();
    bytes_ += reader.varint();
    blocks_.push_back({blob, records, reader.bytes(reader.varint())});
  }
  for (std::uint64_t i = 0; i < chunks; ++i) chunks_.push_back(reader.varint());
  bytes_ += chunks * chunkSize_;
  if (blocks != 0) return;
  inlineTerms_ = reader.bytes(reader.varint());
  inlinePostings_ = reader.bytes(reader.varint());
}

BlockCache::Content BlockCache::get(const Segment& segment, std::uint64_t number, bool keep) {
  const std::int64_t key = segment.blob(number);
  const auto known = byKey_.find(key);
  if (known != byKey_.end()) {
    entries_.splice(entries_.begin(), entries_, known->second);
    return known->second->content;
  }
  // The checksum is compared here once; who finds a block in the cache need not.
  std::string bytes = store_.read(key);
  bytes.resize(index::unseal(bytes).size());
  auto content = std::make_shared<const std::string>(std::move(bytes));
  if (!keep) return content;
  entries_.push_front({key, content});
  byKey_[key] = entries_.begin();
  used_ += content->size();
  // The block that was just read stays, also one that is larger than the whole capacity: it is about to be used.
  while (used_ > capacity_ && entries_.size() > 1) {
    used_ -= entries_.back().content->size();
    byKey_.erase(entries_.back().key);
    entries_.pop_back();
  }
  return content;
}

void BlockCache::forget(std::int64_t first, std::int64_t last) {
  // One by one: blocks of other collections lie between, and this is done when segments go, not when they are read.
  for (auto entry = entries_.begin(); entry != entries_.end();) {
    if (entry->key < first || entry->key > last) {
      ++entry;
      continue;
    }
    used_ -= entry->content->size();
    byKey_.erase(entry->key);
    entry = entries_.erase(entry);
  }
}

namespace index {

namespace {

std::uint32_t fixed(std::string_view bytes, std::size_t at) {
  return bson::load<std::uint32_t>(reinterpret_cast<const bson::Byte*>(bytes.data() + at));
}

}  // namespace

void TermIterator::openBlock(std::size_t block) {
  block_ = block;
  if (segment_->isInline()) return setContent(segment_->inlineTerms());
  content_ = blocks_->get(*segment_, segment_->blocks()[block].number, keep_);
  setContent(*content_);
}

void TermIterator::setContent(std::string_view terms) {
  // A block ends with the offsets of its restart points, 4 bytes each, and their number.
  if (terms.size() < 4) damaged("a block of terms");
  const std::size_t restarts = fixed(terms, terms.size() - 4);
  if (restarts > (terms.size() - 4) / 4) damaged("a block of terms");
  terms_ = terms.substr(0, terms.size() - 4 - restarts * 4);
  restarts_ = terms.substr(terms_.size(), restarts * 4);
  at_ = 0;
}

void TermIterator::seekToFirst() {
  openBlock(0);
  next();
}

void TermIterator::next() {
  valid_ = readEntry();
  if (valid_ || segment_->isInline() || block_ + 1 >= segment_->blocks().size()) return;
  openBlock(block_ + 1);
  valid_ = readEntry();
}

bool TermIterator::readEntry() {
  if (at_ >= terms_.size()) return false;
  ByteReader reader(terms_.substr(at_));
  // The first entry of a block shares nothing, so that the key of the block before, which is still there, does no harm.
  const std::uint64_t shared = reader.varint();
  if (shared > key_.size()) damaged("a key");
  key_.shrink(static_cast<std::size_t>(shared));
  key_.append(reader.bytes(reader.varint()));
  readCounts(reader);
  at_ = terms_.size() - reader.left();
  return true;
}

void TermIterator::readCounts(ByteReader& reader) {
  const std::uint64_t head = reader.varint();
  term_ = {};
  // An entry of one record, by far the most frequent, is this one number: see `BlockWriter::putCounts`.
  const std::uint64_t form = head & EntryForm::formMask;
  if (form == EntryForm::single) {
    term_.counts.added = 1;
    term_.only = head >> 2;
    return;
  }
  term_.counts.added = head >> 4;
  if ((head & EntryForm::hasDeleted) != 0) term_.counts.deleted = reader.varint();
  if ((head & EntryForm::hasExtra) != 0) term_.counts.extra = unzigzag(reader.varint());
  term_.addedSize = reader.varint();
  if ((head & EntryForm::hasDeleted) != 0) term_.deletedSize = reader.varint();
  term_.outside = form == EntryForm::outside;
  if (term_.outside) {
    term_.outsideAt = reader.varint();
  } else {
    term_.added = reader.bytes(term_.addedSize);
    term_.deleted = reader.bytes(term_.deletedSize);
  }
}

std::string_view TermIterator::restartKey(std::size_t restart) const {
  const std::size_t at = fixed(restarts_, restart * 4);
  if (at > terms_.size()) damaged("a block of terms");
  ByteReader reader(terms_.substr(at));
  reader.varint();  // what it shares, which is nothing
  return reader.bytes(reader.varint());
}

void TermIterator::seek(std::string_view key) {
  // The last block that begins at or before the key: keys between its last and the next one's first are in neither, and
  // reading on from its end leads to the next.
  const auto& blocks = segment_->blocks();
  const auto after = std::upper_bound(blocks.begin(), blocks.end(), key,
                                      [](std::string_view k, const Segment::Block& b) { return k < b.firstKey; });
  openBlock(after == blocks.begin() ? 0 : static_cast<std::size_t>(after - blocks.begin()) - 1);
  // `low` is a restart at or before the key, or the first; the key lies before `high`.
  std::size_t low = 0;
  for (std::size_t high = restarts_.size() / 4; high - low > 1;) {
    const std::size_t middle = low + (high - low) / 2;
    (restartKey(middle) < key ? low : high) = middle;
  }
  if (!restarts_.empty()) at_ = fixed(restarts_, low * 4);
  key_.shrink(0);
  next();
  while (valid_ && this->key() < key) next();
}

void TermIterator::readOutside(std::uint64_t at, std::uint64_t size, std::string& out) const {
  if (segment_->isInline()) {
    const std::string_view postings = segment_->inlinePostings();
    if (at > postings.size() || size > postings.size() - at) damaged("a posting");
    out.append(postings.substr(static_cast<std::size_t>(at), static_cast<std::size_t>(size)));
    return;
  }
  while (size > 0) {
    const std::uint64_t chunk = at / segment_->chunkSize();
    const std::uint64_t offset = at % segment_->chunkSize();
    if (chunk >= segment_->chunks().size()) damaged("a posting");
    const auto content = blocks_->get(*segment_, segment_->chunks()[chunk], keep_);
    if (offset >= content->size()) damaged("a posting");
    const std::string_view piece = std::string_view(*content).substr(offset, size);
    out.append(piece);
    at += piece.size();
    size -= piece.size();
  }
}

Term TermIterator::whole(std::string& buffer) const {
  if (term_.addedSize == 0 && term_.counts.added == 1) return Term::single(term_.only);
  Term term;
  term.counts = term_.counts;
  buffer.clear();
  if (term_.outside) {
    readOutside(term_.outsideAt, term_.addedSize + term_.deletedSize, buffer);
    term.added = std::string_view(buffer).substr(0, term_.addedSize);
    term.deleted = std::string_view(buffer).substr(term_.addedSize);
  } else {
    term.added = term_.added;
    term.deleted = term_.deleted;
  }
  return term;
}

}  // namespace index
}  // namespace database_client::embedded
