# What every target of this tree is built with.
add_library(qel_options INTERFACE)
target_compile_options(qel_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
  -fno-strict-aliasing)
if(QEL_WERROR)
  target_compile_options(qel_options INTERFACE -Werror)
endif()
if(QEL_SANITIZE)
  target_compile_options(qel_options INTERFACE
    -fsanitize=${QEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(qel_options INTERFACE -fsanitize=${QEL_SANITIZE})
endif()
if(QEL_BUILD_FUZZERS AND QEL_SANITIZE MATCHES "address")
  # Coverage for libFuzzer; the sanitizer's runtime has its entry points for all other programs.
  target_compile_options(qel_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(WIN32)
  # The reference platform's functions up to Windows 7, and its wide entry points.
  target_compile_definitions(qel_options INTERFACE
    WINVER=0x0601 _WIN32_WINNT=0x0601 WIN32_LEAN_AND_MEAN NOMINMAX)
endif()

# The compiler's run-time DLLs are shared by all programs and libraries of a build: a copy inside each
# of them would give a process several thread libraries. They must lie beside the programs.
if(MINGW)
  foreach(dll libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(EXISTS ${path})
      file(COPY ${path} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    else()
      message(WARNING "${dll} not found; the programs will need it on their path")
    endif()
  endforeach()
endif()

# The tests that run threads, for a ThreadSanitizer build that needs no others.
add_custom_target(threaded_tests)

# qel_test(FOLDER NAME [THREADED] [TIMEOUT SECONDS] [SOURCES ...] [LIBRARIES ...])
#   One test program of tests/FOLDER/NAME_test.cpp, one ctest entry "FOLDER/NAME".
#   THREADED marks it for the ThreadSanitizer run; TIMEOUT sets its seconds.
function(qel_test folder name)
  cmake_parse_arguments(arg "THREADED" "TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
  set(target ${folder}_${name}_test)
  string(REPLACE "/" "_" target ${target})
  add_executable(${target} ${PROJECT_SOURCE_DIR}/tests/${folder}/${name}_test.cpp ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE qel_options qel_test_support ${arg_LIBRARIES})
  # What is tested is optimised as the build type says; the tests themselves only take time to compile.
  target_compile_options(${target} PRIVATE -O0)
  add_test(NAME ${folder}/${name} COMMAND ${target})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  set_tests_properties(${folder}/${name} PROPERTIES TIMEOUT ${arg_TIMEOUT})
  if(arg_THREADED)
    set_tests_properties(${folder}/${name} PROPERTIES LABELS threaded)
    add_dependencies(threaded_tests ${target})
  endif()
endfunction()
