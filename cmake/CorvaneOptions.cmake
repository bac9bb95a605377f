# What gets built. The `core` preset switches everything off but the module and its unit tests.
option(CORVANE_LINUX "Build the Linux platform (adapters/linux)" ON)
option(CORVANE_EMULATOR "Build the local Drive and OAuth emulator" ${PROJECT_IS_TOP_LEVEL})
option(CORVANE_CLI "Build the corvane program" ${PROJECT_IS_TOP_LEVEL})
option(CORVANE_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(CORVANE_BENCH "Build the benchmarks (bench/run does)" OFF)
option(CORVANE_FUZZ "Build the fuzz targets with clang's libFuzzer (scripts/fuzz does)" OFF)
option(CORVANE_WERROR "Treat warnings as errors" OFF)
set(CORVANE_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. 'address,undefined' or 'thread'")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

if(CORVANE_SANITIZE)
  add_compile_options(-fsanitize=${CORVANE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${CORVANE_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # g++ 12 takes the instrumentation of variants for reads of uninitialized memory.
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
  if(CORVANE_SANITIZE MATCHES "thread")
    # Boost.Asio's fenced blocks use stand-alone fences, which ThreadSanitizer does not model.
    add_compile_definitions(BOOST_ASIO_DISABLE_FENCED_BLOCK)
  endif()
endif()
