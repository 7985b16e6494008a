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

# The headers of the lists, and no other.
"$(dirname "$0")/../house/house.py" --installed "$scratch/prefix/include"
[ -f "$scratch/prefix/include/VXOrvanta/shell/OrvantaSetup.h" ]
# What only the library itself needs is on no list.
for private in shell/VersionCheck.h converter/ImportContext.h converter/ImportSteps.h; do
    [ ! -e "$scratch/prefix/include/VXOrvanta/$private" ] || { echo "$private must not be installed"; exit 1; }
done

# Those that a stranger meets first open with an example, which compiles as well.
"$(dirname "$0")/../house/examples.py" "$scratch/prefix/include" "$scratch/examples"

cmake -S "$consumer" -B "$scratch/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" \
    -DEXAMPLES="$scratch/examples" > "$scratch/configure.log" ||
    { cat "$scratch/configure.log"; exit 1; }
cmake --build "$scratch/consumer"
# Without a viewer there is nothing to wake and nobody to ask, and a missing file is a readable error.
out="$("$scratch/consumer/consumer" /nowhere/part.vxu)" && { echo "the consumer must fail on a missing file"; exit 1; }
echo "$out"
[ "$out" = 'Input and output formats are equal' ]
