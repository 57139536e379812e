# Shared by ./run and ./test: what they need on the machine, and how they build. Read by a shell, not run.

BUILD_PACKAGES="g++ cmake ninja-build zlib1g-dev rapidjson-dev"
TEST_PACKAGES="libgtest-dev python3"

# Installs the packages that are missing, as root or through sudo; on other systems it says what is needed.
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
    else
        echo "These packages are missing:$missing. Install them as root and try again." >&2
        return 1
    fi
    echo "Installing:$missing" >&2
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get update -qq >&2 || return 1
    # shellcheck disable=SC2086
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >&2
}

# prepare_machine build|test
prepare_machine() {
    packages=$BUILD_PACKAGES
    [ "$1" = build ] || packages="$packages $TEST_PACKAGES"
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
