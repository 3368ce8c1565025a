# SPDX-License-Identifier: Apache-2.0

# Runs pytest over TESTS with PYTHON, under Python's own checks; says that it is skipped where pytest is not installed.
foreach(module pytest hypothesis)
  execute_process(
    COMMAND "${PYTHON}" -c "import ${module}"
    RESULT_VARIABLE failure
    OUTPUT_QUIET ERROR_QUIET)
  if(failure)
    message(NOTICE "skipped: ${PYTHON} has no ${module}; pip install '.[test]' brings what the tests of the module need")
    return()
  endif()
endforeach()
execute_process(COMMAND "${PYTHON}" -X dev -m pytest -q -p no:cacheprovider "${TESTS}" RESULT_VARIABLE failure)
if(failure)
  message(FATAL_ERROR "tests of the Python module failed")
endif()
