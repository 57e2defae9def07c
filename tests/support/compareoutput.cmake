# Fails where the file FILE is not what the program PROGRAM prints.
execute_process(COMMAND ${PROGRAM} OUTPUT_FILE ${OUTPUT} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} has failed: ${status}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${OUTPUT} ${FILE} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "${FILE} is out of date: ${PROGRAM} > ${FILE}")
endif()
