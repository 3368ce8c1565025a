// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/client/embedded/durability/FaultyFiles.h"
#include "tests/client/embedded/durability/LogOfSteps.h"
#include "tests/client/embedded/durability/RandomWriter.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

constexpr std::size_t sectorSize = 512;

/// What becomes of what was written since the last sync of its file.
enum class Loss {
  allIsThere,
  allIsLost,
  endIsLost,   ///< in the order in which it was written, it breaks off somewhere
  endIsTorn,   ///< likewise, within a write
  someIsLost,  ///< any write may be there or not, whatever came before it
  someIsTorn,  ///< any sector may be
};
constexpr int kindsOfLoss = 6;

/// A file on a disk that keeps what it has not synced only by chance.
class Image {
 public:
  void change(const FileChange& change) { pending_.push_back(change); }
  void sync() {
    for (const FileChange& change : pending_) put(bytes_, change, 0, change.bytes.size());
    pending_.clear();
  }
  std::string after(Loss loss, std::minstd_rand& random) const {
    std::string bytes = bytes_;
    const std::size_t end =
        loss == Loss::endIsLost || loss == Loss::endIsTorn ? random() % (pending_.size() + 1) : pending_.size();
    for (std::size_t i = 0; i < pending_.size() && loss != Loss::allIsLost; ++i) {
      const FileChange& change = pending_[i];
      if (i > end || (i == end && loss == Loss::endIsLost)) break;
      if (loss == Loss::someIsLost && random() % 2 == 0) continue;
      if (loss == Loss::someIsTorn) {
        putSomeSectors(bytes, change, random);
      } else if (loss == Loss::endIsTorn && i == end) {
        const std::size_t sectors = (change.bytes.size() + sectorSize - 1) / sectorSize;
        put(bytes, change, 0, std::min(change.bytes.size(), random() % (sectors + 1) * sectorSize));
      } else {
        put(bytes, change, 0, change.bytes.size());
      }
    }
    return bytes;
  }

 private:
  static void put(std::string& bytes, const FileChange& change, std::size_t from, std::size_t to) {
    const auto offset = static_cast<std::size_t>(change.offset);
    if (change.kind == FileChange::Kind::truncate) {
      bytes.resize(offset);
      return;
    }
    if (to <= from) return;
    if (bytes.size() < offset + to) bytes.resize(offset + to);
    bytes.replace(offset + from, to - from, change.bytes, from, to - from);
  }
  static void putSomeSectors(std::string& bytes, const FileChange& change, std::minstd_rand& random) {
    if (change.kind == FileChange::Kind::truncate) {
      if (random() % 2 == 0) put(bytes, change, 0, 0);
      return;
    }
    // The sectors are those of the file, wherever in them the write begins.
    const auto offset = static_cast<std::size_t>(change.offset);
    for (std::size_t at = 0; at < change.bytes.size();) {
      const std::size_t next =
          std::min(change.bytes.size(), (offset + at) / sectorSize * sectorSize + sectorSize - offset);
      if (random() % 2 == 0) put(bytes, change, at, next);
      at = next;
    }
  }

  std::string bytes_{};
  std::vector<FileChange> pending_{};
};

/// A folder on such a disk. A name that was removed may be back; one that is new may be missing until its file is
/// synced, which syncs the folder too.
class Disk {
 public:
  explicit Disk(std::string store) : store_(std::move(store)) { named_[store_]; }

  void apply(const FileChange& change) {
    if (change.kind == FileChange::Kind::remove) {
      const auto file = named_.find(change.file);
      if (file != named_.end()) removed_[change.file] = std::move(file->second);
      named_.erase(change.file);
      fresh_.erase(change.file);
      return;
    }
    const bool isKnown = named_.count(change.file) != 0 || fresh_.count(change.file) != 0;
    if (!isKnown) fresh_[change.file];
    const auto fresh = fresh_.find(change.file);
    Image& image = fresh == fresh_.end() ? named_[change.file] : fresh->second;
    if (change.kind != FileChange::Kind::sync) {
      image.change(change);
      return;
    }
    image.sync();
    if (fresh == fresh_.end()) return;
    named_[change.file] = std::move(fresh->second);
    fresh_.erase(fresh);
    removed_.clear();
  }

  /// Writes what a loss of power at this moment leaves as the store at `path`.
  void leave(const std::string& path, Loss loss, std::minstd_rand& random) const {
    for (const char* side : {"", "-wal", "-shm", "-journal"}) removeFile(path + side);
    const auto write = [&](const auto& file) {
      writeFile(path + file.first.substr(store_.size()), file.second.after(loss, random));
    };
    const auto happens = [&](bool always, bool never) { return always || (!never && random() % 2 == 0); };
    for (const auto& file : removed_) {
      if (happens(loss == Loss::allIsLost, loss == Loss::allIsThere)) write(file);
    }
    for (const auto& file : fresh_) {
      if (happens(loss == Loss::allIsThere, loss == Loss::allIsLost)) write(file);
    }
    for (const auto& file : named_) write(file);
  }

