# The first stage of the profile-guided build: builds the bench with instrumentation in TRAIN and
# runs it, which leaves the profile in PROFILE. Any failure is a warning and leaves no profile, so
# that the build goes on without one. Run by CMakeLists.txt with SOURCE, TRAIN, PROFILE, CXX,
# CXX_FLAGS, BUILD_TYPE, NATIVE and WERROR set: the objects must be compiled as the build that
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
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${TRAIN} --target ostrel-bench --parallel ${jobs}
                  OUTPUT_FILE ${TRAIN}.log ERROR_FILE ${TRAIN}.log RESULT_VARIABLE built)
endif()
# Depth 8: long enough for every search path the bench has, a few seconds.
if(configured EQUAL 0 AND built EQUAL 0)
  execute_process(COMMAND ${TRAIN}/ostrel-bench --depth 8 OUTPUT_QUIET RESULT_VARIABLE trained)
endif()
if(NOT configured EQUAL 0 OR NOT built EQUAL 0 OR NOT trained EQUAL 0)
  message(WARNING "training the profile-guided build failed (see ${TRAIN}.log): building without a profile")
  file(REMOVE_RECURSE ${PROFILE})
  file(MAKE_DIRECTORY ${PROFILE})
endif()
file(TOUCH ${PROFILE}/trained.stamp)
