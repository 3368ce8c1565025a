# SPDX-License-Identifier: Apache-2.0

# Finds the MongoDB C driver of either major version: 2.x (CMake packages mongoc and bson) or 1.x (mongoc-1.0 and bson-1.0).
# Defines the target MongoC::mongoc, which carries libbson along, and MongoC_VERSION. The shared library is taken where there
# is one: what is left of a driver inside another library cannot be mended by an update of the driver.

find_package(mongoc 2 CONFIG QUIET)
if(mongoc_FOUND)
  set(MongoC_VERSION "${mongoc_VERSION}")
  set(_mongoc_target mongoc::mongoc) # which is the static one wherever that is installed
  if(TARGET mongoc::shared)
    set(_mongoc_target mongoc::shared)
  endif()
else()
  find_package(mongoc-1.0 1.21 CONFIG QUIET)
  if(mongoc-1.0_FOUND)
    set(MongoC_VERSION "${mongoc-1.0_VERSION}")
    set(_mongoc_target mongo::mongoc_shared)
  endif()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(MongoC REQUIRED_VARS _mongoc_target VERSION_VAR MongoC_VERSION)

if(MongoC_FOUND AND NOT TARGET MongoC::mongoc)
  add_library(MongoC::mongoc INTERFACE IMPORTED)
  target_link_libraries(MongoC::mongoc INTERFACE ${_mongoc_target})
endif()
