#pragma once

#include <filesystem>
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

/// Reads a `.sumocfg` file. Paths in it are relative to its folder and come back resolved.
SumoConfig readSumoConfig(const std::filesystem::path& file);

/// The `.sumocfg` files under a folder, in the order of their paths.
std::vector<std::filesystem::path> findSumoConfigs(const std::filesystem::path& folder);

}  // namespace database_provider::recordctl
