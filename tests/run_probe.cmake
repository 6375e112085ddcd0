# Runs qmkvprobe once (under the cross-compiling emulator, if any) and checks its exact exit
# status. Optionally checks that its output holds each MATCH pattern, and with JSON_CHECK that
# its standard output is a well-formed qmkvprobe JSON document.
#   -DPROBE=path -DEMULATOR=a|b|c -DARGS=a|b|c -DEXPECT=status -DOUT=file
#   [-DMATCH=regex|regex...] [-DJSON_CHECK=path of json_check]
string(REPLACE "|" ";" emulator "${EMULATOR}")
string(REPLACE "|" ";" args "${ARGS}")
execute_process(COMMAND ${emulator} ${PROBE} ${args}
                RESULT_VARIABLE status OUTPUT_FILE ${OUT} ERROR_VARIABLE errors)
file(READ ${OUT} output)
if(NOT "${status}" STREQUAL "${EXPECT}")
  message(FATAL_ERROR "qmkvprobe ${args}: exit status ${status}, expected ${EXPECT}\n"
                      "stderr:\n${errors}\nstdout:\n${output}")
endif()
if(MATCH)
  string(REPLACE "|" ";" patterns "${MATCH}")
  foreach(pattern IN LISTS patterns)
    if(NOT output MATCHES "${pattern}")
      message(FATAL_ERROR "qmkvprobe ${args}: output lacks /${pattern}/\n${output}")
    endif()
  endforeach()
endif()
if(JSON_CHECK)
  execute_process(COMMAND ${emulator} ${JSON_CHECK} --probe ${OUT}
                  RESULT_VARIABLE checked ERROR_VARIABLE why)
  if(NOT checked EQUAL 0)
    message(FATAL_ERROR "qmkvprobe ${args}: output is not a qmkvprobe JSON document: ${why}")
  endif()
endif()
message(STATUS "qmkvprobe ${args}: exit status ${status}")
