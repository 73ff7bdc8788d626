# Clients that people really have against a key in files and a key of a store: clients_test.py PATH_OF_COMMAND [GROUP...]
import os
import shutil
import ssl
import subprocess
import sys
import unittest

from certificate_test import openssl
from tls_test import Server, TlsCase

HERE = os.path.dirname(os.path.abspath(__file__))
NODE = """
const https = require('https'), fs = require('fs'), [port, options] = process.argv.slice(1);
https.get({host: '127.0.0.1', port, ca: fs.readFileSync('root'), ...JSON.parse(options)}, answer => answer.pipe(process.stdout))
  .on('error', error => { console.error(error); process.exit(1); });
"""
S_CLIENT = ["openssl", "s_client", "-connect", "127.0.0.1:{port}", "-CAfile", "root", "-verify_return_error", "-quiet"]
GNUTLS = ["gnutls-cli", "--x509cafile", "root", "--logfile", "gnutls.log", "-p", "{port}", "127.0.0.1", "--priority"]
CURL = ["curl", "-sS", "--cacert", "root", "https://127.0.0.1:{port}/"]
JAVA = ["java", "-Djdk.tls.client.SignatureSchemes=rsa_pss_rsae_sha256,rsa_pss_rsae_sha512,rsa_pkcs1_sha256", os.path.join(HERE, "Client.java"), "127.0.0.1", "{port}",
        "root"]
NSS = ["tstclnt", "-h", "127.0.0.1", "-a", "host.example", "-p", "{port}", "-d", "sql:nss", "-A", "request"]
PSS_FIRST = "rsa_pss_rsae_sha256:rsa_pss_rsae_sha512:RSA+SHA256"

# Modern defaults first; then those that would rather have PSS, with TLS 1.3 on offer and without.
ACCEPTED = [
    S_CLIENT, S_CLIENT + ["-sigalgs", PSS_FIRST], S_CLIENT + ["-tls1_2", "-sigalgs", PSS_FIRST],
    GNUTLS + ["NORMAL"], GNUTLS + ["NORMAL:-SIGN-ALL:+SIGN-RSA-PSS-RSAE-SHA256:+SIGN-RSA-SHA256"],
    GNUTLS + ["NORMAL:-VERS-TLS1.3:-SIGN-ALL:+SIGN-RSA-PSS-RSAE-SHA384:+SIGN-RSA-SHA384"],
    CURL, CURL + ["--tls-max", "1.2"],
    ["node", "-e", NODE, "{port}", "{}"], ["node", "-e", NODE, "{port}", '{"sigalgs":"%s"}' % PSS_FIRST],
    ["node", "-e", NODE, "{port}", '{"maxVersion":"TLSv1.2"}'],
    [JAVA[0], *JAVA[2:]], JAVA, JAVA + ["TLSv1.2"],
    [sys.executable, "-c", "import ssl,sys,urllib.request as u\nprint(u.urlopen('https://127.0.0.1:{port}/', "
     "context=ssl.create_default_context(cafile='root')).read().decode())"],
    NSS, NSS + ["-V", "tls1.2:tls1.2"],
]
# Too old, and too new.
REFUSED = [
    S_CLIENT + ["-tls1_1", "-cipher", "DEFAULT@SECLEVEL=0"], S_CLIENT + ["-tls1_3"],
    GNUTLS + ["NORMAL:-VERS-ALL:+VERS-TLS1.1"], GNUTLS + ["NORMAL:-VERS-ALL:+VERS-TLS1.3"],
    CURL + ["--tls-max", "1.1", "--ciphers", "DEFAULT@SECLEVEL=0"], CURL + ["--tlsv1.3"],
    ["node", "-e", NODE, "{port}", '{"minVersion":"TLSv1.3"}'], JAVA + ["TLSv1.3"],
    NSS + ["-V", "tls1.1:tls1.1"], NSS + ["-V", "tls1.3:tls1.3"],
]


class Clients(TlsCase):
    def setUp(self):
        super().setUp()
        openssl("x509", "-in", "root", "-outform", "DER", "-out", "root.der")
        os.mkdir("nss"), self.put("request", b"GET / HTTP/1.0\r\n\r\n")
        for line in (["-N", "--empty-password"], ["-A", "-n", "root", "-t", "C,,", "-i", "root"]):
            subprocess.run(["certutil", line[0], "-d", "sql:nss", *line[1:]], check=True)
        self.servers = [(self.files(), "RSA-PSS"), (Server(self, "--store", "stores", "--cert", "MY\\\\host.example"), "RSA")]

    def run_client(self, client, port):
        line = [part.replace("{port}", str(port)) for part in client]
        self.assertTrue(shutil.which(line[0]), line[0])
        return subprocess.run(line, input=b"hello\n", stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)

    def test_modern_clients_are_served(self):
        for server, _ in self.servers:
            for client in ACCEPTED:
                with self.subTest(client=client):
                    done = self.run_client(client, server.port)
                    self.assertIn(b"TLSv1.2", done.stdout, done)
            self.assertEqual([entry["outcome"] for entry in server.stop()], ["answered"] * len(ACCEPTED))

    def test_a_store_signs_as_it_can(self):
        for server, expected in self.servers:
            self.run_client(S_CLIENT, server.port)
            self.assertEqual(server.stop()[0]["signature"].split("+")[0], expected)

    def test_other_versions_are_refused(self):
        for server, _ in self.servers:
            for client in REFUSED:
                with self.subTest(client=client):
                    self.assertNotIn(b"Cipher suite:", self.run_client(client, server.port).stdout)
            self.assertEqual({entry["outcome"] for entry in server.stop()}, {"no handshake"})
            self.assertEqual(len(server.log), len(REFUSED))


if __name__ == "__main__":
    unittest.main()
