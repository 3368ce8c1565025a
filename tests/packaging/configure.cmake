# SPDX-License-Identifier: Apache-2.0

# Configures SOURCE in the new folder BINARY with GENERATOR and OPTIONS, as somebody does who types no more than that, and checks
# what comes of it: SAYS is a part of what is printed, TYPE the build type, TESTS whether there are tests. With FAILS it
# must not succeed.

file(REMOVE_RECURSE "${BINARY}")
unset(ENV{CMAKE_BUILD_TYPE})
execute_process(
  COMMAND "${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${SOURCE}" -B "${BINARY}" ${OPTIONS}
  RESULT_VARIABLE result
  OUTPUT_VARIABLE output
  ERROR_VARIABLE output)
message("${output}")
if(FAILS AND result EQUAL 0)
  message(FATAL_ERROR "it was configured all the same")
elseif(NOT FAILS AND NOT result EQUAL 0)
  message(FATAL_ERROR "it was not configured")
endif()

# CMake breaks long messages where it likes.
string(REGEX REPLACE "[ \n]+" " " output "${output}")
string(FIND "${output}" "${SAYS}" place)
if(place EQUAL -1)
  message(FATAL_ERROR "it does not say: ${SAYS}")
endif()
if(FAILS)
  return()
endif()

file(STRINGS "${BINARY}/CMakeCache.txt" found REGEX "^CMAKE_BUILD_TYPE:")
if(NOT found MATCHES "=${TYPE}$")
  message(FATAL_ERROR "${found} instead of ${TYPE}")
endif()
# The tests of test programs are known only when those are built.
if(EXISTS "${BINARY}/tests" AND NOT TESTS)
  message(FATAL_ERROR "there are tests")
elseif(NOT EXISTS "${BINARY}/tests" AND TESTS)
  message(FATAL_ERROR "there are no tests")
endif()
