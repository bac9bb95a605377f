# What makes a bug in a program or library harder to exploit. Every target that a user runs or links
# has it, in each optimized configuration; tests and benchmarks only link it.
# tests/package/check_hardening.sh reads the result.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

check_pie_supported(LANGUAGES CXX)
check_cxx_compiler_flag(-fcf-protection=full CORVANE_HAS_CF_PROTECTION)
check_cxx_compiler_flag(-fstack-clash-protection CORVANE_HAS_STACK_CLASH_PROTECTION)

# corvane_hardened(target): stack protector, checked library calls, position-independent code, and for
# programs relocations that are read-only once the program runs. Sanitizers bring checks of their own,
# which these would hide.
function(corvane_hardened target)
  set_property(GLOBAL APPEND PROPERTY CORVANE_HARDENED_TARGETS ${target})
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  if(CORVANE_SANITIZE)
    return()
  endif()
  # glibc checks calls only in optimized code. A compiler may have _FORTIFY_SOURCE defined already.
  set(options -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  if(CORVANE_HAS_CF_PROTECTION)
    list(APPEND options -fcf-protection=full)
  endif()
  if(CORVANE_HAS_STACK_CLASH_PROTECTION)
    list(APPEND options -fstack-clash-protection)
  endif()
  target_compile_options(${target} PRIVATE "$<$<NOT:$<CONFIG:Debug>>:${options}>")
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now,-z,noexecstack)
  endif()
endfunction()
