# Builds the opening book that the install ships, with the engine's own two steps, and compiles
# the master book beside it. Run by CMakeLists.txt with ENGINE, PGN, LEARN and the working
# directory set to the output folder.
file(COPY ${LEARN} DESTINATION .)
execute_process(COMMAND ${ENGINE} -pgnsource ${PGN} -tempfile book-temp.dat -max_book_moves 12
                OUTPUT_FILE book-build.log RESULT_VARIABLE step1)
execute_process(COMMAND ${ENGINE} -buildbook -tempfile book-temp.dat
                OUTPUT_FILE book-build-2.log RESULT_VARIABLE step2)
# A play session that ends at once compiles learn.txt to learn.bin, which is then the newer file.
execute_process(COMMAND ${ENGINE} INPUT_FILE ${QUIT} OUTPUT_FILE master-build.log RESULT_VARIABLE step3)
file(REMOVE book-temp.dat stats.txt)
if(NOT step1 EQUAL 0 OR NOT step2 EQUAL 0 OR NOT step3 EQUAL 0 OR NOT EXISTS book.bin OR NOT EXISTS learn.bin)
  message(FATAL_ERROR "building the book failed; see the logs in ${CMAKE_CURRENT_BINARY_DIR}")
endif()
