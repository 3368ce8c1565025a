// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace database_client::server {

/// Starts the driver, once in the life of the process, and silences its log, which would write to the program's output.
/// The log's handler belongs to the whole process: with DATABASE_CLIENT_KEEP_DRIVER_LOG set to anything but "0" in the
/// environment it is left as it is. Its counters are kept out of shared memory, or without a name there. The driver is
/// never shut down, since the program may use it too.
void startDriver();

}  // namespace database_client::server
