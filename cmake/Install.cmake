# SPDX-License-Identifier: Apache-2.0

# The install step: libraries, public headers, recordctl, a CMake package and two pkg-config files. Everything in it is
# relative to the prefix, so that an installed tree may be moved.

include(CMakePackageConfigHelpers)

set(_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/database_provider")
set(_generated "${CMAKE_CURRENT_BINARY_DIR}/install")

set(_libraries database_client)
if(TARGET database_provider)
  list(APPEND _libraries database_provider)
endif()
set_target_properties(${_libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
install(
  TARGETS ${_libraries}
  EXPORT database_provider
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  INCLUDES
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(DIRECTORY include/ "${DATABASE_PROVIDER_GENERATED_INCLUDE}/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h")

if(TARGET recordctl)
  file(RELATIVE_PATH _bin_to_lib "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(recordctl PROPERTIES INSTALL_RPATH "$ORIGIN/${_bin_to_lib}")
  install(TARGETS recordctl RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
  set(_told "$<TARGET_FILE_DIR:recordctl>")
  install(FILES "${_told}/recordctl.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
  install(FILES "${_told}/recordctl.bash" DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME recordctl)
  install(FILES "${_told}/_recordctl" DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
endif()

install(
  EXPORT database_provider
  FILE database_provider-targets.cmake
  NAMESPACE database_provider::
  DESTINATION "${_package_dir}")
configure_package_config_file(cmake/database_provider-config.cmake.in "${_generated}/database_provider-config.cmake"
                              INSTALL_DESTINATION "${_package_dir}")
# Until 1.0 a minor version may change the interface.
write_basic_package_version_file("${_generated}/database_provider-config-version.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(FILES "${_generated}/database_provider-config.cmake" "${_generated}/database_provider-config-version.cmake"
        DESTINATION "${_package_dir}")
set(_private_modules "")
set(_provider_modules "")
set(_provider_libraries "")
if(NOT BUILD_SHARED_LIBS)
  install(FILES cmake/LibraryDependencies.cmake cmake/FindMongoC.cmake DESTINATION "${_package_dir}")
  set(_private_modules "libpcre2-8, libxxhash, icu-uc, libcrypto, sqlite3 >= 3.34, zlib, snappy, libzstd")
  set(_provider_modules "libpcre2-8, zlib, libzstd, pugixml")
  if(YAMLCPP_FOUND)
    string(APPEND _provider_modules ", yaml-cpp")
  endif()
  set(_provider_libraries "-lcsv") # which has no module
  if(MongoC_VERSION VERSION_LESS 2)
    string(PREPEND _private_modules "libmongoc-1.0, ")
  else()
    string(PREPEND _private_modules "mongoc2, ")
  endif()
endif()

file(RELATIVE_PATH _pc_to_prefix "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
foreach(_name database_client database_provider)
  configure_file("cmake/${_name}.pc.in" "${_generated}/${_name}.pc" @ONLY)
  install(FILES "${_generated}/${_name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endforeach()
