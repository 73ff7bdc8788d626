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
host=host.example.org
pass="pass:only an example" # as in the examples

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

fingerprint() { # CERTIFICATE: as openssl shows it
    openssl x509 -in "$1" -noout -fingerprint -sha256 | cut -d= -f2
}

c_certificate() {
    local output folder=$work/c-certificate
    mkdir "$folder" && loads_installed_library "$work/c/certificate" &&
        output=$("$work/c/certificate" "$folder" "$host") && echo "$output" && cd "$folder" &&
        openssl pkcs12 -in bundle.p12 -passin "$pass" -nodes -out unpacked.pem &&
        grep -qx "SHA256 $(fingerprint certificate.pem)" <<<"$output" &&
        [[ $(fingerprint unpacked.pem) == "$(fingerprint certificate.pem)" ]] &&
        openssl verify -CAfile certificate.pem -x509_strict -verify_hostname "$host" certificate.pem &&
        [[ $(openssl pkey -in unpacked.pem -pubout) == "$(openssl x509 -in certificate.pem -noout -pubkey)" ]]
}

# A chain of two and the encrypted key of its first.
make_chain() {
    openssl req -x509 -newkey rsa:2048 -nodes -keyout root.key -out root.pem -subj "/O=Example/CN=Root" &&
        openssl req -newkey rsa:2048 -passout "$pass" -keyout leaf.key -out leaf.csr -subj "/O=Example/CN=$host" \
            -addext "subjectAltName=DNS:$host,IP:10.0.0.1" &&
        openssl x509 -req -in leaf.csr -CA root.pem -CAkey root.key -copy_extensions copy -days 9 -out leaf.pem &&
        cat leaf.pem root.pem >chain.pem
}

cpp_certificates() {
    local output
    loads_installed_library "$work/cpp/certificates" && mkdir "$work/chain" && cd "$work/chain" && make_chain &&
        output=$("$work/cpp/certificates" chain.pem leaf.key "$host") && echo "$output" &&
        diff <(sed -n 's/^SHA256 *//p' <<<"$output") <(fingerprint leaf.pem && fingerprint root.pem) &&
        { ! grep '^problem' <<<"$output"; } &&
        openssl pkey -in leaf.key -passin "$pass" -pubout -out leaf.pub &&
        openssl req -verify -noout -text <<<"$output" >request.txt 2>&1 && grep "verify OK" request.txt &&
        grep "DNS:$host, IP Address:10.0.0.1" request.txt &&
        openssl base64 -d -A -in <(sed -n 's/^signature *//p' <<<"$output") -out signature &&
        openssl dgst -sha256 -verify leaf.pub -signature signature <(printf %s "$host")
}

