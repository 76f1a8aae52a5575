# Runs the host's and the target's track_replay on the same sequence and
# fails unless their outputs are the same bytes.
#   cmake -DHOST=prog "-DTARGET=emulator;args;prog" -DSEQUENCE=file -DOUT=dir -P compare_replays.cmake
file(MAKE_DIRECTORY ${OUT})
execute_process(COMMAND ${HOST} ${SEQUENCE} OUTPUT_FILE ${OUT}/host.txt RESULT_VARIABLE host_rc)
execute_process(COMMAND ${TARGET} ${SEQUENCE} OUTPUT_FILE ${OUT}/target.txt RESULT_VARIABLE target_rc)
if(NOT host_rc EQUAL 0 OR NOT target_rc EQUAL 0)
  message(FATAL_ERROR "track_replay failed: host ${host_rc}, target ${target_rc}")
endif()
file(SIZE ${OUT}/host.txt host_size)
if(host_size LESS 100000)
  message(FATAL_ERROR "host output is only ${host_size} bytes: nothing to compare")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUT}/host.txt ${OUT}/target.txt
                RESULT_VARIABLE differ)
if(NOT differ EQUAL 0)
  message(FATAL_ERROR "the target's tracks differ from the host's: diff ${OUT}/host.txt ${OUT}/target.txt")
endif()
message(STATUS "same tracks on both targets (${host_size} bytes)")
