# Runs "TOOL ARGS..." (ARGS separated by "|") and checks its exit status and that its output
# matches PATTERN.
string(REPLACE "|" ";" arguments "${ARGS}")
execute_process(COMMAND ${TOOL} ${arguments} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT status EQUAL ${STATUS})
  message(FATAL_ERROR "exit status ${status}, expected ${STATUS}\n${out}${err}")
endif()
if(NOT "${out}${err}" MATCHES "${PATTERN}")
  message(FATAL_ERROR "output does not match \"${PATTERN}\":\n${out}${err}")
endif()
