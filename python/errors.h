// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace database_provider::python {

/// Lets the library's exceptions arrive as those of the package's module `_errors`.
void registerErrors();

}  // namespace database_provider::python
