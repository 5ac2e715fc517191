# Cross build for Linux on 32-bit x86, the product's own platform.
#
# Compiler: Debian's cross compiler (g++-i686-linux-gnu), which brings its
# own i386 C and C++ libraries under /usr/i686-linux-gnu. Everything else the
# build needs for i386 (libtirpc, zlib, GoogleTest) sits in a sysroot made by
# scripts/i386: Debian i386 packages unpacked with dpkg -x, plus GoogleTest
# built from source. The same sysroot holds an i386 runtime (C library, C++
# library and the libraries' dependencies), so test programs run under
# user-mode emulation, qemu-i386 -L SYSROOT, which CTest uses for every test.
#
# The sysroot is PXINFO_I386_SYSROOT (a cache variable or the environment
# variable of that name), by default the directory "sysroot" of the build.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)

set(PXINFO_I386_TRIPLET i686-linux-gnu)
set(CMAKE_C_COMPILER ${PXINFO_I386_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${PXINFO_I386_TRIPLET}-g++)

if(NOT PXINFO_I386_SYSROOT)
  if(DEFINED ENV{PXINFO_I386_SYSROOT})
    set(PXINFO_I386_SYSROOT $ENV{PXINFO_I386_SYSROOT})
  else()
    set(PXINFO_I386_SYSROOT ${CMAKE_BINARY_DIR}/sysroot)
  endif()
endif()
set(PXINFO_I386_SYSROOT ${PXINFO_I386_SYSROOT} CACHE PATH "i386 sysroot made by scripts/i386")
# Test compilations (try_compile) read this file again in a directory of
# their own: hand them the same sysroot.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PXINFO_I386_SYSROOT)

# Libraries, headers and CMake packages come from the sysroot and the cross
# compiler's tree; programs (rpcgen, nm, pkg-config) from the build machine.
set(CMAKE_FIND_ROOT_PATH ${PXINFO_I386_SYSROOT} /usr/${PXINFO_I386_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# A consumer of an installed tree outside the sysroot (the installation test)
# asks for BOTH.
if(NOT DEFINED CMAKE_FIND_ROOT_PATH_MODE_PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
endif()

# pkg-config answers for the sysroot's i386 packages only; scripts/i386 makes
# their files name paths inside the sysroot.
set(PXINFO_I386_PKG_CONFIG_LIBDIR
    "${PXINFO_I386_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:${PXINFO_I386_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_LIBDIR} ${PXINFO_I386_PKG_CONFIG_LIBDIR})
set(ENV{PKG_CONFIG_PATH} "")

# The linker resolves the dependencies of the sysroot's shared libraries
# (libtirpc needs the Kerberos libraries) without linking them directly.
foreach(dir lib/${CMAKE_LIBRARY_ARCHITECTURE} usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
  string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-rpath-link,${PXINFO_I386_SYSROOT}/${dir}")
  string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT " -Wl,-rpath-link,${PXINFO_I386_SYSROOT}/${dir}")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-i386 -L ${PXINFO_I386_SYSROOT})

# Tests that build and run programs of their own (the installation test) get
# the compilers, the command that runs a program, and the CMake arguments of
# this platform from these environment variables.
set(PXINFO_CROSS_TEST_ENVIRONMENT
  "PXINFO_TEST_CC=${CMAKE_C_COMPILER}${CMAKE_EXE_LINKER_FLAGS_INIT}"
  "PXINFO_TEST_CXX=${CMAKE_CXX_COMPILER}${CMAKE_EXE_LINKER_FLAGS_INIT}"
  "PXINFO_TEST_RUN=qemu-i386 -L ${PXINFO_I386_SYSROOT}"
  "PXINFO_TEST_CMAKE_ARGS=-DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE} -DPXINFO_I386_SYSROOT=${PXINFO_I386_SYSROOT} -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH"
  "PKG_CONFIG_LIBDIR=${PXINFO_I386_PKG_CONFIG_LIBDIR}")
