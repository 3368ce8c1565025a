# SPDX-License-Identifier: Apache-2.0

# Installs the tree BUILD under WORK and moves it, since an installed tree must not depend on where it was made.

file(REMOVE_RECURSE "${WORK}/moved" "${WORK}/installed" "${WORK}/find_package" "${WORK}/pkg_config")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${WORK}/installed" COMMAND_ERROR_IS_FATAL ANY)
file(RENAME "${WORK}/installed" "${WORK}/moved")

file(GLOB_RECURSE _files "${WORK}/moved/*.cmake" "${WORK}/moved/*.pc")
foreach(_file IN LISTS _files)
  file(READ "${_file}" _text)
  if(_text MATCHES "${WORK}|${BUILD}")
    message(FATAL_ERROR "${_file} names the folder it was made in")
  endif()
endforeach()

file(GLOB _recordctl "${WORK}/moved/bin/recordctl")
if(_recordctl)
  execute_process(COMMAND "${_recordctl}" --help OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endif()
