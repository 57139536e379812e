#!/usr/bin/env bash
# Gathers what the tests of a foreign architecture are linked and run with: Debian's packages for it, unpacked into
# build/sysroot-ARCH. The lists of packages are kept there too, so that the machine itself hears of no new architecture.
# Exits with 77 where the packages cannot be had.
#   cmake/sysroot.sh s390x|i386
set -eu
cd "$(dirname "$0")/.."
arch=$1
root=$PWD/build/sysroot-$arch
[ ! -e "$root/complete" ] || exit 0
if [ "$arch" = i386 ] && [ "$(uname -m)" != x86_64 ]; then
    echo "programs of $arch do not run on $(uname -m)" >&2
    exit 77
fi

packages="libc6 libgcc-s1 libstdc++6 zlib1g zlib1g-dev libgtest-dev rapidjson-dev"
rm -rf "$root"
mkdir -p "$root/apt/lists/partial" "$root/apt/cache/archives/partial"
touch "$root/apt/status"
apt() {
    apt-get -qq -o APT::Architecture="$arch" -o APT::Architectures::="$arch" -o APT::Sandbox::User=root \
            -o Dir::State="$root/apt" -o Dir::State::status="$root/apt/status" -o Dir::Cache="$root/apt/cache" \
            -o Acquire::Languages=none "$@"
}
# A source that has nothing for this architecture is no obstacle as long as the packages are found.
apt update || true
# shellcheck disable=SC2086
(cd "$root/apt" && apt download $packages) || { echo "no packages for $arch: $packages" >&2; exit 77; }
for package in "$root"/apt/*.deb; do
    dpkg-deb -x "$package" "$root"
done
rm -rf "$root/apt"
touch "$root/complete"
