# SPDX-License-Identifier: MIT
# Defines fuzz targets and writes a list of them for the scripts.

set(ORVANE_FUZZ_LIST "${PROJECT_BINARY_DIR}/fuzz-targets.txt")
file(WRITE "${ORVANE_FUZZ_LIST}" "")

# Adds a libFuzzer program that is linked with the library's objects. The folder corpus/NAME has its seed inputs.
function(orvane_add_fuzz_target name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE orvane_objects)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  file(APPEND "${ORVANE_FUZZ_LIST}" "${CMAKE_CURRENT_BINARY_DIR}/${name}\t${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name}\n")
endfunction()
