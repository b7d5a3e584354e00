#!/usr/bin/env bash
# Builds the Debian packages and checks them as a Debian user meets them: names, dependencies and
# contents, lintian (any error fails), the unpacked node manager; then, as root on a machine where
# zframework is not installed yet, installs them with dpkg, checks the service's user, unit and
# exit codes, builds a C++20 program against the installed pkg-config files and CMake package,
# enables a service instance and purges the packages again: the instance must be stopped and its
# link must go with them.
#   deb-test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$1
source=$2
scratch=$(mktemp -d /tmp/zframework-deb.XXXXXX)
installed=no
cleanup() {
    if [ $installed = yes ]; then
        dpkg --purge zframework-dev zframework >/dev/null 2>&1 || true
        rm -f /etc/systemd/system/multi-user.target.wants/znodemanager@debtest.service
    fi
    rm -rf "$scratch"
}
trap cleanup EXIT
trap 'exit 1' INT TERM # a test time-out purges too
fail() {
    echo "deb-test: $*" >&2
    exit 1
}

(cd "$scratch" && cpack --config "$build/CPackConfig.cmake" -G DEB >/dev/null)
runtime=$(ls "$scratch"/zframework_*.deb)
development=$(ls "$scratch"/zframework-dev_*.deb)
version=$(dpkg-deb -f "$runtime" Version)
triplet=$(gcc -print-multiarch)

echo "== $(basename "$runtime"): $(dpkg-deb -f "$runtime" Depends)"
changelog_version=$(dpkg-parsechangelog -l "$source/packaging/debian/changelog" -S Version)
[ "$changelog_version" = "$version" ] ||
    fail "packaging/debian/changelog's latest entry is $changelog_version, the package is $version"
dpkg-deb -f "$runtime" Depends | grep -q libmosquitto1
dpkg-deb -f "$runtime" Depends | grep -q adduser
echo "== $(basename "$development"): $(dpkg-deb -f "$development" Depends)"
[ "$(dpkg-deb -f "$development" Depends)" = "zframework (= $version)" ] ||
    fail "zframework-dev should depend on zframework (= $version) alone"

# Listings are read whole: grep -q would close the pipe on dpkg-deb early.
development_files=$(dpkg-deb -c "$development")
runtime_files=$(dpkg-deb -c "$runtime")
grep -q 'include/NodeComm/ZNodeComm.h' <<<"$development_files"
grep -q "usr/lib/$triplet/pkgconfig/zframework.pc" <<<"$development_files"
grep -q 'lib/systemd/system/znodemanager@.service' <<<"$runtime_files"
grep -q "usr/lib/$triplet/libNodeDiscovery.so -> " <<<"$runtime_files"
grep -q "usr/lib/$triplet/libZShared.so\." <<<"$runtime_files"
for package in zframework zframework-dev; do
    files=$runtime_files
    [ $package = zframework ] || files=$development_files
    grep -q "usr/share/doc/$package/copyright" <<<"$files" || fail "$package has no copyright file"
    grep -q "usr/share/doc/$package/changelog.Debian.gz" <<<"$files" || fail "$package has no changelog"
done

echo "== lintian"
command -v lintian >/dev/null || fail "lintian is not installed (./run deps installs it)"
status=0
lintian --fail-on error --tag-display-limit 0 "$runtime" "$development" >"$scratch/lintian.log" 2>&1 ||
    status=$?
cat "$scratch/lintian.log"
echo "lintian: $(grep -c '^E:' "$scratch/lintian.log" || true) errors," \
    "$(grep -c '^W:' "$scratch/lintian.log" || true) warnings"
if [ $status -ne 0 ] || grep -q '^E:' "$scratch/lintian.log"; then
    fail "lintian reports errors, or could not check the packages (exit $status)"
fi

echo "== unpacked"
dpkg-deb -x "$runtime" "$scratch/root"
dpkg-deb -x "$development" "$scratch/root"
while IFS= read -r -d '' file; do
    dynamic=$(readelf -d "$file" 2>/dev/null || true)
    if grep -qE 'RPATH|RUNPATH' <<<"$dynamic"; then
        fail "$file has an RPATH"
    fi
