# SPDX-License-Identifier: MIT
# The compile options of all targets.

if(ORVANE_SANITIZE AND ORVANE_REAL_TIME_CHECKS)
  message(FATAL_ERROR "ORVANE_SANITIZE and ORVANE_REAL_TIME_CHECKS exclude each other: both replace the allocator.")
endif()
if(ORVANE_BUILD_FUZZERS AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "ORVANE_BUILD_FUZZERS needs Clang; the compiler is ${CMAKE_CXX_COMPILER_ID}.")
endif()

add_library(orvane_compile INTERFACE)
target_compile_features(orvane_compile INTERFACE cxx_std_20)
target_compile_options(orvane_compile INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Wold-style-cast
  # Clang's version of this warning also warns about defaulted destructors.
  $<$<CXX_COMPILER_ID:GNU>:-Wdeprecated-copy-dtor>
  # Level and tone arithmetic is defined to the bit: a fused multiply-add would round differently.
  -ffp-contract=off
  -fvisibility=hidden -fvisibility-inlines-hidden)
if(ORVANE_REAL_TIME_CHECKS)
  target_compile_definitions(orvane_compile INTERFACE ORVANE_REAL_TIME_CHECKS=1)
endif()
if(ORVANE_SANITIZE)
  target_compile_options(orvane_compile INTERFACE
    -fsanitize=${ORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(orvane_compile INTERFACE -fsanitize=${ORVANE_SANITIZE})
endif()
if(ORVANE_BUILD_FUZZERS)
  # Coverage counters for the fuzzer; a program without the fuzzer's driver ignores them.
  target_compile_options(orvane_compile INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(orvane_compile INTERFACE -fsanitize=fuzzer-no-link)
endif()
