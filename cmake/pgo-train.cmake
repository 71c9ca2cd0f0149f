# The first stage of the profile-guided build: builds the bench and perft with instrumentation in
# TRAIN and runs them, which leaves the profile in PROFILE. Any failure is a warning and leaves no
# profile, so that the build goes on without one. Run by CMakeLists.txt with SOURCE, TRAIN, PROFILE,
# CXX, CXX_FLAGS, BUILD_TYPE, NATIVE and WERROR set: the objects must be compiled as the build that
# reads the profile compiles them.
file(REMOVE_RECURSE ${PROFILE})
file(MAKE_DIRECTORY ${PROFILE})
include(ProcessorCount)
ProcessorCount(jobs)
if(jobs EQUAL 0)
  set(jobs 2)
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${TRAIN} -DCMAKE_BUILD_TYPE=${BUILD_TYPE}
                        -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${CXX_FLAGS} -DOSTREL_TESTS=OFF -DOSTREL_PGO=OFF
                        -DOSTREL_NATIVE=${NATIVE} -DOSTREL_WERROR=${WERROR} -DOSTREL_PGO_GENERATE=${PROFILE}
                OUTPUT_FILE ${TRAIN}.log ERROR_FILE ${TRAIN}.log RESULT_VARIABLE configured)
if(configured EQUAL 0)
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${TRAIN} --target ostrel-bench ostrel-perft --parallel ${jobs}
                  OUTPUT_FILE ${TRAIN}.log ERROR_FILE ${TRAIN}.log RESULT_VARIABLE built)
endif()
# Depth 8: long enough for every search path the bench has, a few seconds. Then perft, whose
# node loop is its own code: the start position and one with castling, promotions and pins.
if(configured EQUAL 0 AND built EQUAL 0)
  execute_process(COMMAND ${TRAIN}/ostrel-bench --depth 8 OUTPUT_QUIET RESULT_VARIABLE trained)
endif()
foreach(run "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1|5"
            "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1|4")
  string(REPLACE "|" ";" run "${run}")
  if(configured EQUAL 0 AND built EQUAL 0 AND trained EQUAL 0)
    execute_process(COMMAND ${TRAIN}/ostrel-perft ${run} OUTPUT_QUIET RESULT_VARIABLE trained)
  endif()
endforeach()
if(NOT configured EQUAL 0 OR NOT built EQUAL 0 OR NOT trained EQUAL 0)
  message(WARNING "training the profile-guided build failed (see ${TRAIN}.log): building without a profile")
  file(REMOVE_RECURSE ${PROFILE})
  file(MAKE_DIRECTORY ${PROFILE})
endif()
file(TOUCH ${PROFILE}/trained.stamp)
