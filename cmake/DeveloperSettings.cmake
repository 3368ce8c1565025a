# SPDX-License-Identifier: Apache-2.0

# Flags for this project's own targets, asked for by target, so that an enclosing project gets none of them.

if(DATABASE_PROVIDER_TOP_LEVEL)
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  find_program(CCACHE_PROGRAM ccache)
  if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
  endif()
endif()

function(database_settings target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(
    ${target}
    PROPERTIES CXX_EXTENSIONS OFF
               CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON
               POSITION_INDEPENDENT_CODE ON)
  if(DATABASE_PROVIDER_DEVELOPER)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor
                                             -Woverloaded-virtual -Werror)
  endif()
  if(DATABASE_PROVIDER_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize-recover=all
                                             -fno-omit-frame-pointer)
    target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
  if(DATABASE_PROVIDER_FUZZ)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
endfunction()

# A library that leaves no symbol open, and passes on none of a static library that it is linked with. With clang the
# sanitizers' symbols are in the program alone.
function(database_complete target)
  target_link_options(${target} PRIVATE -Wl,--exclude-libs,ALL)
  if(NOT DATABASE_PROVIDER_FUZZ)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()
