#!/usr/bin/env bash
# Builds the Debian packages, checks their names and dependencies, unpacks the runtime package
# into a scratch directory and runs its znodemanager from there.
#   deb-test.sh BUILD_DIR
set -euo pipefail
build=$1
scratch=$(mktemp -d /tmp/zframework-deb.XXXXXX)
trap 'rm -rf "$scratch"' EXIT

(cd "$scratch" && cpack --config "$build/CPackConfig.cmake" -G DEB >/dev/null)
runtime=$(ls "$scratch"/zframework_*.deb)
development=$(ls "$scratch"/zframework-dev_*.deb)
echo "== $(basename "$runtime"): $(dpkg-deb -f "$runtime" Depends)"
dpkg-deb -f "$runtime" Depends | grep -q libmosquitto1
echo "== $(basename "$development"): $(dpkg-deb -f "$development" Depends)"
dpkg-deb -f "$development" Depends | grep -q 'zframework (='
# Listings are read whole: grep -q would close the pipe on dpkg-deb early.
development_files=$(dpkg-deb -c "$development")
runtime_files=$(dpkg-deb -c "$runtime")
grep -q 'include/NodeComm/ZNodeComm.h' <<<"$development_files"
grep -q 'lib/systemd/system/znodemanager@.service' <<<"$runtime_files"
grep -q 'lib.*/libNodeDiscovery.so -> ' <<<"$runtime_files"

dpkg-deb -x "$runtime" "$scratch/root"
"$scratch/root/usr/bin/znodemanager" --version
