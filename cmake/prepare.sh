# Shared by ./run and ./test: what they need on the machine, and how they build. Read by a shell, not run.

BUILD_PACKAGES="g++ cmake ninja-build zlib1g-dev rapidjson-dev"
TEST_PACKAGES="libgtest-dev python3"

# Installs the packages that are missing, as root or through sudo; on other systems it says what is needed. Asks
# nothing, waits for another apt-get, and brings the lists up to date once in a run.
install_packages() {
    missing=""
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    if [ "$(id -u)" = 0 ]; then
        as_root=""
    elif command -v sudo >/dev/null 2>&1; then
        as_root="sudo"
        [ -t 0 ] || as_root="sudo -n"
    else
        echo "These packages are missing:$missing. Install them as root and try again." >&2
        return 1
    fi
    echo "Installing:$missing" >&2
    options="-qq -o DPkg::Lock::Timeout=600 -o Acquire::Retries=3"
    if [ -z "${VELMORA_LISTS_ARE_NEW:-}" ]; then
        # A source that cannot be had is no obstacle as long as the packages are found.
        # shellcheck disable=SC2086
        $as_root env DEBIAN_FRONTEND=noninteractive apt-get $options update >&2 || true
        export VELMORA_LISTS_ARE_NEW=1
    fi
    # shellcheck disable=SC2086
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get $options install -y --no-install-recommends $missing >&2
}

# prepare_machine build|test|PRESET: a preset that builds for a foreign architecture, or with clang, needs more.
prepare_machine() {
    packages=$BUILD_PACKAGES
    [ "$1" = build ] || packages="$packages $TEST_PACKAGES"
    case $1 in
        clang) packages="$packages clang" ;;
        s390x) packages="$packages g++-s390x-linux-gnu qemu-user" ;;
        i386) packages="$packages g++-i686-linux-gnu" ;;
    esac
    if command -v apt-get >/dev/null 2>&1; then
        # shellcheck disable=SC2086
        install_packages $packages
    else
        echo "This is not Debian or Ubuntu: needed are a C++20 compiler, CMake 3.25, Ninja, zlib, RapidJSON" \
             "and, for the tests, GoogleTest and Python 3." >&2
    fi
}

# build_preset PRESET "TARGETS": configures on the first call, then builds quietly; the log is shown when it fails.
build_preset() {
    (
        cd "$here"
        mkdir -p build
        log="build/$1.log"
        [ -f "build/$1/build.ninja" ] || cmake --preset "$1" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
        targets=""
        for target in $2; do targets="$targets --target $target"; done
        # shellcheck disable=SC2086
        cmake --build --preset "$1" $targets >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
    )
}
