#!/bin/sh
# Installs what is missing of the Debian packages that this project needs; does nothing when all are there.
#
#   setup-debian.sh build|test|bench|package
#
# The only list of packages: quickstart, check and bench/compare call this script.
set -eu

build="g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev libsqlite3-dev media-types"
test="$build libgtest-dev clang libclang-rt-14-dev python3 valgrind macutils sharutils libgmime-3.0-dev ccache binutils sqlite3 nkf strace"
bench="$build libbenchmark-dev libgmime-3.0-dev sharutils macutils python3 postfix nkf strace"
package="$build dpkg-dev fakeroot lintian doxygen python3 systemd abigail-tools mmdebstrap"

case "${1-}" in
  build) wanted=$build ;;
  test) wanted=$test ;;
  bench) wanted=$bench ;;
  package) wanted=$package ;;
  *) echo "usage: setup-debian.sh build|test|bench|package" >&2; exit 64 ;;
esac

missing=
for package in $wanted; do
  case "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)" in
    "install ok installed") ;;
    *) missing="$missing $package" ;;
  esac
done
[ -n "$missing" ] || exit 0

command -v apt-get >/dev/null || {
  echo "setup-debian.sh: install these first, in your system's way:$missing" >&2
  exit 69
}
as_root=
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "setup-debian.sh: run as root once, or have these installed:$missing" >&2
    exit 77
  }
  as_root=sudo
fi
echo "installing$missing"
log=$(mktemp)
# A peer whose listing is measured, never run as a mail system: without a configuration nothing of it starts.
case "$missing" in
  *" postfix"*) echo "postfix postfix/main_mailer_type select No configuration" | $as_root debconf-set-selections ;;
esac
if ! { $as_root apt-get update &&
       $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $missing; } >"$log" 2>&1; then
  tail -n 20 "$log" >&2
  echo "setup-debian.sh: apt-get failed; all that it said is in $log" >&2
  exit 69
fi
rm -f "$log"
