#!/bin/sh
# Installs the build into a folder of its own and builds and runs a program that knows only find_package.
set -eu
cmake=$1 build=$2 consumer=$3 work=$4 generator=$5 compiler=$6 sanitize=$7
rm -rf "$work/prefix" "$work/consumer"
"$cmake" --install "$build" --prefix "$work/prefix" >/dev/null
flags=${sanitize:+-fsanitize=$sanitize}
"$cmake" -S "$consumer" -B "$work/consumer" -G "$generator" -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_CXX_FLAGS="$flags" >/dev/null
"$cmake" --build "$work/consumer" >/dev/null
XDG_DATA_HOME=$work/nothing-here "$work/consumer/signed_in" | grep -x "Nobody is signed in."
