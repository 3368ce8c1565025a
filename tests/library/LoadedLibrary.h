// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dlfcn.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "database_provider/database_provider.h"

namespace database_provider {

/// The library, opened at run time as an application opens it that knows the interfaces only.
class LoadedLibrary {
 public:
  LoadedLibrary() : handle_(dlopen(DATABASE_PROVIDER_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
  }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;
  ~LoadedLibrary() { dlclose(handle_); }

  /// Finds a factory by its plain name and calls it.
  template <class Object>
  std::unique_ptr<Object> make(const char* factory) const {
    void* const symbol = dlsym(handle_, factory);
    if (symbol == nullptr) throw std::runtime_error(dlerror());
    return std::unique_ptr<Object>(reinterpret_cast<Object* (*)()>(symbol)());
  }

  std::unique_ptr<DatabaseFilter> filter() const { return make<DatabaseFilter>("createFilter"); }
  std::unique_ptr<ExperimentDatabaseInterface> experiments() const {
    return make<ExperimentDatabaseInterface>("createExperimentDatabase");
  }
  std::unique_ptr<DatabaseProviderInterface> scenarios() const {
    return make<DatabaseProviderInterface>("createScenarioDatabase");
  }
  std::unique_ptr<ExperimentDatabaseRecordInterface> experiment() const {
    return make<ExperimentDatabaseRecordInterface>("createExperimentDatabaseRecord");
  }
  std::unique_ptr<DatabaseRecordInterface> scenario() const {
    return make<DatabaseRecordInterface>("createScenarioDatabaseRecord");
  }
  std::unique_ptr<DatabaseSourceInfoInterface> databaseSource() const {
    return make<DatabaseSourceInfoInterface>("createDatabaseSourceInfo");
  }
  std::unique_ptr<DataServerSourceInfoInterface> dataServerSource() const {
    return make<DataServerSourceInfoInterface>("createDataServerSourceInfo");
  }
  std::unique_ptr<UsersDatabaseInterface> users() const { return make<UsersDatabaseInterface>("createUsersDatabase"); }

 private:
  void* handle_;
};

}  // namespace database_provider
