# SPDX-License-Identifier: Apache-2.0

# Writes package files as the drivers in VERSIONS ("1.23.1,2.0.2,2.1.0-static") install them under PREFIX, with targets that
# do nothing, and looks which of them is found.

file(REMOVE_RECURSE "${PREFIX}")
file(MAKE_DIRECTORY "${PREFIX}")
string(REPLACE "," ";" VERSIONS "${VERSIONS}")
foreach(version IN LISTS VERSIONS)
  string(REPLACE "-static" "" number "${version}")
  if(number VERSION_GREATER_EQUAL 2)
    set(name mongoc)
    set(targets mongoc::mongoc mongoc::static)
    if(number STREQUAL version)
      list(APPEND targets mongoc::shared)
    endif()
  else()
    set(name mongoc-1.0)
    set(targets mongo::mongoc_shared mongo::mongoc_static)
  endif()
  set(version "${number}")
  string(REGEX REPLACE "[.].*" "" major "${version}")
  set(folder "${PREFIX}/lib/cmake/${name}")
  foreach(target IN LISTS targets)
    file(APPEND "${folder}/${name}-config.cmake" "add_library(${target} INTERFACE IMPORTED)\n")
  endforeach()
  file(
    WRITE "${folder}/${name}-config-version.cmake"
    "set(PACKAGE_VERSION ${version})
if(PACKAGE_FIND_VERSION VERSION_LESS_EQUAL PACKAGE_VERSION AND PACKAGE_FIND_VERSION_MAJOR EQUAL ${major})
  set(PACKAGE_VERSION_COMPATIBLE TRUE)
endif()
")
endforeach()
execute_process(COMMAND "${CMAKE_COMMAND}" -G "${GENERATOR}" "-DPREFIX=${PREFIX}" "-DMODULES=${MODULES}" "-DEXPECTED=${EXPECTED}" -S
                        "${CMAKE_CURRENT_LIST_DIR}" -B "${PREFIX}/build" COMMAND_ERROR_IS_FATAL ANY)
