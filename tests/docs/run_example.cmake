# SPDX-License-Identifier: MIT
# Runs PROGRAM, with ARGUMENT if given, in the fresh FOLDER, the command in its PATH. It must end with 0 and print what
# EXPECTED holds, if given.
file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}")
set(ENV{PATH} "${COMMAND_FOLDER}:$ENV{PATH}")
execute_process(COMMAND "${PROGRAM}" ${ARGUMENT} WORKING_DIRECTORY "${FOLDER}" RESULT_VARIABLE result OUTPUT_VARIABLE printed)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "ended with ${result} after printing\n${printed}")
endif()
if(EXPECTED)
  file(READ "${EXPECTED}" expected)
  if(NOT printed STREQUAL expected)
    message(FATAL_ERROR "printed\n${printed}\nbut ${EXPECTED} holds\n${expected}")
  endif()
endif()
