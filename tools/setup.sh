#!/usr/bin/env bash
# Installs what is missing (Debian packages, as root), builds, and runs one job:
#   demo      build the plug-in and xqt, run `xqt demo`
#   test      optimised build with warnings as errors, run every test
#   sanitize  Clang build under AddressSanitizer and UndefinedBehaviorSanitizer, run every test
#   fuzz      Clang fuzzer build; fuzz for FUZZ_SECONDS (60) from a copy of the committed corpus
#   arm64     cross build for Linux arm64, run every test under qemu-aarch64
#   windows   cross build for Windows x86-64 with mingw-w64, run every test under wine
#   coverage  GCC build with --coverage, run every test, print line and branch coverage of src/
#             and host/
#   package   build the Linux x86-64 and arm64, Windows x86-64 and universal macOS libraries and
#             write build/Images.xojo_plugin
set -euo pipefail
cd "$(dirname "$0")/.."

job=${1:-}
case "$job" in demo | test | sanitize | fuzz | arm64 | windows | coverage | package) ;; *)
  echo "usage: $0 demo|test|sanitize|fuzz|arm64|windows|coverage|package" >&2
  exit 2
  ;;
esac

packages=(cmake ninja-build g++ clang libclang-rt-14-dev libgtest-dev libgmock-dev libgd-dev libcairo2-dev pkg-config
  libpng-dev libjpeg62-turbo-dev)
# The arm64 build: Debian's cross compiler, its emulator, and the libraries of the tests and the
# emulated host in their arm64 builds, installed beside the native ones.
cross=false
case "$job" in arm64 | package)
  cross=true
  packages+=(g++-aarch64-linux-gnu qemu-user zip unzip libgtest-dev:arm64 libgmock-dev:arm64
    libgd-dev:arm64 libcairo2-dev:arm64 libpng-dev:arm64 libjpeg62-turbo-dev:arm64)
  ;;
esac
# Windows: Debian's mingw-w64; macOS: clang and ld64.lld with libc++'s headers, and npm for the
# Darwin headers (tools/macos/fetch_darwin.sh).
case "$job" in windows | package)
  packages+=(g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64)
  ;;
esac
case "$job" in windows) packages+=(wine64) ;; esac
case "$job" in coverage) packages+=(gcovr) ;; esac
case "$job" in package)
  packages+=(lld-14 llvm-14 libc++-14-dev libc++abi-14-dev)
  # A machine may have npm and python3 from elsewhere than Debian's packages; either will do.
  command -v npm >/dev/null || packages+=(npm)
  command -v python3 >/dev/null || packages+=(python3)
  ;;
esac
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  if $cross && ! dpkg --print-foreign-architectures | grep -qx arm64; then
    dpkg --add-architecture arm64
  fi
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

jobs=$(nproc 2>/dev/null || echo 2)
# The optimised builds that the test, arm64 and package jobs share.
configure_native() {
  cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DXQT_WERROR=ON -DXQT_TESTS=ON >/dev/null
}
# The package needs the DLL alone; the windows job adds the emulated host and the tests.
configure_windows() {
  cmake -S . -B build-win -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/x86_64-w64-mingw32.cmake \
    -DCMAKE_BUILD_TYPE=Release -DXQT_WERROR=ON "$@" >/dev/null
}
# One build per slice of the universal macOS library.
build_macos() {
  bash tools/macos/fetch_darwin.sh build-darwin
  for arch in x86_64 arm64; do
    cmake -S . -B "build-macos-$arch" -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/macos.cmake \
      -DXQT_MACOS_ARCH=$arch -DXQT_DARWIN="$PWD/build-darwin" -DCMAKE_BUILD_TYPE=Release \
      -DXQT_WERROR=ON >/dev/null
    cmake --build "build-macos-$arch" --target Images
  done
  llvm-lipo-14 -create build-macos-x86_64/libImages.dylib build-macos-arm64/libImages.dylib \
    -output build/libImages.dylib
}
configure_arm64() {
  cmake -S . -B build-arm64 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake \
    -DCMAKE_BUILD_TYPE=Release -DXQT_WERROR=ON -DXQT_TESTS=ON >/dev/null
}
case "$job" in
demo)
  cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
  cmake --build build --target xqt
  ./build/xqt demo
  ;;
