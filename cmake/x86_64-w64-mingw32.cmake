# Cross build for Windows x86-64 with Debian's mingw-w64 compilers (the posix thread model, for
# std::thread). Everything is linked statically, so the DLL and the test programs need only the
# system's own DLLs. Built programs run under wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(XQT_TARGET_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${XQT_TARGET_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${XQT_TARGET_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${XQT_TARGET_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${XQT_TARGET_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

# The tests run under wine where it is installed; the emulator also tells them that they run
# emulated (tests/reliability).
find_program(XQT_WINE wine64 PATHS /usr/lib/wine)
if(XQT_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR env WINEDEBUG=-all XQT_EMULATOR=1 ${XQT_WINE})
endif()
