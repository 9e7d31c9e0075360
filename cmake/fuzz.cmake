# The fuzz targets, fuzz/NAME.cpp, on what stands in fuzz/driver. With MIM_FUZZ each is a program of libFuzzer's,
# fuzz-NAME; fuzz/run searches with them. Else all are one program, fuzz-replay, and CTest runs each target over
# its seeds, fuzz/corpus/NAME.
file(GLOB fuzz_sources CONFIGURE_DEPENDS fuzz/*.cpp)

function(add_fuzz_program name)
  add_executable(${name} ${ARGN} fuzz/driver/fuzz.cpp)
  target_include_directories(${name} PRIVATE fuzz/driver tests)
  target_compile_definitions(${name} PRIVATE MIM_EXAMPLES="${PROJECT_SOURCE_DIR}/examples")
  target_link_libraries(${name} PRIVATE mim kv mim-private)
endfunction()

# These hold a source of the library.
set(fuzz_insiders types_table charset_table)

if(NOT MIM_FUZZ)
  add_fuzz_program(fuzz-replay ${fuzz_sources} fuzz/driver/replay.cpp)
  # Most of a target's build time is that of the headers.
  set_target_properties(fuzz-replay PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 7)
  foreach(name IN LISTS fuzz_insiders)
    set_source_files_properties(fuzz/${name}.cpp PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endforeach()
endif()
cmake_path(GET PROJECT_BINARY_DIR FILENAME preset)
foreach(source IN LISTS fuzz_sources)
  cmake_path(GET source STEM name)
  set(seeds ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name})
  if(MIM_FUZZ)
    add_fuzz_program(fuzz-${name} ${source} fuzz/driver/search.cpp)
    target_link_options(fuzz-${name} PRIVATE -fsanitize=fuzzer)
    # The library is what is searched, not what it is held against.
    if(NOT name IN_LIST fuzz_insiders)
      target_compile_options(fuzz-${name} PRIVATE -fno-sanitize=all)
    endif()
    add_test(NAME ${preset}.fuzz.${name} COMMAND fuzz-${name} -runs=0 ${seeds})
  else()
    add_test(NAME ${preset}.fuzz.${name} COMMAND fuzz-replay ${name} ${seeds})
  endif()
  set_tests_properties(${preset}.fuzz.${name} PROPERTIES TIMEOUT 300 LABELS ${preset})
  if(IS_DIRECTORY /dev/shm)
    # The files of the homes are written for each case: not to a disk.
    set_tests_properties(${preset}.fuzz.${name} PROPERTIES ENVIRONMENT TMPDIR=/dev/shm)
  endif()
endforeach()
