// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/core/Command.h"
#include "tools/core/Session.h"

namespace database_provider::recordctl {

/// Adds the command that shows a store in the browser; the session must outlive it.
void addServe(const Command& commands, Session& session);

}  // namespace database_provider::recordctl
