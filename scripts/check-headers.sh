#!/usr/bin/env bash
# Every public header compiles alone, strictly, as C++17 by both compilers; what C hosts include does as C99 too.
# Usage: scripts/check-headers.sh [SOURCE_DIR]
set -euo pipefail
cd "${1:-$(dirname "$0")/..}"

flags=(-fsyntax-only -Iinclude -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
c_headers=(include/cmncrypto/cmncrypto.h include/cmncrypto/types.h include/cmncrypto/export.h)
fails=0

compiles() { # SOURCE COMPILER OPTION...: the text compiles
    local source=$1
    shift
    printf '%s\n' "$source" | "$@" "${flags[@]}" - || { echo "FAILED: $* with: $source"; fails=$((fails + 1)); }
}

for header in include/cmncrypto/*.h include/cmncrypto/*.hpp; do
    include="#include \"${header#include/}\""
    for compiler in g++ clang++-14; do
        # Twice, for the sake of the include guard.
        compiles "$include"$'\n'"$include" "$compiler" -std=c++17 -pedantic -x c++
    done
done
for header in "${c_headers[@]}"; do
    for compiler in gcc clang-14; do
        compiles "#include \"${header#include/}\""$'\n'"extern int something;" "$compiler" -std=c99 -pedantic -x c
    done
done
# The plain types are the same types in both languages' namespaces, and a C program can name every one.
compiles '#include "cmncrypto/cmncrypto.hpp"
static_assert(static_cast<CmnCrypto::_HASH_ALGO>(1) == ::HASH_ALGO_SHA256 && sizeof(::_HASH_ALGO) == 4);
CmnCrypto::CmnCryptoHandle handle = ::CmnCryptoHandle{0, nullptr};' g++ -std=c++17 -x c++
compiles '#include "cmncrypto/cmncrypto.h"
_HASH_ALGO algorithm = HASH_ALGO_SHA512;
_BIGNUM_CONVERSION form = BIGNUM_TO_DEC;
_HASH_ALGO_MAP_STRUCT row = {HASH_ALGO_SHA1, "SHA1", 20};
CmnCryptoHandle handle = {0, NULL};
typedef char enumerations_have_32_bits[sizeof(_HASH_ALGO) == 4 && sizeof(_BIGNUM_CONVERSION) == 4 ? 1 : -1];' \
    gcc -std=c99 -x c

[[ $fails -eq 0 ]] && echo "every public header compiles alone"
