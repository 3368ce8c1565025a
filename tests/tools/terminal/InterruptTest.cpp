// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "tools/terminal/Interrupt.h"

namespace database_provider::recordctl {

TEST(Interrupt, TheFirstSignalIsRemembered) {
  EXPECT_EXIT(
      {
        watchForInterrupts();
        std::raise(SIGINT);
        ::_exit(wasInterrupted() ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(Interrupt, TheSecondSignalOfEitherKindEndsTheProcess) {
  const auto raiseBoth = [](int first, int second) {
    watchForInterrupts();
    std::raise(first);
    std::raise(second);
    ::_exit(0);
  };
  EXPECT_EXIT(raiseBoth(SIGINT, SIGINT), ::testing::KilledBySignal(SIGINT), "");
  EXPECT_EXIT(raiseBoth(SIGINT, SIGTERM), ::testing::KilledBySignal(SIGTERM), "");
  EXPECT_EXIT(raiseBoth(SIGTERM, SIGINT), ::testing::KilledBySignal(SIGINT), "");
}

TEST(Interrupt, WhatIsIgnoredAtTheStartStaysSo) {
  EXPECT_EXIT(
      {
        std::signal(SIGINT, SIG_IGN);
        watchForInterrupts();
        std::raise(SIGINT);
        std::raise(SIGINT);
        std::raise(SIGTERM);
        std::raise(SIGINT);
        ::_exit(wasInterrupted() ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace database_provider::recordctl
