# SPDX-License-Identifier: Apache-2.0

# The example in the README is the program that the tests build, word for word.
file(READ "${README}" readme)
file(READ "${EXAMPLE}" example)
string(REGEX REPLACE ".*// first_record begin\n(.*)// first_record end.*" "\\1" snippet "${example}")
string(FIND "${readme}" "```cpp\n${snippet}```" place)
if(snippet STREQUAL example OR place EQUAL -1)
  message(FATAL_ERROR "the README does not show ${EXAMPLE} between its markers")
endif()
