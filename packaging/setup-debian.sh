#!/bin/sh
# Installs what is missing of the Debian packages that this project needs; does nothing when all are there.
#
#   setup-debian.sh build|test|bench
#
# The only list of packages: quickstart, check and bench/compare call this script.
set -eu

build="g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev"
test="$build libgtest-dev bison clang libclang-rt-14-dev python3 valgrind macutils sharutils libgmime-3.0-dev ccache binutils"
bench="$build libbenchmark-dev libgmime-3.0-dev sharutils macutils python3"

case "${1-}" in
  build) wanted=$build ;;
  test) wanted=$test ;;
  bench) wanted=$bench ;;
  *) echo "usage: setup-debian.sh build|test|bench" >&2; exit 64 ;;
esac

missing=
for package in $wanted; do
  case "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)" in
    "install ok installed") ;;
    *) missing="$missing $package" ;;
  esac
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "setup-debian.sh: as root, install:$missing" >&2
    exit 69
  }
  as_root=sudo
fi
echo "installing:$missing"
$as_root apt-get update -qq
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
