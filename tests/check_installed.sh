#!/usr/bin/env bash
# Installs a build into an empty folder, moves that elsewhere, and uses it from there as a stranger would: the headers
# and names of the libraries, the projects of examples/consumer with each compiler, and the program.
#     check_installed.sh CMAKE SOURCE_DIR BUILD_DIR SAMPLE
set -eu
cmake=$1 source=$2 build=$3 sample=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "$*" >&2; exit 1; }

"$cmake" --install "$build" --prefix "$work/first" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
moved=$work/moved
mv "$work/first" "$moved"
libraries=$(dirname "$(find "$moved" -name libVelmora_DICOM.so)")
if grep -rlF -e "$source/" -e "$work/first" "$moved" --include='*.cmake' --include='*.pc' --include='velmora'; then
    fail "these files tell where they were built"
fi

python3 "$source/tests/check_interface.py" "$moved/include/velmora" "$libraries/libVelmora_DICOM.so" \
        "$libraries/libVelmora_DICOM.a"

unset VELMORA_DEFINITIONS
ln -s "$moved/bin/velmora" "$work/velmora"
for program in "$moved/bin/velmora" "$work/velmora"; do
    "$program" template --list | grep -q '^CT_Image$' || fail "$program finds no definitions"
done

check() { "$1" "$sample" | grep -q '^Patient ID: SAMPLE-1$' || fail "$1 does not read the sample ($compiler)"; }
programs="consumer consumer_static host_consumer"
export LD_LIBRARY_PATH=$libraries
for compiler in g++ clang++; do
    command -v "$compiler" >/dev/null || continue
    "$cmake" -S "$source/examples/consumer" -B "$work/$compiler" -DCMAKE_CXX_COMPILER="$compiler" \
             -DCMAKE_PREFIX_PATH="$moved" -DCMAKE_CXX_FLAGS=-Werror >"$work/log" 2>&1 &&
        "$cmake" --build "$work/$compiler" >>"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
    for program in $programs; do check "$work/$compiler/$program"; done

    command -v pkg-config >/dev/null && command -v make >/dev/null || continue
    cp -r "$source/examples/consumer" "$work/make-$compiler"
    PKG_CONFIG_PATH="$libraries/pkgconfig" make -C "$work/make-$compiler" CXX="$compiler" CXXFLAGS=-Werror \
        >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
    for program in $programs; do check "$work/make-$compiler/$program"; done
done
