// SPDX-License-Identifier: Apache-2.0
#include <fstream>

#include "tests/tools/commands/Recordctl.h"

// What import, export and doctor hold in memory does not grow with the number of rows: the kernel tells the most that a
// run held.

namespace {

constexpr long mebibyte = 1024;  // in KiB, as the kernel counts
constexpr int manyRows = 25000;
constexpr int bytesOfARow = 8192;
// What all rows take together, and the caches of a store in a file, which fill up first.
constexpr long allRows = long{manyRows} * bytesOfARow / 1024;
constexpr long caches = 80 * mebibyte;

class RecordctlMemory : public Recordctl {
 protected:
  void SetUp() override {
    environment["RECORDCTL_STORE"] = "file:" + path("store.db") + "?synchronous=normal";
    environment["ASAN_OPTIONS"] = "quarantine_size_mb=1:detect_leaks=0";  // what was freed is not to be counted
  }

  std::string rows(int count) const {
    std::ofstream csv(path("rows.csv"));
    csv << "site,note\n";
    const std::string note(bytesOfARow, 'x');
    for (int i = 0; i < count; ++i) csv << 's' << i % 7 << ',' << note << '\n';
    return path("rows.csv");
  }

  long peakOf(const std::vector<std::string>& arguments) const {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_GT(outcome.peak, 0);
    return outcome.peak;
  }

  /// More than the caches and a quarter of the rows would mean that rows stay.
  static void expectLevel(long few, long many) {
    static_assert(caches + allRows / 4 < allRows * 3 / 4, "rows that stay must be told from caches");
    EXPECT_LT(many - few, caches + allRows / 4) << few << " KiB of a few rows, " << many << " KiB of " << manyRows;
  }
};

TEST_F(RecordctlMemory, StaysLevelAsRowsGrow) {
  const std::vector<std::string> exporting{"export"};
  const long fewIn = peakOf({"import", rows(10), "--category", "site"});
  const long fewOut = peakOf(exporting);
  const long fewLooked = peakOf({"doctor"});
  const long manyIn = peakOf({"import", rows(manyRows), "--category", "site"});
  std::filesystem::remove(path("rows.csv"));
  std::filesystem::remove(path("stdout"));
  std::filesystem::create_symlink("/dev/null", path("stdout"));
  const long manyOut = peakOf(exporting);
  const long manyLooked = peakOf({"doctor"});
  expectLevel(fewIn, manyIn);
  expectLevel(fewOut, manyOut);
  expectLevel(fewLooked, manyLooked);
}

}  // namespace
