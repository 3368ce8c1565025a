# SPDX-License-Identifier: Apache-2.0

# Builds SOURCE as static libraries in BINARY, with GENERATOR and OPTIONS, installs and moves them, and builds and runs CONSUMER
# with what the CMake package and pkg-config tell of them.

set(ENV{CMAKE_GENERATOR} "${GENERATOR}")
set(prefix "${BINARY}/moved")
file(REMOVE_RECURSE "${prefix}" "${BINARY}/installed" "${BINARY}/consumer")

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()
run("${CMAKE_COMMAND}" -S "${SOURCE}" -B "${BINARY}/library" ${OPTIONS} -DCMAKE_BUILD_TYPE=None -DBUILD_SHARED_LIBS=OFF
    -DBUILD_TESTING=OFF -DDATABASE_PROVIDER_TOOLS=OFF -DDATABASE_PROVIDER_EXAMPLES=OFF)
run("${CMAKE_COMMAND}" --build "${BINARY}/library" --parallel 2)
run("${CMAKE_COMMAND}" --install "${BINARY}/library" --prefix "${BINARY}/installed")
file(RENAME "${BINARY}/installed" "${prefix}")
file(GLOB_RECURSE shared "${prefix}/*.so*")
if(shared)
  message(FATAL_ERROR "shared libraries are installed: ${shared}")
endif()

run("${CMAKE_COMMAND}" -S "${CONSUMER}" -B "${BINARY}/consumer" ${OPTIONS} "-DCMAKE_PREFIX_PATH=${prefix}")
run("${CMAKE_COMMAND}" --build "${BINARY}/consumer")
run("${BINARY}/consumer/consumer")
set(ENV{PKG_CONFIG} "pkg-config --static")
run("${CONSUMER}/../pkg_config.sh" "${COMPILER}" "${prefix}" "${LIBDIR}" "${BINARY}/pkg_config")
