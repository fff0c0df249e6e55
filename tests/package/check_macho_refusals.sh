#!/usr/bin/env bash
# The macOS check refuses what it is there to refuse: a library linked for macOS 10.15, and one
# that exports a second name. Both are linked here from a small file, beside a good one.
set -euo pipefail
darwin=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat >"$work/entry.c" <<'SOURCE'
void REALPluginMain(void *resolver) { (void)resolver; }
void SecondName(void) {}
SOURCE
link() {  # link NAME MINIMUM EXPORTS...
  local name=$1 minimum=$2
  shift 2
  for arch in x86_64 arm64; do
    local darwin_arch=$arch
    [ "$arch" = arm64 ] && darwin_arch=aarch64
    clang-14 --target=$arch-apple-macos$minimum -nostdinc -isystem /usr/lib/clang/14.0.6/include \
      -isystem "$darwin/include/$darwin_arch-macos.11-none" -isystem "$darwin/include/any-macos-any" \
      -c "$work/entry.c" -o "$work/$arch.o"
    ld64.lld-14 -arch $arch -dylib -platform_version macos "$minimum" "$minimum" "$@" \
      -o "$work/$name-$arch.dylib" "$work/$arch.o" "$darwin/lib/libSystem.tbd" "$darwin/lib/libc++.tbd"
  done
  llvm-lipo-14 -create "$work/$name-x86_64.dylib" "$work/$name-arm64.dylib" -output "$work/$name.dylib"
}
expect() {  # expect NAME passes|fails
  if python3 "$here/../../tools/macos/check_macho.py" "$work/$1.dylib" >"$work/$1.log"; then
    result=passes
  else
    result=fails
  fi
  if [ "$result" != "$2" ]; then
    cat "$work/$1.log" >&2
    echo "the macOS check $result on the $1 library" >&2
    exit 1
  fi
  echo "macOS check on the $1 library: $result ($(grep -c '^FAIL' "$work/$1.log") failures)"
}
link good 11.0 -exported_symbol _REALPluginMain
link older 10.15 -exported_symbol _REALPluginMain
link wider 11.0 -exported_symbol _REALPluginMain -exported_symbol _SecondName
expect good passes
expect older fails
expect wider fails
