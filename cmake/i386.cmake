# Toolchain of the i386 preset: the machine's own compiler with -m32, and GLib from the directory that
# tools/i386-sysroot makes. The programs run here and find that GLib by their RPATH.
get_filename_component(i386_sysroot ${CMAKE_CURRENT_LIST_DIR}/../build/i386-sysroot ABSOLUTE)
set(i386_libraries ${i386_sysroot}/usr/lib/i386-linux-gnu)
if(NOT EXISTS ${i386_sysroot}/.complete)
  message(FATAL_ERROR "${i386_sysroot} is missing: run tools/i386-sysroot first")
endif()

set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${i386_sysroot})
set(ENV{PKG_CONFIG_LIBDIR} ${i386_libraries}/pkgconfig)

# RPATH, not the newer RUNPATH: it also serves what GLib itself needs.
set(CMAKE_BUILD_RPATH ${i386_libraries})
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,--disable-new-dtags)
