// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/bson/View.h"
#include "client/server/Message.h"

namespace database_client::server {

/// Checks, in a well-formed answer, the fields that the driver takes for what they should be: with another type or
/// value there it would end the process, or believe what was not said. Throws DamagedAnswer, which names the field.
///
/// What an answer means is judged elsewhere.
void checkForm(bson::View answer, Purpose purpose);

}  // namespace database_client::server
