# Installs the build into a fresh prefix, then builds and runs a program against it twice:
# once through find_package(Vireo), once through pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}\n${output}")
  endif()
  set(last_output "${output}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(library libvireo.so.1 libgenapi.so.1)
  if(NOT EXISTS ${prefix}/lib/${library})
    message(FATAL_ERROR "${library} was not installed")
  endif()
endforeach()

run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/consumer -G Ninja -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run(${WORK_DIR}/consumer/consumer)
if(NOT last_output MATCHES "Vireo 1.0.0.10 Mono8 CBF43926")
  message(FATAL_ERROR "unexpected output of the CMake consumer: ${last_output}")
endif()

set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
execute_process(COMMAND pkg-config --cflags --libs vireo OUTPUT_VARIABLE flags RESULT_VARIABLE result
                OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know vireo")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run(c++ -std=c++17 ${CONSUMER_DIR}/main.cpp ${flags} -Wl,-rpath,${prefix}/lib -o ${WORK_DIR}/pkgconfig-consumer)
run(${WORK_DIR}/pkgconfig-consumer)
if(NOT last_output MATCHES "Vireo 1.0.0.10 Mono8 CBF43926")
  message(FATAL_ERROR "unexpected output of the pkg-config consumer: ${last_output}")
endif()
