// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace database_provider::recordctl {

/// How results are laid out on standard output.
struct Layout {
  std::size_t width = 0;  ///< the columns that a line may take; 0: as many as it needs
  bool hasColours = false;
};

/// The layout of standard output: that of the terminal, or plain and as wide as needed where there is none. COLUMNS and
/// NO_COLOR are obeyed.
Layout outputLayout();

/// Takes the places of standard streams that were closed, so that no file and no connection comes to stand for one; to
/// read or write them is an error.
void reserveStandardStreams();

bool standardErrorIsTerminal();
bool standardInputIsTerminal();

/// Asks on the terminal; true for y or yes.
bool confirmed(const std::string& question);

/// Asks on the terminal, without echo.
std::string askPassword(const std::string& prompt);

}  // namespace database_provider::recordctl
