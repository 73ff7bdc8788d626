#!/usr/bin/env bash
# Compares what the shared library exports with the list beside this script.
# Usage: tests/exported-symbols.sh LIBRARY [--update]
set -euo pipefail
list="$(dirname "$0")/exported-symbols.txt"

# The standard library's own instantiations are weak and depend on the compiler.
symbols() {
    nm -D --defined-only -C "$1" | cut -d' ' -f3- |
        grep -Ev '^(typeinfo (name )?for )?(std|__gnu_cxx)::|^[^(]* (std|__gnu_cxx)::|^(_init|_fini)$' |
        sed -e 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g' \
            -e 's/\[abi:cxx11\]//' -e 's/std::vector<\([^,]*\), std::allocator<[^>]*> >/std::vector<\1>/g' |
        LC_ALL=C sort -u
}

if [[ "${2:-}" == --update ]]; then
    symbols "$1" >"$list"
else
    diff -u --label "expected ($list)" --label "exported ($1)" "$list" <(symbols "$1")
fi
