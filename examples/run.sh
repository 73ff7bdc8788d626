#!/usr/bin/env bash
# Installs a finished build into a temporary folder, builds the examples against that installation and nothing
# else, runs them, and compares what they print with tools that share no code with the library.
# Usage: examples/run.sh BUILD_DIR
set -euo pipefail

[[ $# -eq 1 && -f $1/CMakeCache.txt ]] || { echo "usage: examples/run.sh BUILD_DIR (configured and built)" >&2; exit 2; }
build=$(realpath "$1")
examples=$(dirname "$(realpath "$0")")
verify=$examples/../scripts/verify-gcm-stream.py
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
text="Grüße aus dem Beispiel: 100 %s"
aad="example 7"

# From here on an installation in the system's folders, or a build folder, cannot be mistaken for this one.
unset LD_LIBRARY_PATH CMAKE_PREFIX_PATH cmncryptocore_DIR
fails=0

report() { # NAME COMMAND...: one line with the verdict, the output only when it is needed
    local name=$1 log="$work/$1.log"
    shift
    if ("$@") >"$log" 2>&1; then
        echo "ok      $name"
    else
        echo "FAILED  $name"
        sed 's/^/        /' "$log"
        fails=$((fails + 1))
    fi
}

loads_installed_library() { # PROGRAM
    ldd "$1" | grep -F "libcmncryptocore.so.1 => $prefix/" || { echo "$1 loads another library:"; ldd "$1"; return 1; }
}

same_digest() { # OUTPUT: its line "SHA256 HEX" says what sha256sum says
    local expected
    expected=$(printf %s "$text" | sha256sum | cut -d' ' -f1)
    grep -qx "SHA256 $expected" <<<"$1" || { echo "sha256sum says $expected"; return 1; }
}

with_cmake() { # NAME
    cmake -S "$examples/$1" -B "$work/$1" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
        -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF &&
        cmake --build "$work/$1"
}

install_it() {
    cmake --install "$build" --prefix "$prefix" &&
        [[ $(find "$prefix" -name libcmncryptocore.so.1 | wc -l) -eq 1 ]] &&
        [[ -f $prefix/include/cmncrypto/cmncrypto.h && -f $prefix/include/cmncrypto/cmncrypto.hpp ]] || return 1
    if [[ -x $build/cli/cmncrypto ]]; then
        loads_installed_library "$prefix/bin/cmncrypto" && "$prefix/bin/cmncrypto" --version
    fi
}

c() {
    local output
    with_cmake c && loads_installed_library "$work/c/digest" &&
        output=$("$work/c/digest" "$text") && echo "$output" && same_digest "$output"
}

pkg_config() {
    local output
    mkdir "$work/pkg-config" && cd "$work/pkg-config" &&
        PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name cmncryptocore.pc)") make -f "$examples/pkg-config/Makefile" &&
        loads_installed_library ./digest && output=$(./digest "$text") && echo "$output" && same_digest "$output"
}

cpp() {
    local output
    with_cmake cpp && loads_installed_library "$work/cpp/stream" &&
        output=$("$work/cpp/stream" "$text" "$aad") && echo "$output" &&
        sed -n 's/^key *//p' <<<"$output" >"$work/key" &&
        sed -n 's/^stream *//p' <<<"$output" | python3 -c \
            'import sys; sys.stdout.buffer.write(bytes.fromhex(sys.stdin.read()))' >"$work/stream" &&
        printf %s "$text" >"$work/text" &&
        "$verify" --key-file "$work/key" --aad "$aad" --plain "$work/text" "$work/stream"
}

python() {
    local output library
    library=$(find "$prefix" -name libcmncryptocore.so.1)
    output=$(LD_LIBRARY_PATH=$(dirname "$library") python3 "$examples/python/digest.py" "$text") &&
        echo "$output" && same_digest "$output"
}

report install install_it
if [[ $fails -eq 0 ]]; then
    report c c
    report pkg-config pkg_config
    report cpp cpp
    report python python
fi
[[ $fails -eq 0 ]]
