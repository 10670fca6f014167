# Installs the built library into a scratch prefix, then builds and runs a
# small consumer against it twice: through find_package and through pkg-config.
# Variables: SOURCE_DIR, BINARY_DIR, WORK_DIR, CXX_COMPILER, SANITIZE.

function(run_step what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "${what} failed (${rc}):\n${out}\n${err}")
    endif()
    set(step_output "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run_step("install" ${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${prefix})

set(flags "")
if(SANITIZE)
    set(flags "-fsanitize=address,undefined")
endif()

# 1. CMake package.
run_step("configure consumer" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer -B ${WORK_DIR}/cmake
         -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
         "-DCMAKE_CXX_FLAGS=${flags}" "-DCMAKE_EXE_LINKER_FLAGS=${flags}")
run_step("build consumer" ${CMAKE_COMMAND} --build ${WORK_DIR}/cmake)
run_step("run consumer (CMake package)" ${WORK_DIR}/cmake/consumer)
if(NOT step_output STREQUAL "ok\n")
    message(FATAL_ERROR "consumer printed: ${step_output}")
endif()

# 2. pkg-config file.
find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
file(GLOB_RECURSE pc_files ${prefix}/*/xtsclientutil.pc)
list(GET pc_files 0 pc_file)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run_step("pkg-config" ${PKG_CONFIG} --cflags --libs xtsclientutil)
string(STRIP "${step_output}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(extra UNIX_COMMAND "${flags}")
run_step("compile consumer with pkg-config" ${CXX_COMPILER} ${extra}
         ${SOURCE_DIR}/tests/consumer/consumer.cpp ${pc_flags} -o ${WORK_DIR}/consumer-pc)
get_filename_component(lib_dir ${pc_dir} DIRECTORY)
set(ENV{LD_LIBRARY_PATH} ${lib_dir})
run_step("run consumer (pkg-config)" ${WORK_DIR}/consumer-pc)
if(NOT step_output STREQUAL "ok\n")
    message(FATAL_ERROR "consumer printed: ${step_output}")
endif()
