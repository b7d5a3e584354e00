#!/usr/bin/env bash
# Installs the build tree into a scratch prefix, then builds and runs a consumer project against it,
# once through find_package(ZFramework) and once through pkg-config, in C++20 (the headers ask for
# C++17 at least, and the installed files must not hold a project to it).
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
    -DCMAKE_PREFIX_PATH="$scratch/usr" -DCMAKE_CXX_STANDARD=20 >/dev/null
cmake --build "$scratch/cmake-build" >/dev/null
"$scratch/cmake-build/consumer"

echo "== pkg-config zframework"
export PKG_CONFIG_PATH=$libdir/pkgconfig
pkg-config --modversion zframework
cflags=$(pkg-config --cflags zframework)
case "$cflags" in
*..* | *-std=*)
    echo "install-test: unclean pkg-config flags: $cflags" >&2
    exit 1
    ;;
esac
# shellcheck disable=SC2046
g++ -std=c++20 -o "$scratch/consumer-pc" "$source/packaging/tests/consumer/main.cpp" $(pkg-config --cflags --libs zframework) -ldl
"$scratch/consumer-pc"

echo "== installed programs"
"$scratch/usr/bin/znodemanager" --version
"$scratch/usr/bin/znodemanager" --list-classes --module libNodeDiscovery.so | grep -qx ZNodeDiscovery
