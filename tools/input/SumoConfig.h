// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace database_provider::recordctl {

/// What a SUMO configuration says about a simulation. Times are in seconds; what the file does not give is absent.
struct SumoConfig {
  std::optional<double> begin{};
  std::optional<double> end{};
  std::optional<double> stepLength{};
  std::vector<std::string> networks{};
  std::vector<std::string> routes{};
  std::vector<std::string> additionals{};
};

/// A configuration that cannot be read; `option` is empty when the whole file is no such configuration.
class SumoError : public std::runtime_error {
 public:
  SumoError(std::string option, const std::string& reason) : std::runtime_error(reason), option_(std::move(option)) {}

  const std::string& option() const noexcept { return option_; }

 private:
  std::string option_;
};

/// Reads a `.sumocfg` file of at most 16 MiB. Paths in it are relative to its folder and come back resolved.
SumoConfig readSumoConfig(const std::filesystem::path& file);

/// What is found under a folder; each is called with a path as it is met.
struct SumoConfigReceiver {
  std::function<void(const std::filesystem::path& file)> take;
  /// A file or folder that cannot be looked at, and why.
  std::function<void(const std::filesystem::path& path, const std::string& reason)> refuse;
};

/// Hands over the `.sumocfg` files under a folder, in the order of their paths; of a folder with more than 10,000 of
/// them and of folders, each 10,000 are in order, so that memory does not grow with their number. Links to folders are
/// not followed. Throws `UsageError` when the folder itself cannot be read, and `Interrupted`.
void forEachSumoConfig(const std::filesystem::path& folder, const SumoConfigReceiver& receiver);

}  // namespace database_provider::recordctl