test)
  configure_native
  cmake --build build
  ctest --test-dir build --output-on-failure -j "$jobs"
  ;;
sanitize)
  CC=clang CXX=clang++ cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DXQT_WERROR=ON -DXQT_SANITIZE=ON -DXQT_TESTS=ON >/dev/null
  cmake --build build-asan
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --test-dir build-asan --output-on-failure -j "$jobs"
  ;;
fuzz)
  CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DXQT_SANITIZE=ON -DXQT_FUZZ=ON >/dev/null
  cmake --build build-fuzz --target images_fuzzer Images
  corpus=$(mktemp -d)
  trap 'rm -rf "$corpus"' EXIT
  cp tests/fuzz/corpus/* "$corpus"/
  # Crash inputs land in build-fuzz/ (crash-<hash>); docs/reliability.md says how to replay them.
  cd build-fuzz
  if ! XQT_PLUGIN=$PWD/libImages.so ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1 \
    ./images_fuzzer -max_total_time="${FUZZ_SECONDS:-60}" -timeout=20 -rss_limit_mb=4096 \
    -print_final_stats=1 "$corpus" >fuzz.log 2>&1; then
    tail -n 120 fuzz.log
    exit 1
  fi
  grep -E '^#[0-9]+[[:space:]]+DONE|^stat::' fuzz.log
  ;;
arm64)
  configure_arm64
  cmake --build build-arm64
  ctest --test-dir build-arm64 --output-on-failure -j "$jobs"
  ;;
coverage)
  # Unoptimised, so that lines and branches map to the source; atomic counters, since worker
  # threads run the same code at once. The counters of every test process add up.
  flags="--coverage -fprofile-update=atomic"
  cmake -S . -B build-cov -G Ninja -DCMAKE_BUILD_TYPE=Debug -DXQT_TESTS=ON \
    -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_C_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS=--coverage \
    -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
  cmake --build build-cov
  find build-cov -name '*.gcda' -delete
  # The figures are printed also when a test fails, and the job fails after them.
  status=0
  ctest --test-dir build-cov --output-on-failure -j "$jobs" || status=$?
  for part in "src/ host/" "src/"; do
    echo "coverage of $part:"
    filters=()
    for folder in $part; do filters+=(--filter "$folder"); done
    # The report goes to a file of the build: gcovr tries an output path by creating and then
    # deleting it, which would take /dev/null away.
    gcovr --root . "${filters[@]}" --object-directory build-cov --print-summary \
      --txt build-cov/coverage.txt build-cov | grep -E '^(lines|branches):'
  done
  exit "$status"
  ;;
windows)
  # A fresh machine's wine prefix is made once here, not by two test programs at once (the build
  # lists each program's tests under wine). No Mono or Gecko is needed.
  WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" /usr/lib/wine/wine64 wineboot --init \
    >/dev/null 2>&1 || true
  configure_windows -DXQT_HOST=ON -DXQT_TESTS=ON
  cmake --build build-win
  ctest --test-dir build-win --output-on-failure -j "$jobs"
  ;;
package)
  configure_native
  cmake --build build --target Images make_reference
  configure_arm64
  cmake --build build-arm64 --target Images
  configure_windows -DXQT_HOST=OFF -DXQT_TESTS=OFF
  cmake --build build-win --target Images
  build_macos
  stage=$(mktemp -d)
  trap 'rm -rf "$stage"' EXIT
  resources="$stage/Images/Build Resources"
  help="$stage/Images/IDE Resources/Help"
  mkdir -p "$resources/Linux x86-64" "$resources/Linux arm64" "$resources/Windows x86-64" \
    "$resources/Mac Universal" "$help"
  cp build/libImages.so "$resources/Linux x86-64/"
  cp build-arm64/libImages.so "$resources/Linux arm64/"
  cp build-win/Images.dll "$resources/Windows x86-64/"
  cp build/libImages.dylib "$resources/Mac Universal/"
  ./build/make_reference tools/reference/descriptions.txt "$help/index.html" build/libImages.so
  rm -f build/Images.xojo_plugin
  (cd "$stage" && zip -qrX "$OLDPWD/build/Images.xojo_plugin" Images)
  bash tests/package/check_package.sh build/Images.xojo_plugin
  bash tests/package/check_macho_refusals.sh build-darwin
  echo "wrote build/Images.xojo_plugin"
  ;;
esac
