#!/usr/bin/env bash
# Installs the unit and builds the embedding example against it, as a foreign host would: through the
# CMake package, then through pkg-config. Both must run and say the same.
#   embedding.sh BUILD_FOLDER SOURCE_FOLDER WORK_FOLDER COMPILER
set -eu
build=$1
source=$2
work=$3
compiler=$4
rm -rf "$work"
mkdir -p "$work"

cmake --install "$build" --prefix "$work/prefix" --component unit >"$work/install.log"
mv "$work/prefix" "$work/moved"  # an installed unit may be moved about
prefix=$work/moved

cmake -S "$source/examples/embedding" -B "$work/cmake" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$prefix" >"$work/configure.log"
cmake --build "$work/cmake" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
"$work/cmake/tiny-host" >"$work/by-cmake"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name signallingcontroller.pc)")
export PKG_CONFIG_PATH
read -r -a flags <<<"$(pkg-config --cflags --libs signallingcontroller)"
"$compiler" -std=c++11 -Wall -Wextra -Wpedantic -Werror -o "$work/tiny-host" \
    "$source/examples/embedding/tiny-host.cpp" "${flags[@]}" -lpthread
"$work/tiny-host" >"$work/by-pkg-config"

diff "$work/by-cmake" "$work/by-pkg-config"
diff "$work/by-cmake" "$source/examples/embedding/expected-output.txt"
