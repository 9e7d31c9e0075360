# libFuzzer: fuzz/NAME.cpp becomes the program fuzz-NAME. CTest runs each over its seeds, fuzz/corpus/NAME;
# to search further, run the program with a directory for its finds and then that one.
include(CTest)

file(GLOB fuzz_sources CONFIGURE_DEPENDS fuzz/*.cpp)
foreach(source IN LISTS fuzz_sources)
  cmake_path(GET source STEM name)
  add_executable(fuzz-${name} ${source})
  target_link_libraries(fuzz-${name} PRIVATE mim kv mim-private)
  target_link_options(fuzz-${name} PRIVATE -fsanitize=fuzzer)
  add_test(NAME fuzz.${name} COMMAND fuzz-${name} -runs=0 ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name})
  set_tests_properties(fuzz.${name} PROPERTIES TIMEOUT 120 LABELS fuzz)
endforeach()
