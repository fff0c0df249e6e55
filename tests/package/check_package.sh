#!/usr/bin/env bash
# Unpacks Images.xojo_plugin and checks it as the host reads it: exactly the expected tree, each
# library built for the processor its folder names, exporting REALPluginMain alone, and a help
# page that lists both classes.
set -euo pipefail
package=$1
here=$(cd "$(dirname "$0")" && pwd)

expected='Images/Build Resources/Linux arm64/libImages.so
Images/Build Resources/Linux x86-64/libImages.so
Images/IDE Resources/Help/index.html'
files=$(unzip -Z1 "$package" | grep -v '/$' | LC_ALL=C sort)
if [ "$files" != "$expected" ]; then
  echo "unexpected tree in $package:" >&2
  echo "$files" >&2
  exit 1
fi

tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
unzip -q "$package" -d "$tree"
resources="$tree/Images/Build Resources"
for entry in "Linux x86-64:Advanced Micro Devices X86-64" "Linux arm64:AArch64"; do
  folder=${entry%%:*}
  machine=${entry#*:}
  library="$resources/$folder/libImages.so"
  found=$(readelf -h "$library" | sed -n 's/^ *Machine: *//p')
  if [ "$found" != "$machine" ]; then
    echo "$folder/libImages.so is built for '$found', not '$machine'" >&2
    exit 1
  fi
  echo -n "$folder: $found; "
  bash "$here/../check_exports.sh" "$library"
done

help="$tree/Images/IDE Resources/Help/index.html"
for class in PictureXQT PictureFactoryXQT; do
  if ! grep -q "<h2 id=\"$class\">" "$help"; then
    echo "the help page does not describe $class" >&2
    exit 1
  fi
done
echo "help: $(grep -c '<tr>' "$help") members"
