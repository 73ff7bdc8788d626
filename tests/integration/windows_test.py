"""What is Windows' own in the command: windows_test.py COMMAND [GROUP...], where COMMAND is a script that runs it.
The group Package wants the archive in PACKAGE, the toolchain file in TOOLCHAIN, and Wine's folder in WINEPREFIX."""
import glob
import hashlib
import os
import shutil
import signal
import socket
import ssl
import subprocess
import unittest

from certificate_test import openssl
from command_test import COMMAND, DATA, KEY, PHRASE, Case
from key_test import LEGACY

NAMES = ("-two words", "Größe Ж データ 😀", "a'b%PATH%")
EXAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../examples")
LIBRARIES = ("cmncryptocore", "crypto-3-x64", "ssl-3-x64", "stdc++-6", "gcc_s_seh-1", "winpthread-1")


class Names(Case):
    def test_of_files(self):
        for name in NAMES:
            self.put(name, KEY), self.put(name + ".phrase", PHRASE + b"\n")
            self.assertEqual(self.run_command("hash", "--", name).decode(), f"{hashlib.sha256(KEY).hexdigest()}  {name}\n")
            for option, secret in (("-k", name), ("-p", name + ".phrase")):
                self.run_command("encrypt", f"{option}{secret}", "--force", f"-o{name}.out", "data")
                self.assertEqual(self.run_command("decrypt", f"{option}{secret}", "--", f"{name}.out"), DATA[:1000])
                self.refused(5, "exists already", "encrypt", f"{option}{secret}", f"-o{name}.out", "data")
                self.refused(2, "is the input", "encrypt", f"{option}{secret}", "--force", "-odata", ".\\DATA")

    def test_of_what_the_library_opens(self):
        for name in NAMES[1:2]:
            self.put("phrase", PHRASE + b"\n"), os.makedirs(f"{name}/MY")
            self.run_command("key", "new", "-b", "2048", "-p", "phrase", "-o", name + ".key")
            openssl("pkey", "-in", name + ".key", "-passin", "file:phrase", "-check", "-noout")
            self.run_command("cert", "self-signed", "-k", name + ".key", "-p", "phrase", "--subject", "CN=b", "-o", "pem")
            self.assertEqual([os.stat(file).st_mode & 0o004 for file in (name + ".key", "pem")], [0, 4])  # as Wine has it
            self.run_command("cert", "self-signed", "-k", name + ".key", "-p", "phrase", "--subject", "CN=ä", "-o",
                             f"{name}/MY/host.pem")
            self.run_command("cert", "save", "-o", name + ".pem", f"{name}/MY/host.pem")
            part = self.run_command("chain", "split", "-d", name + ".parts", name + ".pem").decode().rstrip()
            self.assertEqual(self.get(part), self.get(name + ".pem"))
            self.refused(5, "", "cert", "save", "-o", name + ".pem", name + ".pem")
            self.assertRegex(self.run_command("store", "list", "-s", name).decode(), "^Store MY: 1 cert.*\n\nSubject: +CN = ä\n")

    def test_with_a_prefix(self):
        name = "\\\\?\\Z:" + os.getcwd().replace("/", "\\") + "\\Ж"
        for option in ((), ("--force",)):
            self.run_command("encrypt", *option, "-kkey32", "-o" + name, "data")
            self.assertEqual(self.run_command("decrypt", "-kkey32", name), DATA[:1000])

    def test_beyond_the_code_page(self):
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-utf8", "-keyout", "key", "-subj", "/CN=Ж host", "-out", "pem")
        self.run_command("store", "import", "--into", "MY", "pem")
        text = self.run_command("store", "explain", "MY\\\\Ж host", expect=1)
        self.run_command("store", "remove", "--from", "MY", hashlib.sha1(ssl.PEM_cert_to_DER_cert(self.get("pem").decode())).hexdigest())
        self.assertIn(b"Candidate 1 of 1", text)

    def test_bytes_stay_as_they_are(self):
        self.put("ends", b"\r\n\n\x1a\0\r" * 9999)
        self.run_command("encrypt", "-k", "key32", "-o", "out", "ends")
        for data, arguments in ((self.get("out"), ()), (b"", ("out",))):
            self.assertEqual(self.run_command("decrypt", "-k", "key32", *arguments, data=data), self.get("ends"))
        self.assertNotIn(b"\r", self.run_command("--help"))


