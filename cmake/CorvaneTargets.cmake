# corvane_warnings(target): the house's warning level.
function(corvane_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
  # At -O3 g++ 12 sees overlaps within std::string's operator+ that are not there (GCC bug 105651).
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE "$<$<CONFIG:Release>:-Wno-restrict>")
  endif()
  if(CORVANE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# corvane_adapter(name SOURCES ... LIBRARIES ...): one adapter folder, one static library `corvane_linux_<name>`.
# Adapters see the vocabulary, the platform interfaces and the small pieces in adapters/linux itself.
function(corvane_adapter name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_library(corvane_linux_${name} STATIC ${ARG_SOURCES})
  target_include_directories(corvane_linux_${name} PRIVATE
    "${PROJECT_SOURCE_DIR}/adapters/linux" "${PROJECT_SOURCE_DIR}/adapters/linux/include")
  target_link_libraries(corvane_linux_${name} PUBLIC corvane_interfaces PRIVATE ${ARG_LIBRARIES})
  corvane_hardened(corvane_linux_${name})
  corvane_warnings(corvane_linux_${name})
endfunction()

# corvane_test(name SOURCES ... LIBRARIES ... LABELS ...): a GoogleTest program found case by case by CTest.
function(corvane_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gmock_main)
  corvane_warnings(${name})
  # Tests are built more often than they are run; and at -O3 g++ 12 warns of overflows that are none.
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O1>)
  target_precompile_headers(${name} REUSE_FROM corvane_gtest_headers)
  if("concurrency" IN_LIST ARG_LABELS)
    if(NOT TARGET corvane_concurrency_tests)
      add_custom_target(corvane_concurrency_tests)
    endif()
    add_dependencies(corvane_concurrency_tests ${name})
  endif()
  # Test discovery keeps only one label, so several are joined; `ctest -L` finds each, as it matches a part.
  list(JOIN ARG_LABELS "+" label)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS "${label}" TIMEOUT 120)
endfunction()
