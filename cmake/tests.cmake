# The tests, run by CTest. Each test's name begins with the preset's, so that one run can hold several.
#   tests/*.cpp        mim-tests, one GoogleTest program
#   tests/alone/*.cpp  a GoogleTest program each: they replace services, or need a process of their own
#   tests/c/*.c        a C program each, good when it exits 0
#   tests/tool/        golden cases of the mim command, and of the completion of its arguments
#   tests/consumer/    a program outside the project that uses an installed copy
#   tests/package/     the Debian packages: what they hold, installing and removing them
include(CTest)
include(GoogleTest)

set(googletest /usr/src/googletest)
if(NOT EXISTS ${googletest}/CMakeLists.txt)
  message(STATUS "No ${googletest} (Debian's package googletest): the tests are left out")
  return()
endif()
set(INSTALL_GTEST OFF)
add_subdirectory(${googletest} googletest EXCLUDE_FROM_ALL)
# What it does by itself takes no time; compiling it does.
target_compile_options(gtest PRIVATE -O0 -g0 -U_FORTIFY_SOURCE)

cmake_path(GET PROJECT_BINARY_DIR FILENAME preset)
set(test_timeout 300)
set(MIM_TEST_FILES "" CACHE STRING "Regular expression: of tests/*.cpp only these, and no other tests")

# Links one test program and tells it where the things stand that it reads or runs.
function(add_test_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE mim kv mim-private)
  target_compile_definitions(${name} PRIVATE
    MIM_TOOL="$<TARGET_FILE:mim-tool>"
    MIM_EXAMPLES="${PROJECT_SOURCE_DIR}/examples"
    MIM_TESTS="${PROJECT_SOURCE_DIR}/tests")
  if(NOT MIM_TEST_FILES)
    add_dependencies(${name} mim-tool)
  endif()
endfunction()

function(add_gtest_program name)
  add_test_program(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE GTest::gtest_main)
  # A service that a test defines itself must win over libkv's.
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
  gtest_discover_tests(${name}
    TEST_PREFIX ${preset}.
    DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT ${test_timeout} LABELS ${preset})
endfunction()

file(GLOB test_sources CONFIGURE_DEPENDS tests/*.cpp)
if(MIM_TEST_FILES)
  list(FILTER test_sources INCLUDE REGEX "/(${MIM_TEST_FILES})[^/]*$")
endif()
if(test_sources)
  add_gtest_program(mim-tests ${test_sources})
  if(MIM_PRECOMPILE)
    target_precompile_headers(mim-tests PRIVATE <gtest/gtest.h>)
  endif()
endif()
if(MIM_TEST_FILES)
  return()
endif()

file(GLOB alone_sources CONFIGURE_DEPENDS tests/alone/*.cpp)
foreach(source IN LISTS alone_sources)
  cmake_path(GET source STEM name)
  add_gtest_program(mim-tests-${name} ${source})
endforeach()

# Every public header can be included by itself, in C and in C++; tests/c/headers.c includes them all.
set(headers_dir ${PROJECT_BINARY_DIR}/headers)
file(GLOB public_headers CONFIGURE_DEPENDS src/include/*.h src/lib/mim/mim.h)
foreach(header IN LISTS public_headers)
  cmake_path(GET header FILENAME name)
  string(APPEND all_headers "#include \"${name}\"\n")
  foreach(suffix IN ITEMS c cpp)
    set(source ${headers_dir}/${name}.${suffix})
    file(CONFIGURE OUTPUT ${source} CONTENT "#include \"@name@\"\n\ntypedef int not_an_empty_unit;\n" @ONLY)
    list(APPEND header_sources ${source})
  endforeach()
endforeach()
file(CONFIGURE OUTPUT ${headers_dir}/all_public_headers.h CONTENT "@all_headers@" @ONLY)
add_library(public-headers OBJECT ${header_sources})
target_link_libraries(public-headers PRIVATE mim kv mim-flags)

file(GLOB c_sources CONFIGURE_DEPENDS tests/c/*.c)
foreach(source IN LISTS c_sources)
  cmake_path(GET source STEM name)
  add_test_program(mim-c-${name} ${source})
  target_include_directories(mim-c-${name} PRIVATE ${headers_dir})
  add_test(NAME ${preset}.c.${name} COMMAND mim-c-${name})
  set_tests_properties(${preset}.c.${name} PROPERTIES TIMEOUT ${test_timeout} LABELS ${preset})
endforeach()

add_test(NAME ${preset}.tool-golden COMMAND ${PROJECT_SOURCE_DIR}/tests/tool/run $<TARGET_FILE:mim-tool>)
set_tests_properties(${preset}.tool-golden PROPERTIES TIMEOUT ${test_timeout} LABELS ${preset})

if(MIM_STAGED_INSTALL)
  add_test(NAME ${preset}.staged-install
    COMMAND ${PROJECT_SOURCE_DIR}/tests/consumer/run ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}/examples/home)
  set_tests_properties(${preset}.staged-install PROPERTIES TIMEOUT ${test_timeout} LABELS ${preset})
  add_test(NAME ${preset}.completion COMMAND ${PROJECT_SOURCE_DIR}/tests/tool/completion $<TARGET_FILE:mim-tool>)
  set_tests_properties(${preset}.completion PROPERTIES TIMEOUT ${test_timeout} LABELS ${preset})
  add_test(NAME ${preset}.packages COMMAND ${PROJECT_SOURCE_DIR}/tests/package/run ${PROJECT_BINARY_DIR})
  set_tests_properties(${preset}.packages PROPERTIES
    TIMEOUT ${test_timeout} LABELS ${preset} SKIP_RETURN_CODE 77)
endif()
