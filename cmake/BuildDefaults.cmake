# SPDX-License-Identifier: Apache-2.0

# What holds where nobody chose: shared libraries, and an optimised build. An enclosing project's choices are its own.

if(DATABASE_PROVIDER_TOP_LEVEL)
  option(BUILD_SHARED_LIBS "Build the two libraries as shared ones" ON)
elseif(NOT DEFINED BUILD_SHARED_LIBS)
  set(BUILD_SHARED_LIBS ON)
endif()

get_property(_is_multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(DATABASE_PROVIDER_TOP_LEVEL AND NOT _is_multi_config AND NOT CMAKE_BUILD_TYPE)
  message(STATUS "CMAKE_BUILD_TYPE is not set: Release is built")
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
endif()
