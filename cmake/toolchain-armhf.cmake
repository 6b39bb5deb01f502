# Cross-builds for 32-bit ARM Debian 12 against the sysroot that scripts/make-armhf-sysroot makes; its path is in
# LUMO_ARMHF_SYSROOT, in the cache or in the environment. Programs of the build run under user emulation.
if(NOT LUMO_ARMHF_SYSROOT)
  set(LUMO_ARMHF_SYSROOT "$ENV{LUMO_ARMHF_SYSROOT}" CACHE PATH "What scripts/make-armhf-sysroot prints")
endif()
if(NOT EXISTS "${LUMO_ARMHF_SYSROOT}/usr/include")
  message(FATAL_ERROR "There is no sysroot at '${LUMO_ARMHF_SYSROOT}': export LUMO_ARMHF_SYSROOT=$(scripts/make-armhf-sysroot)")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES LUMO_ARMHF_SYSROOT)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_SYSROOT "${LUMO_ARMHF_SYSROOT}")
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# Only one compiler's code is linked here; that another major version passes some arguments otherwise is no news.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm-static;-L;${LUMO_ARMHF_SYSROOT}")

# Tools are this machine's; what is linked or included is the device's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${LUMO_ARMHF_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
  "${LUMO_ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${LUMO_ARMHF_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
