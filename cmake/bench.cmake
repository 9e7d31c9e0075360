# mim-bench: Google Benchmark over bench/*.cpp.
find_package(benchmark QUIET)
file(GLOB bench_sources CONFIGURE_DEPENDS bench/*.cpp)
if(benchmark_FOUND AND bench_sources)
  add_executable(mim-bench ${bench_sources})
  target_link_libraries(mim-bench PRIVATE mim kv mim-private benchmark::benchmark_main)
  # The scan that the parser is held against is a loop of four instructions: its time must not hang on its place.
  target_compile_options(mim-bench PRIVATE -falign-loops=32)
  target_compile_definitions(mim-bench PRIVATE MIM_EXAMPLES="${PROJECT_SOURCE_DIR}/examples")
  # A peer to be held against, where it is installed.
  pkg_check_modules(GMIME IMPORTED_TARGET gmime-3.0)
  if(GMIME_FOUND)
    target_link_libraries(mim-bench PRIVATE PkgConfig::GMIME)
    target_compile_definitions(mim-bench PRIVATE MIM_HAS_GMIME)
  endif()
else()
  message(STATUS "No Google Benchmark or no bench/*.cpp: mim-bench is left out")
endif()

# mim-cost: what hostile input costs, under valgrind (bench/cost/run).
find_path(VALGRIND_INCLUDE_DIR valgrind/callgrind.h)
if(VALGRIND_INCLUDE_DIR)
  add_executable(mim-cost EXCLUDE_FROM_ALL bench/cost/cost.cpp)
  target_include_directories(mim-cost SYSTEM PRIVATE ${VALGRIND_INCLUDE_DIR})
  target_link_libraries(mim-cost PRIVATE mim kv mim-private)
endif()

# mim-soak: does it keep its size (bench/soak/run). The service calls that fail are those of the tests.
add_executable(mim-soak EXCLUDE_FROM_ALL bench/soak/soak.cpp tests/service_spy.cpp)
target_include_directories(mim-soak PRIVATE tests)
target_link_libraries(mim-soak PRIVATE mim kv mim-private)
set_target_properties(mim-soak PROPERTIES ENABLE_EXPORTS ON)
