# Cross build for Linux arm64 with Debian's cross compilers; libraries and headers of the target
# come from Debian's arm64 packages installed beside the native ones (multiarch). Built programs
# run under qemu-aarch64, which finds the arm64 loader and libraries in their multiarch places.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(XQT_TARGET_TRIPLE aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${XQT_TARGET_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${XQT_TARGET_TRIPLE}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${XQT_TARGET_TRIPLE})

# Headers and libraries of the target only; programs (pkg-config, bash) of the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/${XQT_TARGET_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# pkg-config reads the arm64 .pc files only.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${XQT_TARGET_TRIPLE}/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

# The emulator also tells the tests that they run emulated (tests/reliability).
find_program(XQT_QEMU qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${XQT_QEMU} -E XQT_EMULATOR=1)
