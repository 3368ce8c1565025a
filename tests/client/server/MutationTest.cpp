// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

// Whatever a server answers, the caller gets a result or an Error, and the program goes on. Each answer of a healthy
// server is damaged in a process of its own.

namespace database_client {
namespace {

/// How many damages of each kind are tried, and how far apart: some hundreds out of all, or as many as
/// DATABASE_TEST_MUTATIONS says.
struct Extent {
  std::size_t count;
  std::size_t step;
};

class Mutation : public ::testing::Test {
 protected:
  static Extent extent(Extent usual) {
    const char* chosen = std::getenv("DATABASE_TEST_MUTATIONS");
    return chosen == nullptr ? usual : Extent{std::stoul(chosen), 1};
  }

  /// Tries them all, also behind one that ends the process.
  void tryAll(const std::string& what, Extent extent) {
    std::size_t done = 0;
    bool atEnd = false;
    while (!atEnd && done < extent.count && !HasFailure()) {
      const std::string arguments = what + " " + std::to_string(done * extent.step) + " " +
                                    std::to_string(extent.count - done) + " " + std::to_string(extent.step);
      std::string last;
      const std::size_t before = done;
      atEnd = run(arguments, done, last);
      if (!atEnd) {
        ++ended_;
        std::cout << "ended by: " << last << std::endl;
        if (done == before) ++done;
      }
    }
    std::cout << done << " damages tried, " << ended_ << " ended the process" << std::endl;
    EXPECT_EQ(ended_, 0U);
    EXPECT_GT(done, 100U);
  }

 private:
  // False when the program came to an early end, at the damage of which `last` tells.
  static bool run(const std::string& arguments, std::size_t& done, std::string& last) {
    const auto close = [](std::FILE* pipe) { pclose(pipe); };
    const std::string command = std::string(MUTATION_PROBE) + " " + arguments + " 2>/dev/null";
    const std::unique_ptr<std::FILE, decltype(close)> pipe(popen(command.c_str(), "r"), close);
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
      last = line.data();
      if (last == "end\n") return true;
      ++done;
    }
    return false;
  }

  std::size_t ended_ = 0;
};

TEST_F(Mutation, OfOneBitEndsNoProcess) {
  tryAll("bits", extent({400, 29}));
}

TEST_F(Mutation, OfTheKindOfOneFieldEndsNoProcess) {
  tryAll("fields", extent({400, 7}));
}

TEST_F(Mutation, OfAnyKindEndsNoProcess) {
  tryAll("random", extent({400, 1}));
}

}  // namespace
}  // namespace database_client
