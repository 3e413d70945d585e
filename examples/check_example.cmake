# Runs an example in a folder of its own and compares what it does with examples/expected/NAME.txt: what
# it prints, its exit status, and what files are there afterwards. It also fails when a function of the
# example has more than LINES lines.
#
# cmake -DNAME=... -DPROGRAM=... -DWORK=... [-DEMULATOR=...] -DLINES=N -P check_example.cmake -- ARGUMENTS
cmake_minimum_required(VERSION 3.25)

set(arguments)
set(isArgument FALSE)
foreach(i RANGE 1 ${CMAKE_ARGC})
  if(isArgument AND i LESS CMAKE_ARGC)
    string(REPLACE ";" "\\;" argument "${CMAKE_ARGV${i}}")
    list(APPEND arguments "${argument}")
  elseif("${CMAKE_ARGV${i}}" STREQUAL "--")
    set(isArgument TRUE)
  endif()
endforeach()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/out ${WORK}/temp)
file(GLOB inputs ${CMAKE_CURRENT_LIST_DIR}/data/* ${CMAKE_CURRENT_LIST_DIR}/../samples/*)
file(COPY ${inputs} DESTINATION ${WORK}/in)
if(NOT EMULATOR)    # it would put files of its own there
  set(ENV{TMPDIR} ${WORK}/temp)
endif()
execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${arguments} WORKING_DIRECTORY ${WORK}
  OUTPUT_VARIABLE result RESULT_VARIABLE status ERROR_VARIABLE errors ENCODING UTF-8)
string(REPLACE "\r\n" "\n" result "${result}")
string(APPEND result "== exit status ${status}\n")
file(REMOVE_RECURSE ${WORK}/in)
file(GLOB_RECURSE left RELATIVE ${WORK} ${WORK}/*)
foreach(name IN LISTS left)
  file(SIZE ${WORK}/${name} size)
  string(APPEND result "== ${name}, ${size} bytes\n")
endforeach()

file(READ ${CMAKE_CURRENT_LIST_DIR}/expected/${NAME}.txt expected)
if(NOT result STREQUAL expected)
  file(WRITE ${WORK}.txt "${result}")
  message(FATAL_ERROR "${NAME} did what ${WORK}.txt says: ${result} ${errors}")
endif()

file(READ ${CMAKE_CURRENT_LIST_DIR}/${NAME}.cpp source)
string(REGEX REPLACE "[][;]" "" source "${source}")
string(REPLACE "\n" ";" source "${source}")
set(count 0)
foreach(line IN LISTS source)
  if(line MATCHES "^[^ }].*{$")
    set(count 0)
  elseif(line MATCHES "^}" AND count GREATER LINES)
    message(FATAL_ERROR "a function of ${NAME}.cpp has ${count} lines; ${LINES} must do")
  else()
    math(EXPR count "${count} + 1")
  endif()
endforeach()
