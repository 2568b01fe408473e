# Installs the build tree into a scratch prefix, then configures, builds and
# runs a separate project that finds it with find_package(vek) and compiles
# every installed header.
# -DBUILD_DIR=<vek build tree> -DSOURCE_DIR=<consumer sources> -DWORK_DIR=<scratch>
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
  message(FATAL_ERROR "install failed: ${rc}")
endif()
# Every installed header, included on its own line of one file: each must
# compile with nothing but the installed tree.
file(GLOB_RECURSE headers RELATIVE ${WORK_DIR}/prefix/include/vek ${WORK_DIR}/prefix/include/vek/*.h)
list(TRANSFORM headers REPLACE "(.+)" "#include \"\\1\"\n")
file(WRITE ${WORK_DIR}/all_headers.cpp ${headers})
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build
                -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix -DALL_HEADERS=${WORK_DIR}/all_headers.cpp
                RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "configuring the consumer failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "building the consumer failed: ${rc}")
endif()
execute_process(COMMAND ${WORK_DIR}/build/consumer RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "the consumer failed: ${rc}")
endif()
