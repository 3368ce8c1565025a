// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>
#include <database_provider/records.h>

#include "records/layout.h"
#include "repository/kinds.h"
#include "selection/Expression.h"

namespace database_provider::recordctl {

using RecordPlace = layout::Place;
using repository::newRecordOf;
using repository::placeOf;
using repository::providerOf;
using selection::Field;
using selection::Name;

}  // namespace database_provider::recordctl
