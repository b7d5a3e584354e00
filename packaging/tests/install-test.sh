#!/usr/bin/env bash
# Installs the build tree into a scratch prefix, then builds and runs a consumer project against it,
# once through find_package(ZFramework) and once through pkg-config.
#   install-test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
scratch=$(mktemp -d /tmp/zframework-install.XXXXXX)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/usr" >/dev/null
libdir=$(find "$scratch/usr" -name libZShared.so -printf '%h\n' | head -1)
export LD_LIBRARY_PATH=$libdir

echo "== find_package(ZFramework)"
cmake -S "$source/packaging/tests/consumer" -B "$scratch/cmake-build" -G Ninja \
    -DCMAKE_PREFIX_PATH="$scratch/usr" >/dev/null
cmake --build "$scratch/cmake-build" >/dev/null
"$scratch/cmake-build/consumer"

echo "== pkg-config zframework"
export PKG_CONFIG_PATH=$libdir/pkgconfig
pkg-config --modversion zframework
# shellcheck disable=SC2046
g++ -o "$scratch/consumer-pc" "$source/packaging/tests/consumer/main.cpp" $(pkg-config --cflags --libs zframework) -ldl
"$scratch/consumer-pc"

echo "== installed programs"
"$scratch/usr/bin/znodemanager" --version
"$scratch/usr/bin/znodemanager" --list-classes --module libNodeDiscovery.so | grep -qx ZNodeDiscovery
