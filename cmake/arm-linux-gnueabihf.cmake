# Debian's cross compiler for the controller, and qemu to run what it makes.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)

# The program's libraries, as tools/sysroot unpacks them. Without them only the
# library is built, never with the libraries of the building machine.
set(POLAIGA_SYSROOT "" CACHE PATH "Directory of the controller's libraries")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES POLAIGA_SYSROOT)
set(sysroot_libraries ${POLAIGA_SYSROOT}/usr/lib/arm-linux-gnueabihf)
set(ENV{PKG_CONFIG_LIBDIR} ${sysroot_libraries}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${POLAIGA_SYSROOT})

# Everything is built by one compiler: how older ones passed arguments does not matter.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
if(POLAIGA_SYSROOT)
  list(APPEND CMAKE_FIND_ROOT_PATH ${POLAIGA_SYSROOT})
  # Headers of one machine alone, which headers of libraries ask for by themselves.
  string(APPEND CMAKE_CXX_FLAGS_INIT " -isystem ${POLAIGA_SYSROOT}/usr/include/arm-linux-gnueabihf")
  # Where the linker looks for what these libraries need themselves. So does the
  # loader, when a program of the build tree runs: the older tag holds for them, too.
  set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${sysroot_libraries} -Wl,--disable-new-dtags")
  # The program's own run path is that of an installed one.
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -E LD_LIBRARY_PATH=${sysroot_libraries})
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Libraries of headers alone are those of the building machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