 private:
  std::string store_;
  std::map<std::string, Image> named_{}, fresh_{}, removed_{};
};

/// What was done to the files of a store, and what its user was told meanwhile.
struct Recording {
  struct Event {
    FileChange change;
    std::size_t certain;   ///< the number of the state that was acknowledged
    std::size_t possible;  ///< the one that may be there, or the same
  };
  std::vector<Event> events{};
  std::vector<Model> models{{}};
};

class EmbeddedPowerCut : public ::testing::TestWithParam<const char*> {
 protected:
  /// Several sessions of random changes, the first of which makes the store.
  Recording record(unsigned seed, int sessions, int steps) const {
    Recording recording;
    std::size_t certain = 0;
    const FaultyFiles files;
    FaultyFiles::tell([&](FileChange&& change) {
      recording.events.push_back({std::move(change), certain, recording.models.size() - 1});
    });
    const auto tell = [&](const Step& step) {
      if (step.phase == Step::Phase::begun) {
        recording.models.push_back(recording.models.back());
        follow(recording.models.back(), step);
      } else {
        certain = recording.models.size() - 1;
      }
    };
    for (int session = 0; session < sessions; ++session) {
      Writer writer(path + "?synchronous=" + GetParam(), tell, 0, seed + static_cast<unsigned>(session),
                    recording.models.back());
      for (int step = 0; step < steps; ++step) writer.change();
    }
    FaultyFiles::tell(nullptr);
    return recording;
  }

  /// The documents of the store, each of which has to be whole.
  static Model stored(const Client& client) {
    Model found;
    client.engine->find(client.where(), {{}, {}, 0, 0}, [&found](ObjectProperties&& document) {
      const int id = document.valueAsInt32("_id", -1);
      found[id] = document.valueAsInt32("version", -1);
      EXPECT_EQ(document.toJson(), ObjectProperties::fromJson(documentOf(id, found[id])).toJson());
      return true;
    });
    return found;
  }
  /// Whether a loss of power at this event has left what may be there.
  void expectWhole(const Recording& recording, const Recording::Event& event) const {
    try {
      const Client client(cut);
      EXPECT_EQ(client.check().find(';'), std::string::npos) << client.check();
      const Model found = stored(client);
      const bool keepsAll = std::string(GetParam()) == "full";
      const auto first = recording.models.begin() + (keepsAll ? static_cast<long>(event.certain) : 0);
      const auto last = recording.models.begin() + static_cast<long>(event.possible) + 1;
      EXPECT_NE(std::find(first, last, found), last) << found.size() << " documents";
    } catch (const Error& error) {
      ADD_FAILURE() << error.what();
    }
  }

  TemporaryFolder folder{memoryFolder()};
  std::string path = folder / "store";
  std::string cut = folder / "cut";
};

INSTANTIATE_TEST_SUITE_P(Synchronous, EmbeddedPowerCut, ::testing::Values("full", "normal"),
                         [](const auto& mode) { return std::string(mode.param); });

TEST_P(EmbeddedPowerCut, LosesNothingThatWasAcknowledgedAndLeavesNothingHalf) {
  const auto seed = static_cast<unsigned>(numberFrom("DATABASE_TEST_SEED", static_cast<long>(std::random_device()())));
  const long states = numberFrom("DATABASE_TEST_POWER_STATES", 150);
  SCOPED_TRACE("DATABASE_TEST_SEED=" + std::to_string(seed));
  std::minstd_rand random(seed);
  const Recording recording = record(seed, 3, 120);
  std::vector<std::size_t> moments;
  std::vector<std::size_t> checkpoints;  // They are rare and write most of the file.
  for (std::size_t i = 0; i < recording.events.size(); ++i) {
    if (recording.events[i].change.file == path) checkpoints.push_back(i);
  }
  for (long state = 0; state < states; ++state) {
    moments.push_back(state % 2 == 0 ? random() % recording.events.size() : checkpoints[random() % checkpoints.size()]);
  }
  std::sort(moments.begin(), moments.end());
  Disk disk(path);
  std::size_t done = 0;
  for (const std::size_t moment : moments) {
    for (; done <= moment; ++done) disk.apply(recording.events[done].change);
    const auto loss = static_cast<Loss>(random() % kindsOfLoss);
    SCOPED_TRACE("after change " + std::to_string(moment) + " with loss " + std::to_string(static_cast<int>(loss)));
    disk.leave(cut, loss, random);
    expectWhole(recording, recording.events[moment]);
    if (HasFailure()) break;
  }
  std::printf("seed %u: %ld states of %zu changes to the files, %zu of them to the store itself\n", seed, states,
              recording.events.size(), checkpoints.size());
}

}  // namespace
}  // namespace database_client
