# Every compiler and linker flag of the project stands here. tools/hardening reads them back from the binaries.
# `mim-flags` carries what only our own code obeys (the warnings); the rest holds for GoogleTest too, which
# is built from its sources with each preset's flags.
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
check_pie_supported()

set(CMAKE_C_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_C_FLAGS_DEBUG "-Og -g")
set(CMAKE_CXX_FLAGS_DEBUG "-Og -g")
if(MIM_FUZZ)
  # What fuzzing finds grows with the cases that it tries in a second.
  # Following every comparison would take more than half of the time; there are dictionaries instead.
  set(CMAKE_CXX_FLAGS_DEBUG "-O2 -g1 -fno-sanitize-coverage=trace-cmp")
endif()

add_library(mim-flags INTERFACE)
target_compile_options(mim-flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wzero-as-null-pointer-constant>)

# For what is installed. The tests and GoogleTest stay at -O2, where g++ 12 has no false alarms about strings.
add_library(mim-optimized INTERFACE)
target_compile_options(mim-optimized INTERFACE $<$<CONFIG:Release>:-O3>)

add_compile_definitions(_GLIBCXX_ASSERTIONS)
add_link_options(LINKER:--as-needed)

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Bodies past 2 GiB and dates past 2038 on the 32-bit home as well.
  add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

if(MIM_SANITIZE OR MIM_PRECOMPILE)
  # Line numbers are all that a report takes; the rest of the debug information costs time.
  add_compile_options(-g1)
endif()

if(MIM_SANITIZE)
  add_compile_options(-fsanitize=${MIM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${MIM_SANITIZE})
else()
  # A sanitized library finds its runtime only in the program, so this can hold only without.
  add_link_options(LINKER:-z,defs)
endif()

if(MIM_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
  add_compile_definitions(MIM_COVERAGE)
endif()

if(CMAKE_BUILD_TYPE STREQUAL "Release")
  # An older compiler warns that level 3 is beyond it, and gets 2.
  set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
  check_cxx_source_compiles("#include <cstring>\nint main() {}" MIM_FORTIFY_3)
  unset(CMAKE_REQUIRED_FLAGS)
  if(MIM_FORTIFY_3)
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  else()
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  endif()
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection)
  add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
    # The linker keeps only the marks that every object has, and Debian's C start files have none.
    add_link_options(LINKER:-z,ibt,-z,shstk)
  endif()
endif()
