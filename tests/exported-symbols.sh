#!/usr/bin/env bash
# Compares what the shared library exports with the list beside this script.
# Usage: tests/exported-symbols.sh LIBRARY [--update]
set -euo pipefail
list="$(dirname "$0")/exported-symbols.txt"

exported() {
    if [[ "$1" == *.dll ]]; then
        x86_64-w64-mingw32-objdump -p "$1" | sed -n '/Ordinal\/Name Pointer/,/^$/ s/^\t\[[ 0-9]*\] //p' | c++filt |
            sed -e 's/long long/long/g' -e 's/ull>/ul>/g' -e 's/_iobuf/_IO_FILE/g'
    else
        nm -D --defined-only -C "$1" | cut -d' ' -f3-
    fi
}

# The standard library's own instantiations are weak and depend on the compiler; so does whether classes within a class
# that is exported are, and the names of types.
symbols() {
    exported "$1" |
        grep -Ev '^(typeinfo (name )?for )?(std|__gnu_cxx)::|^[^(]* (std|__gnu_cxx)::|^decltype |^(_init|_fini)$' |
        grep -Ev '^typeinfo name for |::(Software|Windows)Signing\>' |
        sed -e 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g' \
            -e 's/\[abi:cxx11\]//' -e 's/std::vector<\([^,]*\), std::allocator<[^>]*> >/std::vector<\1>/g' |
        LC_ALL=C sort -u
}

if [[ "${2:-}" == --update ]]; then
    symbols "$1" >"$list"
else
    diff -u --label "expected ($list)" --label "exported ($1)" "$list" <(symbols "$1")
fi
