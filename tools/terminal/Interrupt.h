// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace database_provider::recordctl {

/// From here on Ctrl-C and a termination request are remembered instead of ending the process; a second one ends it.
/// What is ignored, as for a command that a script leaves in the background, stays so.
void watchForInterrupts();

bool wasInterrupted();
/// Throws `Interrupted` when there was such a request.
void checkInterrupt();

/// Waits until there is something to be read, or nothing will come any more. A request ends the wait at whatever moment
/// it comes, with `Interrupted`.
void awaitInput(int descriptor);

}  // namespace database_provider::recordctl
