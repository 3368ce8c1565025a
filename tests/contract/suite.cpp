// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/Contract.h"

namespace database_test {

INSTANTIATE_TEST_SUITE_P(Engines, StoreContract, ::testing::ValuesIn(engineNames()), engineName);

}  // namespace database_test
