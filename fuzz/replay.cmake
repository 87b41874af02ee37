# Fuzzing support, included from the top-level CMakeLists.txt.
#
# fuzz.replay runs every input of fuzz/corpus against the program and fails
# when one of them crashes, hangs or draws a sanitizer report; the expected
# results of the inputs are not checked.
add_test(NAME fuzz.replay
  COMMAND ${CASE_PYTHON} ${CMAKE_SOURCE_DIR}/fuzz/replay.py $<TARGET_FILE:brisk>
          ${CMAKE_SOURCE_DIR}/fuzz/corpus)
set_tests_properties(fuzz.replay PROPERTIES TIMEOUT 300)

# brisk-fuzz: the same program with an edge map for coverage-guided fuzzing
# (see fuzz/README.md). The library is compiled a second time with the
# coverage hook, so this is off unless asked for.
option(BRISK_FUZZ_MAP "Also build brisk-fuzz, which records an edge map for the fuzzer" OFF)
if(BRISK_FUZZ_MAP)
  add_library(brisklib-fuzz STATIC ${LIB_SOURCES} ${PARSER_C})
  target_include_directories(brisklib-fuzz PUBLIC ${CMAKE_SOURCE_DIR})
  target_compile_options(brisklib-fuzz PRIVATE -fsanitize-coverage=trace-pc)
  add_library(brisk-edgemap OBJECT fuzz/edgemap.cpp)
  add_executable(brisk-fuzz driver/main.cpp $<TARGET_OBJECTS:brisk-edgemap>)
  target_compile_options(brisk-fuzz PRIVATE -fsanitize-coverage=trace-pc)
  target_link_libraries(brisk-fuzz brisklib-fuzz)
endif()
