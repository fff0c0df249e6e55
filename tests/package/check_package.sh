#!/usr/bin/env bash
# Unpacks Images.xojo_plugin and checks it as the host reads it: exactly the expected tree, each
# library built for the processor its folder names, exporting REALPluginMain alone and needing
# only the system's libraries, and a help page that lists both classes.
set -euo pipefail
package=$1
here=$(cd "$(dirname "$0")" && pwd)

expected='Images/Build Resources/Linux arm64/libImages.so
Images/Build Resources/Linux x86-64/libImages.so
Images/Build Resources/Mac Universal/libImages.dylib
Images/Build Resources/Windows x86-64/Images.dll
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

# The DLL: x86-64, REALPluginMain its one export, system DLLs its only imports.
dll="$resources/Windows x86-64/Images.dll"
format=$(x86_64-w64-mingw32-objdump -f "$dll" | sed -n 's/.*file format //p')
exports=$(x86_64-w64-mingw32-objdump -p "$dll" |
  sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' | awk '/\[/ && NR > 1 {print $NF}')
imports=$(x86_64-w64-mingw32-objdump -p "$dll" | sed -n 's/.*DLL Name: //p' | LC_ALL=C sort)
if [ "$format" != "pei-x86-64" ] || [ "$exports" != "REALPluginMain" ]; then
  echo "Windows x86-64/Images.dll: format '$format', exports '$exports'" >&2
  exit 1
fi
for dll_name in $imports; do
  case "$dll_name" in KERNEL32.dll | msvcrt.dll | USER32.dll | ADVAPI32.dll) ;; *)
    echo "Windows x86-64/Images.dll imports $dll_name" >&2
    exit 1
    ;;
  esac
done
echo "Windows x86-64: $format; exports: $exports; imports: $(echo $imports)"

# The universal macOS library, checked statically: nothing here runs Mach-O code.
python3 "$here/../../tools/macos/check_macho.py" "$resources/Mac Universal/libImages.dylib"

help="$tree/Images/IDE Resources/Help/index.html"
for class in PictureXQT PictureFactoryXQT; do
  if ! grep -q "<h2 id=\"$class\">" "$help"; then
    echo "the help page does not describe $class" >&2
    exit 1
  fi
done
echo "help: $(grep -c '<tr>' "$help") members"
