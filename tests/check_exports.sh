#!/usr/bin/env bash
# The plug-in exports REALPluginMain and nothing else, and needs nothing beyond the C and C++
# runtime libraries.
set -euo pipefail
library=$1
exports=$(nm -D --defined-only "$library" | awk '{print $NF}' | grep -v '@' |
  grep -vE '^(_init|_fini|_edata|_end|__bss_start)$' || true)
if [ "$exports" != "REALPluginMain" ]; then
  echo "unexpected exports:" >&2
  echo "$exports" >&2
  exit 1
fi
needed=$(readelf -d "$library" | sed -n 's/.*Shared library: \[\(.*\)\]/\1/p')
for lib in $needed; do
  case "$lib" in
  libstdc++.so.* | libm.so.* | libgcc_s.so.* | libc.so.* | libpthread.so.* | ld-linux*) ;;
  libasan.so.* | libubsan.so.*) ;; # sanitizer builds only
  *)
    echo "unexpected dependency: $lib" >&2
    exit 1
    ;;
  esac
done
echo "exports: $exports; needs: $(echo $needed)"
