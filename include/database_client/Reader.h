// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The former name of `ElementReader.h`.

#include "database_client/ElementReader.h"  // IWYU pragma: export
