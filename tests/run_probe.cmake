# Runs qmkvprobe once (under the cross-compiling emulator, if any) and checks its exact exit
# status. Optionally checks that its output holds each MATCH pattern, and with JSON_CHECK that
# its standard output is a well-formed qmkvprobe JSON document, and with WRITTEN that the file
# --extract wrote starts with the bytes WRITTEN_HEX (lowercase hex).
#   -DPROBE=path -DEMULATOR=a|b|c -DARGS=a|b|c -DEXPECT=status|status -DOUT=file
#   [-DMATCH=regex|regex...] [-DJSON_CHECK=path of json_check] [-DWRITTEN=file -DWRITTEN_HEX=hex]
cmake_minimum_required(VERSION 3.18)
get_filename_component(program ${PROBE} NAME)
string(REPLACE "|" ";" emulator "${EMULATOR}")
string(REPLACE "|" ";" args "${ARGS}")
execute_process(COMMAND ${emulator} ${PROBE} ${args}
                RESULT_VARIABLE status OUTPUT_FILE ${OUT} ERROR_VARIABLE errors)
file(READ ${OUT} output)
string(REPLACE "|" ";" expected "${EXPECT}")
if(NOT "${status}" IN_LIST expected)
  message(FATAL_ERROR "${program} ${args}: exit status ${status}, expected ${EXPECT}\n"
                      "stderr:\n${errors}\nstdout:\n${output}")
endif()
if(MATCH)
  string(REPLACE "|" ";" patterns "${MATCH}")
  foreach(pattern IN LISTS patterns)
    if(NOT output MATCHES "${pattern}")
      message(FATAL_ERROR "${program} ${args}: output lacks /${pattern}/\n${output}")
    endif()
  endforeach()
endif()
if(JSON_CHECK)
  execute_process(COMMAND ${emulator} ${JSON_CHECK} --probe ${OUT}
                  RESULT_VARIABLE checked ERROR_VARIABLE why)
  if(NOT checked EQUAL 0)
    message(FATAL_ERROR "${program} ${args}: output is not a qmkvprobe JSON document: ${why}")
  endif()
endif()
if(WRITTEN)
  string(LENGTH "${WRITTEN_HEX}" hex_length)
  math(EXPR byte_count "${hex_length} / 2")
  file(READ ${WRITTEN} head LIMIT ${byte_count} HEX)
  if(NOT head STREQUAL WRITTEN_HEX)
    message(FATAL_ERROR "${program} ${args}: ${WRITTEN} starts ${head}, expected ${WRITTEN_HEX}")
  endif()
endif()
message(STATUS "${program} ${args}: exit status ${status}")
