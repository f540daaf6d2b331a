# Reruns the Student t table generator and compares its output with the
# table the library is built from.
#   cmake -DGENERATOR=generate_t_table -DTABLE=student_t_table.inc
#         -DOUTPUT=regenerated.inc -P check_t_table.cmake

foreach(var GENERATOR TABLE OUTPUT)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "check_t_table: ${var} is not set")
  endif()
endforeach()

execute_process(
  COMMAND "${GENERATOR}"
  OUTPUT_FILE "${OUTPUT}"
  ERROR_VARIABLE errors
  RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "the generator failed (${status}): ${errors}")
endif()

execute_process(
  COMMAND "${CMAKE_COMMAND}" -E compare_files "${OUTPUT}" "${TABLE}"
  RESULT_VARIABLE differs)
if(differs)
  message(FATAL_ERROR "${TABLE} differs from what the generator writes now (${OUTPUT})")
endif()
message(STATUS "the table matches a fresh run of the generator")
