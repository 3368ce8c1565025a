// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/segments/SegmentWriter.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "client/embedded/index/segments/bytes.h"
#include "client/embedded/index/segments/posting.h"

namespace database_client::embedded::index {

namespace {

void putFixed(std::string& out, std::uint32_t number) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<char>(number >> shift));
}

/// Eight bytes at a time: neighbouring keys share path, name and often the front of a value.
std::size_t sharedLength(std::string_view a, std::string_view b) {
  const std::size_t most = std::min(a.size(), b.size());
  std::size_t length = 0;
  for (std::uint64_t left = 0, right = 0; length + sizeof left <= most; length += sizeof left) {
    std::memcpy(&left, a.data() + length, sizeof left);
    std::memcpy(&right, b.data() + length, sizeof right);
    // The lowest byte in memory is the lowest of the number (the format is little-endian throughout, as the machine
    // is).
    if (left != right) return length + static_cast<std::size_t>(__builtin_ctzll(left ^ right)) / 8;
  }
  while (length < most && a[length] == b[length]) ++length;
  return length;
}

/// The only record of a term; 0 when there is more to say. A merge may leave a posting of one record, which then takes
/// the short form as well, so that the bytes of a term do not depend on how it came to be.
RecordNumber singleRecord(const Term& term) {
  if (term.only != 0 || term.counts.added != 1 || term.counts.deleted != 0 || term.counts.extra != 0) return term.only;
  ByteReader reader(term.added);
  RecordNumber end = 0;
  return readRun(reader, end).first;
}

}  // namespace

void BlockWriter::add(std::string_view key, const Term& term, std::uint64_t outsideAt) {
  // shared, size; then added, deleted, extra, two sizes and an offset.
  constexpr std::size_t mostNumbers = 8;
  if (empty()) firstKey_ = key;
  char* at = bytes_.room(key.size() + longestInlinePosting + mostNumbers * longestVarint);
  bytes_.setEnd(putCounts(putKey(at, key), term, outsideAt));
  records_ += term.counts.added;
  ++entries_;
}

char* BlockWriter::putKey(char* at, std::string_view key) {
  std::size_t shared = 0;
  if (entries_ % restartInterval == 0) {
    restarts_.push_back(static_cast<std::uint32_t>(bytes_.size()));
  } else {
    shared = sharedLength(key, lastKey_.view());
  }
  // Of the last key only what differs is copied, as the entry has it.
  const std::string_view rest = key.substr(shared);
  lastKey_.shrink(shared);
  lastKey_.append(rest);
  return putBytes(putVarint(putVarint(at, shared), rest.size()), rest);
}

char* BlockWriter::putCounts(char* at, const Term& term, std::uint64_t outsideAt) {
  if (const RecordNumber record = singleRecord(term); record != 0)
    return putVarint(at, record << 2 | EntryForm::single);
  const bool isOutside = term.added.size() + term.deleted.size() > longestInlinePosting;
  std::uint64_t form = isOutside ? EntryForm::outside : EntryForm::inside;
  if (term.counts.deleted != 0) form |= EntryForm::hasDeleted;
  if (term.counts.extra != 0) form |= EntryForm::hasExtra;
  at = putVarint(at, term.counts.added << 4 | form);
  if (term.counts.deleted != 0) at = putVarint(at, term.counts.deleted);
  if (term.counts.extra != 0) at = putVarint(at, zigzag(term.counts.extra));
  at = putVarint(at, term.added.size());
  if (term.counts.deleted != 0) at = putVarint(at, term.deleted.size());
  if (isOutside) return putVarint(at, outsideAt);
  return putBytes(putBytes(at, term.added), term.deleted);
}

std::string BlockWriter::take() {
  std::string taken;
  taken.reserve(bytes_.size() + (restarts_.size() + 1) * sizeof(std::uint32_t) + sealSize);
  taken.append(bytes_.view());
  for (const std::uint32_t restart : restarts_) putFixed(taken, restart);
  putFixed(taken, static_cast<std::uint32_t>(restarts_.size()));
  bytes_.shrink(0);
  restarts_.clear();
  entries_ = 0;
  records_ = 0;
  return taken;
}

SegmentWriter::SegmentWriter(BlobStore& store, std::int64_t firstBlob, std::size_t blockSize, std::size_t chunkSize)
    : store_(store), firstBlob_(firstBlob), blockSize_(blockSize), chunkSize_(chunkSize) {}

void SegmentWriter::add(std::string_view key, const Term& term) {
  // Offsets count through all chunks as if they were one; a posting may begin in one and end in the next.
  const std::uint64_t outsideAt = postingsBefore_ + chunk_.size();
  if (term.added.size() + term.deleted.size() > longestInlinePosting) chunk_.append(term.added).append(term.deleted);
  block_.add(key, term, outsideAt);
  ++terms_;
  tombstones_ += term.counts.deleted;
  if (block_.size() >= blockSize_) finishBlock();
  if (chunk_.size() >= chunkSize_) finishChunk();
}

std::uint64_t SegmentWriter::write(std::string bytes) {
  seal(bytes);
  bytes_ += bytes.size();
  store_.write(firstBlob_ + static_cast<std::int64_t>(++blobs_), bytes);
  return blobs_;
}

void SegmentWriter::finishBlock() {
  if (block_.empty()) return;
  Block block{0, block_.records(), block_.size(), block_.firstKey()};
  block.number = write(block_.take());
  blocks_.push_back(std::move(block));
}

void SegmentWriter::finishChunk() {
  while (chunk_.size() >= chunkSize_) {
    chunks_.push_back(write(chunk_.substr(0, chunkSize_)));
    postingsBefore_ += chunkSize_;
    chunk_.erase(0, chunkSize_);
  }
}

std::string SegmentWriter::finish(std::uint32_t level) {
  // A segment of few terms, as one insert makes it, is one blob: one row to write, to read and to merge.
  const bool allInline = blobs_ == 0 && block_.size() + chunk_.size() < blockSize_;
  if (!allInline) {
    finishBlock();
    if (!chunk_.empty()) chunks_.push_back(write(std::exchange(chunk_, {})));
  }
  std::string bytes = head(level);
  if (allInline) {
    const std::string terms = block_.take();
    putVarint(bytes, terms.size());
    bytes.append(terms);
    putVarint(bytes, chunk_.size());
    bytes.append(chunk_);
  }
  seal(bytes);
  bytes_ += bytes.size();
  store_.write(firstBlob_, bytes);
  return bytes;
}

std::string SegmentWriter::head(std::uint32_t level) const {
  std::string bytes(1, segmentFormat);
  putVarint(bytes, level);
  putVarint(bytes, terms_);
  putVarint(bytes, tombstones_);
  putVarint(bytes, chunkSize_);
  putVarint(bytes, blocks_.size());
  putVarint(bytes, chunks_.size());
  for (const Block& block : blocks_) {
    putVarint(bytes, block.number);
    putVarint(bytes, block.records);
    putVarint(bytes, block.size);
    putVarint(bytes, block.firstKey.size());
    bytes.append(block.firstKey);
  }
  for (const std::uint64_t chunk : chunks_) putVarint(bytes, chunk);
  return bytes;
}

}  // namespace database_client::embedded::index
