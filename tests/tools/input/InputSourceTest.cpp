// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tools/input/InputSource.h"
#include "tools/values/Errors.h"

namespace database_provider::recordctl {

TEST(InputSource, TheEndingTellsTheFormatUnlessOneIsNamed) {
  EXPECT_EQ(rowFormat("", "plots.json"), RowFormat::json);
  EXPECT_EQ(rowFormat("records", "plots.json"), RowFormat::records);
  EXPECT_THROW(rowFormat("", "plots.txt"), UsageError);
  EXPECT_THROW(rowFormat("", "-"), UsageError);
  EXPECT_THROW(rowFormat("xml", "plots.json"), UsageError);
}

TEST(InputSource, StandardInputAndDevicesAreReadOnlyOnce) {
  EXPECT_TRUE((InputSource{"-", RowFormat::csv}.canBeReadOnlyOnce()));
  EXPECT_TRUE((InputSource{"/dev/null", RowFormat::csv}.canBeReadOnlyOnce()));
  EXPECT_FALSE((InputSource{"/etc/passwd", RowFormat::csv}.canBeReadOnlyOnce()));
  EXPECT_FALSE((InputSource{"/", RowFormat::csv}.canBeReadOnlyOnce()));
}

}  // namespace database_provider::recordctl
