# SPDX-License-Identifier: Apache-2.0

# Finds what the libraries are linked with. Also a part of an installed package of static libraries, which pass it on.

find_package(MongoC REQUIRED)
find_package(SQLite3 3.34 REQUIRED)
if(NOT TARGET SQLite3::SQLite3) # its name since CMake 4.3
  add_library(SQLite3::SQLite3 ALIAS SQLite::SQLite3)
endif()
find_package(PkgConfig REQUIRED)
pkg_check_modules(PCRE2 REQUIRED IMPORTED_TARGET libpcre2-8)
pkg_check_modules(XXHASH REQUIRED IMPORTED_TARGET libxxhash)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-uc)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_package(ZLIB REQUIRED)
find_package(Snappy REQUIRED)
pkg_check_modules(ZSTD REQUIRED IMPORTED_TARGET libzstd)
pkg_check_modules(PUGIXML REQUIRED IMPORTED_TARGET pugixml)
pkg_check_modules(YAMLCPP IMPORTED_TARGET yaml-cpp) # may be missing
find_path(LIBCSV_INCLUDE_DIR csv.h REQUIRED)
find_library(LIBCSV_LIBRARY csv REQUIRED)
if(NOT TARGET CSV::csv)
  add_library(CSV::csv UNKNOWN IMPORTED)
  set_target_properties(CSV::csv PROPERTIES IMPORTED_LOCATION "${LIBCSV_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES
                                                                                  "${LIBCSV_INCLUDE_DIR}")
endif()
