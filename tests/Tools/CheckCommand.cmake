# Runs one command and checks what it did; used by the ovutil tests.
#
#   cmake -DCOMMAND=<program> -DARGS="<arguments>" -DEXPECT_RC=<exit code>
#         [-DEXPECT_1=<regex> ... -DEXPECT_9=<regex>] [-DREJECT=<regex>]
#         -P CheckCommand.cmake
#
# The test fails unless the exit code is EXPECT_RC, the combined output
# (stdout then stderr) matches every EXPECT_n and does not match REJECT.
separate_arguments(arguments UNIX_COMMAND "${ARGS}")
execute_process(COMMAND ${COMMAND} ${arguments}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err
                TIMEOUT 120)
set(output "${out}${err}")
set(failures "")
if(NOT rc STREQUAL EXPECT_RC)
  string(APPEND failures "exit code ${rc}, expected ${EXPECT_RC}\n")
endif()
foreach(n RANGE 1 9)
  if(DEFINED EXPECT_${n} AND NOT output MATCHES "${EXPECT_${n}}")
    string(APPEND failures "output does not match: ${EXPECT_${n}}\n")
  endif()
endforeach()
if(DEFINED REJECT AND output MATCHES "${REJECT}")
  string(APPEND failures "output matches what it must not: ${REJECT}\n")
endif()
if(failures)
  message(FATAL_ERROR "${COMMAND} ${ARGS}\n${failures}--- output ---\n${output}")
endif()
