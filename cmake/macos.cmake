# Cross build of one slice of the macOS library (x86_64 or arm64, in XQT_MACOS_ARCH) with Debian's
# clang and ld64.lld, against the Darwin headers and stubs that tools/macos/fetch_darwin.sh put in
# XQT_DARWIN. Only the library is built: nothing here can run it.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${XQT_MACOS_ARCH})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES XQT_MACOS_ARCH XQT_DARWIN)

set(CMAKE_C_COMPILER clang-14)
set(CMAKE_CXX_COMPILER clang++-14)
set(CMAKE_C_COMPILER_TARGET ${XQT_MACOS_ARCH}-apple-macos11.0)
set(CMAKE_CXX_COMPILER_TARGET ${XQT_MACOS_ARCH}-apple-macos11.0)
set(CMAKE_OSX_ARCHITECTURES ${XQT_MACOS_ARCH})
set(CMAKE_OSX_DEPLOYMENT_TARGET 11.0)
set(CMAKE_OSX_SYSROOT "")

# The headers: libc++'s, clang's own, then Darwin's for this processor and for every one.
if(XQT_MACOS_ARCH STREQUAL "arm64")
  set(darwin_arch aarch64)
else()
  set(darwin_arch x86_64)
endif()
string(JOIN " " headers -nostdinc -nostdinc++
  -isystem /usr/lib/llvm-14/include/c++/v1 -isystem /usr/lib/clang/14.0.6/include
  -isystem ${XQT_DARWIN}/include/${darwin_arch}-macos.11-none
  -isystem ${XQT_DARWIN}/include/any-macos.11-any -isystem ${XQT_DARWIN}/include/any-macos-any)
set(CMAKE_C_FLAGS_INIT "${headers}")
set(CMAKE_CXX_FLAGS_INIT "${headers}")

# ld64.lld 14 wants the platform version spelled out; the stubs stand in for the system's
# libraries, and only our libc++ stub may be bound.
set(link "-Qunused-arguments -fuse-ld=/usr/bin/ld64.lld-14 -nostdlib++ -L${XQT_DARWIN}/lib -lc++ -Wl,-platform_version,macos,11.0,11.0")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${link}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${link}")

set(XQT_HOST OFF CACHE BOOL "" FORCE)
set(XQT_TESTS OFF CACHE BOOL "" FORCE)