done < <(find "$scratch/root/usr/bin" "$scratch/root/usr/lib/$triplet" -type f -print0)
pc=$scratch/root/usr/lib/$triplet/pkgconfig
grep -qx 'prefix=/usr' "$pc/zframework.pc" || fail "zframework.pc: prefix is not /usr"
if grep -q -- '-std=' "$pc"/*.pc; then
    fail "the pkg-config files impose a language standard"
fi
LD_LIBRARY_PATH=$scratch/root/usr/lib/$triplet "$scratch/root/usr/bin/znodemanager" --version

if [ "$(id -u)" -ne 0 ] || dpkg-query -W -f='${Status}' zframework 2>/dev/null | grep -q 'ok installed'; then
    echo "== not installing: needs root and a machine without zframework installed"
    exit 0
fi

echo "== dpkg -i"
# One install at a time on this machine, whichever build tree the test runs from.
exec 9>/tmp/zframework-deb-test.lock
flock 9
installed=yes
dpkg -i "$runtime" "$development" >/dev/null
getent passwd zframework >/dev/null || fail "no system user zframework"
[ "$(stat -c %G:%a /etc/zframework)" = zframework:750 ] || fail "/etc/zframework is not zframework:750"
if command -v systemd-analyze >/dev/null; then
    # The unit's manual page is checked too, unless this machine leaves manual pages out.
    man=yes
    [ -e /usr/share/man/man1/znodemanager.1.gz ] || man=no
    systemd-analyze verify --man=$man /usr/lib/systemd/system/znodemanager@.service
    systemd-analyze security --offline=yes /usr/lib/systemd/system/znodemanager@.service 2>/dev/null |
        grep 'Overall exposure' || true
fi

echo "== the service user runs the node manager"
# What the unit runs: the module by its plain name from the multiarch folder, and exit 2 (no
# restart) for a configuration it cannot read.
runuser -u zframework -- znodemanager --list-classes --module libNodeDiscovery.so | grep -qx ZNodeDiscovery
status=0
runuser -u zframework -- znodemanager /etc/zframework/debtest.json 2>/dev/null || status=$?
[ $status -eq 2 ] || fail "a missing configuration ended znodemanager with $status, not 2"

echo "== pkg-config zframework, C++20"
cflags=$(pkg-config --cflags zframework)
echo "cflags: $cflags"
case "$cflags" in *..* | *-std=*) fail "unclean pkg-config flags: $cflags" ;; esac
# shellcheck disable=SC2046
g++ -std=c++20 -o "$scratch/consumer-cxx20" "$source/packaging/tests/consumer/main.cpp" \
    $(pkg-config --cflags --libs zframework) -ldl
"$scratch/consumer-cxx20"
echo "== find_package(ZFramework), C++20"
cmake -S "$source/packaging/tests/consumer" -B "$scratch/cmake-build" -G Ninja -DCMAKE_CXX_STANDARD=20 >/dev/null
cmake --build "$scratch/cmake-build" >/dev/null
"$scratch/cmake-build/consumer"

echo "== purge"
systemctl enable znodemanager@debtest.service >/dev/null 2>&1
link=/etc/systemd/system/multi-user.target.wants/znodemanager@debtest.service
[ -L "$link" ] || fail "systemctl enable made no link"
install -d -o zframework -g zframework /var/log/zframework # as systemd makes it on start
# No systemd runs here: where a mount namespace can be had, the purge runs in one that looks like
# a systemd machine (/run/systemd/system), with a systemctl that notes what it is asked and a
# policy-rc.d that lets services be stopped (a container's may refuse every action).
mkdir -p "$scratch/bin"
printf '#!/bin/sh\necho "$*" >>%s/systemctl.log\n' "$scratch" >"$scratch/bin/systemctl"
printf '#!/bin/sh\nexit 0\n' >"$scratch/bin/policy-rc.d"
chmod +x "$scratch/bin/systemctl" "$scratch/bin/policy-rc.d"
if unshare -m true 2>/dev/null; then
    unshare -m sh -c 'mount -t tmpfs tmpfs /run && mkdir -p /run/systemd/system &&
        { [ ! -e /usr/sbin/policy-rc.d ] || mount --bind "$1/policy-rc.d" /usr/sbin/policy-rc.d; } &&
        PATH="$1:$PATH" dpkg --purge zframework-dev zframework >/dev/null' sh "$scratch/bin"
    grep -qxF 'stop znodemanager@*.service' "$scratch/systemctl.log" ||
        fail "removing the package did not stop the service instances"
    echo "systemctl asked: $(paste -sd, "$scratch/systemctl.log")"
else
    dpkg --purge zframework-dev zframework >/dev/null
fi
installed=no
[ ! -e "$link" ] && [ ! -L "$link" ] || fail "purging left $link"
[ ! -e /etc/zframework ] || fail "purging left /etc/zframework"
[ ! -e /var/log/zframework ] || fail "purging left /var/log/zframework"
echo "purged: no link, no /etc/zframework, no /var/log/zframework"
