#pragma once

namespace database_provider::recordctl {

/// From here on Ctrl-C and a termination request are remembered instead of ending the process; a second one ends it.
void watchForInterrupts();

/// Throws `Interrupted` when there was such a request.
void checkInterrupt();

}  // namespace database_provider::recordctl
