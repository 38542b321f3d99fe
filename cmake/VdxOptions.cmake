# Options of the project and the flags that every target of ours is compiled with.
# Below another project the variable is ours alone: its own libraries keep their kind.
if(PROJECT_IS_TOP_LEVEL)
  option(BUILD_SHARED_LIBS "Build libVDXLib as a shared library" ON)
elseif(NOT DEFINED BUILD_SHARED_LIBS)
  set(BUILD_SHARED_LIBS ON)
endif()
option(VDX_BUILD_TESTS "Build the tests (with the standard BUILD_TESTING)" ${PROJECT_IS_TOP_LEVEL})
option(VDX_BUILD_EXAMPLES "Build the example programs" ${PROJECT_IS_TOP_LEVEL})
option(VDX_BUILD_BENCHMARKS "Build the benchmarks" OFF)
option(VDX_BUILD_FUZZERS "Build the libFuzzer targets (clang only)" OFF)
option(VDX_INSTALL "Install the library with its headers and package files" ${PROJECT_IS_TOP_LEVEL})
option(VDX_WERROR "Treat warnings of our own code as errors" OFF)
# Off where a missing include must be seen; the presets of the sanitizers turn it on and save a third of the time.
option(VDX_TEST_PCH "Precompile the headers that most tests include" OFF)
set(VDX_SANITIZE "" CACHE STRING "Value for -fsanitize= (for example address,undefined or thread)")

if(PROJECT_IS_TOP_LEVEL)
  include(CTest)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
  endif()
  find_program(VDX_CCACHE ccache)
  if(VDX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # Without the first of these the cache refuses whatever is compiled with a precompiled header.
    set(CMAKE_CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND};-E;env;CCACHE_SLOPPINESS=pch_defines,time_macros;${VDX_CCACHE}")
  endif()
endif()

set(VDX_WARNINGS -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  list(APPEND VDX_WARNINGS -Wthread-safety)
endif()
# With the sanitizers' checks in the code g++ 12 takes members of the standard library for uninitialised and moved
# strings for too short. Which texts it hits changes with the inlining, so there its warnings do not end the build;
# the same sources are built with -Werror by g++ without sanitizers and by clang.
if(VDX_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND VDX_WARNINGS -Wno-maybe-uninitialized -Wno-array-bounds -Wno-stringop-overflow -Wno-restrict)
elseif(VDX_WERROR)
  list(APPEND VDX_WARNINGS -Werror)
endif()
if(VDX_SANITIZE)
  # -fno-sanitize-recover: a finding of the undefined-behaviour sanitizer ends the test.
  # Without the check of virtual tables: it asks whether memory can be read by writing it into a pipe, which
  # fails, and ends the program, in tests that use up all descriptors or make writes fail.
  add_compile_options(-fsanitize=${VDX_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VDX_SANITIZE})
  # g++ says so by itself; the tests ask.
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND VDX_SANITIZE MATCHES "address")
    add_compile_definitions(__SANITIZE_ADDRESS__=1)
  endif()
endif()
find_package(Threads REQUIRED)