# A root, an authority below it with a list for each, and three leaves: good, revoked, signed with MD5.
make_lists() {
    local name
    local -x database=root.txt # of the configuration below
    cat >ca.cnf <<'END'
[ca]
default_ca = lists
[lists]
database = $ENV::database
default_md = sha256
default_crl_days = 7
[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
[leaf]
crlDistributionPoints = URI:http://crl.example.org:8080/authority.crl
END
    openssl req -x509 -newkey rsa:2048 -nodes -keyout root.key -out root.pem -subj "/O=Example/CN=Root" &&
        openssl req -newkey rsa:2048 -nodes -keyout authority.key -subj "/O=Example/CN=Authority" |
        openssl x509 -req -CA root.pem -CAkey root.key -extfile ca.cnf -extensions authority -out authority.pem || return 1
    for name in good revoked weak; do
        openssl req -newkey rsa:2048 -nodes -keyout "$name.key" -subj "/O=Example/CN=$name" |
            openssl x509 -req -CA authority.pem -CAkey authority.key -extfile ca.cnf -extensions leaf \
                "$([[ $name == weak ]] && echo -md5 || echo -sha256)" -out "$name.pem" || return 1
    done
    touch root.txt authority.txt
    database=authority.txt openssl ca -config ca.cnf -cert authority.pem -keyfile authority.key -revoke revoked.pem \
        -crl_reason keyCompromise || return 1
    for name in root authority; do
        database=$name.txt openssl ca -config ca.cnf -cert $name.pem -keyfile $name.key -gencrl || return 1
    done >lists.pem
}

openssl_verdict() { # LEAF
    openssl verify -crl_check_all -CAfile root.pem -untrusted authority.pem -CRLfile lists.pem "$1.pem"
}

cpp_revocation() {
    local output serial
    loads_installed_library "$work/cpp/revocation" && mkdir "$work/lists" && cd "$work/lists" && make_lists &&
        output=$("$work/cpp/revocation" root.pem authority.pem lists.pem {good,revoked,weak}.pem) && echo "$output" &&
        serial=$(openssl x509 -in revoked.pem -noout -serial | cut -d= -f2) &&
        diff <(grep '^verdict' <<<"$output") - <<<$'verdict good, accepted
verdict not good, rejected
verdict good, rejected' &&
        openssl_verdict good && { ! openssl_verdict revoked; } &&
        grep -q "^list    revoked 0x$serial at [0-9]*, reason 1$" <<<"$output" &&
        [[ $(grep -c '^source  http://crl.example.org:8080/authority.crl at crl.example.org, port 8080$' <<<"$output") -eq 3 ]]
}

say_hello() { # PORT OPTION...
    { echo hello; sleep 0.2; } | timeout 20 openssl s_client -connect "127.0.0.1:$1" -CAfile root.pem -verify_return_error \
        -cert_chain authority.pem -quiet "${@:2}" 2>client.log
}

# Three clients: a good one, a revoked one, one without a certificate.
serve_clients() { # SOURCE...
    local port pid result=0
    : >server.out # the port of the one before
    timeout 60 "$work/cpp/server" 3 root.pem authority.pem clients.pem "$@" >server.out &
    pid=$!
    for _ in {1..100}; do
        port=$(sed -n 's/^port *//p' server.out)
        [[ -z $port ]] || break
        sleep 0.05
    done
    say_hello "$port" -cert good.pem -key good.key | grep "^TLSv1.2 ECDHE-RSA-AES256-GCM-SHA384 CN=good,O=Example hello$" ||
        { cat client.log && result=1; }
    say_hello "$port" -cert revoked.pem -key revoked.key || true
    grep "alert certificate revoked" client.log || result=1
    say_hello "$port" || true
    grep "handshake failure" client.log || result=1
    wait "$pid" && cat server.out || return 1
    diff <(sed 1d server.out | sort) - <<<$'accepted  chain good
refused   9120 certificate revoked
refused   9120 handshake' && return "$result"
}

cpp_server() {
    loads_installed_library "$work/cpp/server" && mkdir -p "$work/server/store/"{MY,CA} && cd "$work/server" && make_lists &&
        # The list of the clients' issuer first.
        awk '/BEGIN/ { ++n } { print > ("list" n) }' lists.pem && cat list2 list1 >clients.pem &&
        echo "only an example" >phrase && openssl rsa -in good.key -aes256 -passout "$pass" -out locked.key &&
        cat good.pem authority.pem >chain.pem &&
        cp good.pem good.key store/MY/ && cp authority.pem store/CA/ &&
        serve_clients files chain.pem locked.key phrase &&
        serve_clients store store 'MY\\good' &&
        cat authority.pem >>root.pem && # as nothing but the certificate is in memory
        serve_clients memory good.pem good.key
}

# What a guide shows has been compiled and run: each of its code blocks stands in an example, indentation apart.
guide() { # GUIDE EXAMPLE...
    python3 - "${@/#/$examples/../}" <<'END'
import re, sys
plain = lambda text: "\n".join(line.strip() for line in text.splitlines() if line.strip())
guide, *sources = (open(name, encoding="utf-8").read() for name in sys.argv[1:])
blocks = re.findall(r"^```(?:c|cpp)\n(.*?)^```", guide, re.M | re.S)
missing = [block for block in blocks if not any(plain(block) in plain(source) for source in sources)]
print(len(blocks), "blocks; in no example:", *missing, sep="\n")
sys.exit(not blocks or bool(missing))
END
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
    report c-certificate c_certificate
    report pkg-config pkg_config
    report cpp cpp
    report cpp-certificates cpp_certificates
    report cpp-revocation cpp_revocation
    report cpp-server cpp_server
    report python python
    report guide-certificates guide docs/certificates.md examples/c/certificate.c examples/cpp/certificates.cpp
    report guide-revocation guide docs/revocation.md examples/cpp/revocation.cpp
    report guide-tls guide docs/tls.md examples/cpp/server.cpp
fi
[[ $fails -eq 0 ]]
