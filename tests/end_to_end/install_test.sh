#!/usr/bin/env bash
# Installs the build into a fresh prefix and uses it as a stranger would: the program, every public header alone, and a
# small program that finds the CMake package.
set -euo pipefail
build="$1" consumer="$2"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" > "$scratch/install.log"
"$scratch/prefix/bin/Orvanta" --version
"$scratch/prefix/bin/orvanta-backend" --version

# What only the menu uses is nobody else's to build on.
for private in VXOrvanta/shell/VersionCheck.h VXOrvanta/converter/ImportContext.h; do
    [ ! -e "$scratch/prefix/include/$private" ] || { echo "$private must not be installed"; exit 1; }
done
[ -e "$scratch/prefix/include/VXOrvanta/shell/OrvantaSetup.h" ]

cmake -S "$consumer" -B "$scratch/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" > "$scratch/configure.log" ||
    { cat "$scratch/configure.log"; exit 1; }
cmake --build "$scratch/consumer"
# Without a viewer there is nothing to wake and nobody to ask, and a missing file is a readable error.
out="$("$scratch/consumer/consumer" /nowhere/part.vxu)" && { echo "the consumer must fail on a missing file"; exit 1; }
echo "$out"
[ "$out" = 'Input and output formats are equal' ]
