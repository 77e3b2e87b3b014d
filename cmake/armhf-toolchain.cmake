# 32-bit ARM with hardware floating point, as on the boards that this product runs on. The compiler and its libraries
# are Debian's cross packages; programs run here under user-mode emulation, so that ctest needs no board.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(TAVO_ARMHF_TRIPLET arm-linux-gnueabihf)
set(TAVO_ARMHF_LIBRARIES /usr/${TAVO_ARMHF_TRIPLET})

set(TAVO_ARMHF_COMPILER gnu CACHE STRING "Compiler for 32-bit ARM: gnu or clang")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TAVO_ARMHF_COMPILER)
if(TAVO_ARMHF_COMPILER STREQUAL "clang")
  set(CMAKE_C_COMPILER clang)
  set(CMAKE_CXX_COMPILER clang++)
  set(CMAKE_C_COMPILER_TARGET ${TAVO_ARMHF_TRIPLET})
  set(CMAKE_CXX_COMPILER_TARGET ${TAVO_ARMHF_TRIPLET})
else()
  set(CMAKE_C_COMPILER ${TAVO_ARMHF_TRIPLET}-gcc)
  set(CMAKE_CXX_COMPILER ${TAVO_ARMHF_TRIPLET}-g++)
endif()
set(CMAKE_NM ${TAVO_ARMHF_TRIPLET}-nm)
set(CMAKE_READELF ${TAVO_ARMHF_TRIPLET}-readelf)

set(CMAKE_FIND_ROOT_PATH ${TAVO_ARMHF_LIBRARIES})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
# Headers and packages that hold no machine code (the command line library) are the same on every machine.
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_LIBRARY_ARCHITECTURE ${TAVO_ARMHF_TRIPLET})

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${TAVO_ARMHF_LIBRARIES})
