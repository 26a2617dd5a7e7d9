# The compile rules that every target of the project shares.

add_library(orvane_compile INTERFACE)
target_compile_features(orvane_compile INTERFACE cxx_std_20)
target_compile_options(orvane_compile INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Wold-style-cast -Werror
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

find_program(ORVANE_CCACHE ccache)
if(ORVANE_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${ORVANE_CCACHE}")
endif()