class Process(Case):
    def test_ctrl_c(self):
        before = set(os.listdir())
        with subprocess.Popen([COMMAND, "encrypt", "--json", "-k", "key32", "-o", "out"], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as child:
            while set(os.listdir()) == before:
                self.assertIsNone(child.poll())
            child.send_signal(signal.SIGINT)
            self.assertEqual(child.stdout.read(), b'{"error":"interrupted","code":null,"exit":130}\n')
            self.assertEqual((child.wait(60), child.stderr.read(), set(os.listdir())),
                             (130, b"cmncrypto: interrupted\n", before))

    def test_server(self):
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "key.pem", "-subj", "/CN=h", "-out", "pem")
        with subprocess.Popen([COMMAND, "tls", "serve", "--port", "0", "-c", "pem", "-k", "key.pem"],
                              stdout=subprocess.PIPE, preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL)
                              ) as server:
            port = int(server.stdout.readline().rpartition(b":")[2])
            context = ssl._create_unverified_context()
            for _ in range(3):
                with context.wrap_socket(socket.create_connection(("127.0.0.1", port))) as client:
                    client.sendall(b"GET / HTTP/1.0\r\n\r\n")
                    self.assertRegex(client.recv(9999), b"^HTTP/1.0 200 OK\r\n")
            self.assertIn(b"TLSv1.2", openssl("s_client", "-connect", f"127.0.0.1:{port}", data=b"Q\n"))
            self.assertRegex(self.run_command("tls", "connect", "--ca", "pem", "-n", "h", f"127.0.0.1:{port}"),
                             b"^verified\n")
            server.send_signal(signal.SIGINT)
            self.assertRegex(server.stdout.read(), rb"(\n.* answered TLSv1.2 .*){3}(\n.*)+\nstopped after \d+ connections\n$")
            self.assertEqual(server.wait(30), 0)


class Package(Case):
    def test_archive(self):
        shutil.unpack_archive(os.environ["PACKAGE"], "un packed Ж")
        root, = map(os.path.abspath, glob.glob("un packed Ж/*"))
        self.assertEqual(set(os.listdir(root + "/bin")),
                         {f"lib{name}.dll" for name in LIBRARIES} | {"cmncrypto.exe", "ossl-modules"})
        self.put("data", b"data"), self.put("phrase", PHRASE + b"\n")  # the examples take the text itself
        old = openssl("genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:1024")
        self.put("old", openssl("pkcs8", "-topk8", "-v1", "PBE-MD5-DES", "-passout", "file:phrase", *LEGACY, data=old))
        package = ["-DCMAKE_TOOLCHAIN_FILE=" + os.environ["TOOLCHAIN"], f"-Dcmncryptocore_DIR={root}/lib/cmake/cmncryptocore"]
        for language, example in (("c", "digest"), ("cpp", "stream")):
            subprocess.run(["cmake", "-S", f"{EXAMPLES}/{language}", "-B", language, *package], check=True, stdout=subprocess.DEVNULL)
            subprocess.run(["cmake", "--build", language, "--target", example], check=True, stdout=subprocess.DEVNULL)
            shutil.copy(f"{language}/{example}.exe", root + "/bin")  # beside the libraries, of which nothing else knows
        alone = {name: value for name, value in {**os.environ, "WINEDEBUG": "-all"}.items() if name != "WINEPATH"}
        run = lambda *line: subprocess.run(["/usr/lib/wine/wine64", f"{root}/bin/{line[0]}.exe", *line[1:]], env=alone,
                                           stdout=subprocess.PIPE, check=True).stdout.decode()
        for line in (("cmncrypto", "hash", "data"), ("digest", "data")):
            self.assertIn(hashlib.sha256(b"data").hexdigest(), run(*line))
        self.assertIn("decrypted: text\r\n", run("stream", "text"))
        self.assertIn("1024", run("cmncrypto", "key", "show", "-q", "-p", "phrase", "old"))


if __name__ == "__main__":
    unittest.main()
