# SPDX-License-Identifier: Apache-2.0

# Whether the tests are built. Whoever wants the libraries alone needs none of the tests' packages, and whoever asks for
# the tests is told what they lack.

set(DATABASE_PROVIDER_TESTS
    AUTO
    CACHE STRING "Build the tests: ON, OFF, or AUTO, where their packages are found and BUILD_TESTING is not off")
set_property(CACHE DATABASE_PROVIDER_TESTS PROPERTY STRINGS AUTO ON OFF)

# What of the tests' packages is not here, into a variable.
function(find_missing_test_packages result)
  set(missing "")
  find_package(GTest QUIET)
  if(NOT TARGET GTest::gmock)
    list(APPEND missing "GoogleTest with GoogleMock")
  endif()
  find_package(nlohmann_json QUIET)
  if(NOT nlohmann_json_FOUND)
    list(APPEND missing nlohmann_json)
  endif()
  find_package(Python3 QUIET COMPONENTS Interpreter)
  if(NOT Python3_FOUND)
    list(APPEND missing "Python 3")
  endif()
  string(REPLACE ";" ", " missing "${missing}")
  set(${result} "${missing}" PARENT_SCOPE)
endfunction()

# From here on the variable is on or off; the cache keeps what was asked for.
if(NOT DATABASE_PROVIDER_TESTS STREQUAL "AUTO")
  if(DATABASE_PROVIDER_TESTS)
    find_missing_test_packages(_missing)
    if(_missing)
      message(FATAL_ERROR "DATABASE_PROVIDER_TESTS is on, but these were not found: ${_missing}. Install them "
                          "(scripts/setup build test), or configure with -DDATABASE_PROVIDER_TESTS=OFF.")
    endif()
  endif()
elseif(NOT DATABASE_PROVIDER_TOP_LEVEL OR (DEFINED BUILD_TESTING AND NOT BUILD_TESTING))
  set(DATABASE_PROVIDER_TESTS OFF)
else()
  find_missing_test_packages(_missing)
  if(_missing)
    message(STATUS "The tests are left out, since these were not found: ${_missing}")
    set(DATABASE_PROVIDER_TESTS OFF)
  else()
    set(DATABASE_PROVIDER_TESTS ON)
  endif()
endif()
