"""Runs the command as people and scripts do: command_test.py PATH_OF_COMMAND [GROUP...]"""
import ctypes
import hashlib
import json
import os
import pty
import re
import resource
import signal
import stat
import subprocess
import sys
import tempfile
import time
import unittest

COMMAND = os.path.abspath(sys.argv.pop(1))
KEY_LENGTHS = {"CRYPT_NONE": 0, "AES_256_CBC": 32, "AES_192_CBC": 24, "AES_128_CBC": 16, "AES_256_CBC_EVP": 32,
               "AES_256_GCM": 32}
KEY, IV, PHRASE = bytes(range(100, 132)), bytes(range(16)), b"correct horse \xc3\xa4"
DATA = hashlib.shake_256(b"data").digest(3 << 20)
SIZES = (0, 1, 15, 16, 17, 65535, 65536, 65537, 262144, 3 << 20)


class Case(unittest.TestCase):
    """A folder of its own with keys and pass phrases, as current folder."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)
        for length in set(KEY_LENGTHS.values()) - {0}:
            self.put(f"key{length}", KEY[:length])
        self.put("pass", PHRASE + b"\nsecond line\n")
        self.put("data", DATA[:1000])

    @staticmethod
    def put(name, content, mode=0o600):
        with open(os.open(name, os.O_CREAT | os.O_WRONLY | os.O_TRUNC, mode), "wb") as file:
            file.write(content)

    @staticmethod
    def get(name):
        with open(name, "rb") as file:
            return file.read()

    def run_command(self, *arguments, data=b"", expect=0, **more):
        more.setdefault("stdout", subprocess.PIPE)
        done = subprocess.run([COMMAND, *arguments], input=data, stderr=subprocess.PIPE, timeout=120, **more)
        self.assertEqual(done.returncode, expect, (arguments, done.stderr))
        self.error = done.stderr.decode()
        return done.stdout

    def refused(self, expect, pattern, *arguments, **more):
        """The command fails with that code and message, writes nothing and leaves nothing."""
        before = {name: os.lstat(name).st_mtime_ns for name in os.listdir()}
        self.assertEqual(self.run_command(*arguments, expect=expect, **more) or b"", b"", arguments)
        self.assertRegex(self.error, r"^cmncrypto: .*" + pattern)
        self.assertEqual({name: os.lstat(name).st_mtime_ns for name in os.listdir()}, before, arguments)

    @staticmethod
    def keys(cipher, phrase=False):
        if cipher == "CRYPT_NONE":
            return ["-c", cipher]
        iv = ["--iv", IV.hex()] if cipher == "AES_256_CBC_EVP" and not phrase else []
        return ["-c", cipher] + (["-p", "pass"] if phrase else ["-k", f"key{KEY_LENGTHS[cipher]}", *iv])


def openssl_cbc(key, iv, stream):
    return subprocess.run(["openssl", "enc", "-d", f"-aes-{len(key) * 8}-cbc", "-K", key.hex(), "-iv", iv.hex()],
                          input=stream, stdout=subprocess.PIPE, check=True).stdout


def openssl_gcm(key, stream, aad):
    """Plaintext of an IV, ciphertext, tag stream by libcrypto itself, None where the tag is wrong."""
    crypto, number = ctypes.CDLL("libcrypto.so.3"), ctypes.c_int()
    for function in (crypto.EVP_aes_256_gcm, crypto.EVP_CIPHER_CTX_new):
        function.restype = ctypes.c_void_p
    context = ctypes.c_void_p(crypto.EVP_CIPHER_CTX_new())
    cipher, out = ctypes.c_void_p(crypto.EVP_aes_256_gcm()), ctypes.create_string_buffer(len(stream))
    iv, body, tag = stream[:12], stream[12:-16], stream[-16:]
    crypto.EVP_DecryptInit_ex(context, cipher, None, key, iv)
    crypto.EVP_DecryptUpdate(context, None, ctypes.byref(number), aad, len(aad))
    crypto.EVP_DecryptUpdate(context, out, ctypes.byref(number), body, len(body))
    crypto.EVP_CIPHER_CTX_ctrl(context, 0x11, 16, tag)
    good = crypto.EVP_DecryptFinal_ex(context, ctypes.create_string_buffer(16), ctypes.byref(number))
    crypto.EVP_CIPHER_CTX_free(context)
    return out.raw[:len(body)] if good == 1 else None


def flip(stream, position):
    changed = bytearray(stream)
    changed[position] ^= 1
    return bytes(changed)


class Hash(Case):
    def test_digests_agree_with_hashlib(self):
        for algorithm in ("SHA256", "SHA512", "SHA1", "MD5"):
            for size in SIZES:
                digest = hashlib.new(algorithm, DATA[:size]).hexdigest()
                self.assertEqual(self.run_command("hash", "-a", algorithm, data=DATA[:size]), f"{digest}  -\n".encode())
                found = json.loads(self.run_command("hash", "-a", algorithm, "--json", "-e", digest.upper(), "-",
                                                    data=DATA[:size]))
                self.assertEqual(found, {"algorithm": algorithm, "files": [
                    {"file": "-", "digest": digest, "bytes": size, "matches": True}]})

    def test_lines_are_those_of_sha256sum(self):
        names = ["data", "a b", "[a,b]", "random", "back\\slash", "line\nbreak", "cr\rx", "-dash", b"\xff\xfe", "-"]
        for name in names[:-1]:
            self.put(name, os.fsencode(name))
        expected = subprocess.run(["sha256sum", "--", *names], input=b"x", stdout=subprocess.PIPE, check=True).stdout
        self.assertEqual(self.run_command("hash", "--", *names, data=b"x"), expected)
        self.assertEqual(len(json.loads(self.run_command("hash", "--json", "--", *names, data=b"x"))["files"]), 10)

    def test_answers(self):
        digest = hashlib.sha256(DATA[:1000]).hexdigest()
        self.assertIn(digest.encode(), self.run_command("hash", "--expect", flip(digest.encode(), 5), "data", expect=1))
        self.assertRegex(self.error, "data: the digest differs")
        found = json.loads(self.run_command("hash", "--json", "none", "data", ".", expect=3))
        self.assertEqual([entry.get("digest") for entry in found["files"]], [None, digest, None])
        self.assertEqual(found["exit"], 3)


class Random(Case):
    def test_numbers(self):
        for count in (1, 2, 32, 65536):
            number = self.run_command("random", "-n", str(count))
            self.assertRegex(number, rb"\A[0-9a-f]{%d}\n\Z" % (2 * count))
            self.assertRegex(self.run_command("random", "-n", str(count), "-f", "dec"), rb"\A(0|[1-9][0-9]*)\n\Z")
            self.assertEqual(len(self.run_command("random", "-n", str(count), "-f", "raw")), count)
        self.assertLess(int(self.run_command("random", "-n", "2", "-f", "dec")), 1 << 16)
        draws = {self.run_command("random", "--bytes", "16") for _ in range(8)}
        self.assertEqual(len(draws), 8)
        self.assertEqual(len(json.loads(self.run_command("random", "--json"))["number"]), 64)

    def test_key_files(self):
        for form, length in (("raw", 24), ("hex", 49)):
            found = json.loads(self.run_command("random", "-f", form, "-n", "24", "-o", "made", "--force", "--json"))
            self.assertEqual((found["bytes"], found["output"], os.path.getsize("made")), (24, "made", length))
            self.assertEqual(stat.S_IMODE(os.stat("made").st_mode), 0o600)
            stream = self.run_command("encrypt", "-c", "AES_192_CBC", "-k", "made", data=b"text")
            self.assertEqual(self.run_command("decrypt", "-c", "AES_192_CBC", "-k", "made", data=stream), b"text")

    def test_passwords(self):
        lines = self.run_command("password", "--length", "1022", "--count", "50").split()
        self.assertEqual({len(line) for line in lines}, {1022})
        self.assertEqual(len(set(lines)), 50)
        self.assertEqual(len(set(b"".join(lines))), 62)
        self.assertEqual(len(json.loads(self.run_command("password", "--json", "-c", "3"))["passwords"]), 3)


class RoundTrip(Case):
    def test_all_ciphers_by_pipe_and_by_file(self):
        for cipher in KEY_LENGTHS:
            for size in SIZES:
                data, options = DATA[:size], self.keys(cipher)
                self.put("plain", data)
                stream = self.run_command("encrypt", *options, data=data)
                self.run_command("encrypt", *options, "-o", "stream", "plain")
                for source, again in ((["stream"], b""), ([], stream), (["-"], self.get("stream"))):
                    self.assertEqual(self.run_command("decrypt", *options, *source, data=again), data, (cipher, size))
                self.run_command("decrypt", *options, "-o", "again", "stream")
                self.assertEqual(self.get("again"), data, (cipher, size))
                os.unlink("stream"), os.unlink("again")

    def test_pass_phrases_and_authenticated_data(self):
        self.put("aad", DATA[:300000])
        for cipher in list(KEY_LENGTHS)[1:]:
            stream = self.run_command("encrypt", *self.keys(cipher, True), data=DATA)
            self.assertEqual(self.run_command("decrypt", *self.keys(cipher, True), data=stream), DATA, cipher)
        for extra in (["--aad", "text"], ["--aad", ""], ["--aad-file", "aad"]):
            stream = self.run_command("encrypt", "-p", "pass", *extra, data=b"x")
            self.assertEqual(self.run_command("decrypt", "-p", "pass", *extra, data=stream), b"x")

    def test_memory_does_not_grow_with_the_input(self):
        peaks = []
        for size in (1 << 20, 256 << 20):
            with open("sparse", "wb") as file:
                file.truncate(size)
            child = subprocess.Popen([COMMAND, "encrypt", "-k", "key32", "sparse", "-o", "/dev/null"])
            _, status, usage = os.wait4(child.pid, 0)
            self.assertEqual(status, 0)
            peaks.append(usage.ru_maxrss)
            child.returncode = 0
        self.assertLess(peaks[1] - peaks[0], 8192)


class Interoperation(Case):
    def test_streams_are_plain_aes(self):
        for size in SIZES:
            data = DATA[:size]
            for cipher in ("AES_256_CBC", "AES_192_CBC", "AES_128_CBC", "AES_256_CBC_EVP"):
                stream = self.run_command("encrypt", *self.keys(cipher), data=data)
                iv, body = (IV, stream) if cipher == "AES_256_CBC_EVP" else (stream[:16], stream[16:])
                self.assertEqual(openssl_cbc(KEY[:KEY_LENGTHS[cipher]], iv, body), data, (cipher, size))
            self.assertEqual(self.run_command("encrypt", "-c", "CRYPT_NONE", data=data), data)
            stream = self.run_command("encrypt", "-k", "key32", "--aad", "context", data=data)
            self.assertEqual(openssl_gcm(KEY, stream, b"context"), data, size)
            self.assertIsNone(openssl_gcm(KEY, stream, b"contexT"))

    def test_pass_phrase_header(self):
        for cipher, length in (("AES_256_CBC_EVP", 48), ("AES_128_CBC", 16), ("AES_256_GCM", 32)):
            stream = self.run_command("encrypt", *self.keys(cipher, True), data=DATA[:100])
            header, body = stream[:28], stream[28:]
            self.assertEqual(header[:12], b"CMNCPW01" + (600000).to_bytes(4, "big"))
            derived = hashlib.pbkdf2_hmac("sha256", PHRASE, header[12:], 600000, length)
            self.assertEqual({"AES_256_CBC_EVP": lambda: openssl_cbc(derived[:32], derived[32:], body),
                              "AES_128_CBC": lambda: openssl_cbc(derived, body[:16], body[16:]),
                              "AES_256_GCM": lambda: openssl_gcm(derived, body, header)}[cipher](), DATA[:100])
            salt = self.run_command("encrypt", *self.keys(cipher, True), data=b"")[12:28]
            self.assertNotEqual(header[12:], salt)


class Refusal(Case):
    def test_altered_and_short_gcm_streams(self):
        stream = self.run_command("encrypt", "-k", "key32", data=DATA[:100])
        for position in (0, 11, 12, 60, 111, 112, 127):
            self.refused(7, "not authentic.*1270", "decrypt", "-k", "key32", data=flip(stream, position))
            self.refused(7, "1270.*nothing was written", "decrypt", "-k", "key32", "-o", "out",
                         data=flip(stream, position))
        for length in (0, 1, 11, 12, 27):
            self.refused(7, f"cut short: it has {length} bytes", "decrypt", "-k", "key32", data=stream[:length])
        for changed in (stream[:28], stream[:-1], stream + b"x"):
            self.refused(7, "1270", "decrypt", "-k", "key32", data=changed)
        self.refused(7, "1270", "decrypt", "-k", "key32", "--aad", "other", data=stream)

    def test_altered_and_short_cbc_streams(self):
        for cipher in ("AES_256_CBC", "AES_192_CBC", "AES_128_CBC", "AES_256_CBC_EVP"):
            options, lead = self.keys(cipher), 0 if cipher == "AES_256_CBC_EVP" else 16
            stream = self.run_command("encrypt", *options, data=DATA[:300000 // 16 * 16])
            # One bit of the block before the last changes the padding from 16 times 16 to an impossible one.
            for changed in (flip(stream, -17), stream[:-1], stream[:lead], stream[:lead + 15], b"", stream[:5]):
                self.refused(7, "padding", "decrypt", *options, data=changed)
                self.refused(7, "padding", "decrypt", *options, "-o", "out", data=changed)

    def test_pass_phrase_streams(self):
        stream = self.run_command("encrypt", "-p", "pass", data=b"text")
        for changed, why in ((stream[:0], "use --key-file"), (flip(stream, 0), "use --key-file"),
                             (stream[:27], "header"), (flip(stream, 11), "1270"), (flip(stream, 27), "1270"),
                             (flip(stream, 28), "1270"), (stream[:28], "cut short"),
                             *((stream[:8] + count.to_bytes(4, "big") + stream[12:], f"asks for {count} iterations")
                               for count in (0, 999, 10000001, 0xFFFFFFFF))):
            self.refused(7, why, "decrypt", "-p", "pass", data=changed)
        self.put("other", PHRASE + b"x")
        self.refused(7, "1270", "decrypt", "-p", "other", data=stream)
        self.refused(7, "try --pass-file", "decrypt", "-k", "key32", data=stream)


class Usage(Case):
    def test_command_lines_that_make_no_sense(self):
        gcm, out = ["-k", "key32"], ["-o", "out"]
        for line in ([], ["nothing"], ["hash", "--nope"], ["hash", "-a", "sha256"], ["hash", "-e", "00", "data"],
                     ["hash", "-e", "g" * 64], ["hash", "-e", "0" * 64, "data", "data"], ["hash", "-e", ""],
                     ["--log-level", "all", "fips"], ["random", "-n", "0"], ["random", "-n", "-1"],
                     ["random", "-n", "65537"], ["random", "-n", "9" * 30], ["random", "-n", "1e3"],
                     ["random", "-f", "raw", "-n", "9" * 17], ["random", "-n", ""], ["random", "-o", ""],
                     ["random", "-f", "RAW"], ["password", "-l", "0"], ["password", "-l", "1023"],
                     ["password", "-c", "x"], ["encrypt"], ["encrypt", *gcm, "-p", "pass"], ["encrypt", "-k", ""],
                     ["encrypt", "-c", "aes_256_gcm", *gcm], ["encrypt", "-c", "CRYPT_INVALID", *gcm],
                     ["encrypt", "-c", "CRYPT_NONE", *gcm], ["encrypt", *gcm, "--iv", IV.hex()],
                     ["encrypt", "-c", "AES_256_CBC_EVP", *gcm], ["encrypt", "-k", "-"],
                     ["encrypt", "-c", "AES_256_CBC_EVP", "-p", "pass", "--iv", IV.hex()],
                     ["encrypt", "-c", "AES_256_CBC", *gcm, "--aad", "x"], ["encrypt", *gcm, "data", "data"],
                     ["encrypt", *gcm, "--aad", "x", "--aad-file", "data"], ["encrypt", *gcm, "data", "-o", ""],
                     ["decrypt", *gcm, "--force", "-o", "data", "data"], ["encrypt", *gcm, *out, *out]):
            self.refused(2, "", *line)
        os.link("data", "same")
        self.refused(2, "is the input as well", "encrypt", *gcm, "--force", "-o", "same", "data")
        with open("data", "ab") as file:
            self.refused(2, "is the input as well", "encrypt", *gcm, "data", stdout=file)

    def test_inputs_keys_and_outputs(self):
        os.mkdir("folder")
        gcm = ["encrypt", "-k", "key32"]
        for name, content in (("empty", b""), ("line", b"\n"), ("long", b"x" * 1023), ("short", KEY[:31]),
                              ("more", KEY + b"\n"), ("hex", KEY.hex().encode()[:-1] + b"g")):
            self.put(name, content)
        for name in ("none", "folder", "/proc/self/mem"):
            self.refused(3, "", *gcm, "-o", "out", name)
            self.refused(3, "", *gcm, "-o", "out", "--aad-file", name, "data")
            self.refused(3, "", "hash", name)
        for name in ("none", "folder", "empty", "short", "more", "hex", "/dev/zero"):
            self.refused(6, re.escape(name), "encrypt", "-k", name, "-o", "out", "data")
        for name in ("none", "folder", "empty", "line", "long"):
            self.refused(6, re.escape(name), "encrypt", "-p", name, "-o", "out", "data")
        for iv in ("", "0" * 31, "0" * 34, "x" * 32):
            self.refused(6, "--iv", "encrypt", "-c", "AES_256_CBC_EVP", "-k", "key32", "--iv", iv, "data")
        for name in ("folder", "none/out", "data/out", "o" * 300):
            self.refused(4, "", *gcm, "-o", name, "data")
        if os.geteuid() != 0:
            os.chmod("data", 0), os.chmod("folder", 0o500)
            self.refused(3, "Permission denied", *gcm, "data")
            self.refused(4, "Permission denied", *gcm, "-o", "folder/out", "key32")

    def test_keys_in_hexadecimal_and_warnings(self):
        stream = self.run_command("encrypt", "-k", "key32", data=b"text")
        for end in ("", "\n", "\r\n"):
            for digits in (KEY.hex(), KEY.hex().upper()):
                self.put("open", (digits + end).encode())
                os.chmod("open", 0o644)
                self.assertEqual(self.run_command("decrypt", "-k", "open", data=stream), b"text")
                self.assertRegex(self.error, r"\Acmncrypto: warning: open can be read by others[^\n]*\n\Z")
                self.run_command("decrypt", "-k", "open", "-q", data=stream)
                self.assertEqual(self.error, "")
        # With standard error closed the warning must not end up in the output.
        self.run_command("encrypt", "-k", "open", "-o", "out", data=b"text", preexec_fn=lambda: os.close(2))
        self.assertEqual(self.run_command("decrypt", "-k", "open", "out"), b"text")
        os.chmod("pass", 0o640)
        self.run_command("encrypt", "-p", "pass")
        self.assertRegex(self.error, "warning: pass ")


class Output(Case):
    def test_existing_outputs_and_permissions(self):
        self.put("out", b"precious")
        os.symlink("out", "link"), os.symlink("nowhere", "dangling")
        for name in ("out", "link", "dangling"):
            self.refused(5, "--force", "encrypt", "-k", "key32", "-o", name, "data")
        os.umask(0o027)
        self.run_command("encrypt", "-k", "key32", "-o", "link", "--force", "data")
        self.assertTrue(os.path.islink("link"))
        self.assertEqual(stat.S_IMODE(os.stat("out").st_mode), 0o640)
        self.run_command("decrypt", "-k", "key32", "-o", "again", "out")
        self.assertEqual((self.get("again"), stat.S_IMODE(os.stat("again").st_mode)), (DATA[:1000], 0o600))
        os.umask(0o022)

    def waiting(self, **more):
        """The command with its temporary file made, waiting for input."""
        before = set(os.listdir())
        child = subprocess.Popen([COMMAND, "encrypt", "-k", "key32", "-o", "out"], stdin=subprocess.PIPE,
                                 stderr=subprocess.PIPE, **more)
        deadline = time.monotonic() + 60
        while set(os.listdir()) == before and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertEqual(len(set(os.listdir()) - before), 1)
        return child, before

    def test_output_that_appears_meanwhile_is_kept(self):
        child, before = self.waiting()
        self.put("out", b"precious")
        self.assertRegex(child.communicate(b"text")[1], b"exists already")
        self.assertEqual((child.returncode, self.get("out"), set(os.listdir())), (5, b"precious", before | {"out"}))

    def test_signals(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            child, before = self.waiting()
            child.stdin.write(DATA)
            child.send_signal(number)
            self.assertEqual((child.wait(60), set(os.listdir())), (130, before), number)
            self.assertEqual(child.stderr.read(), b"cmncrypto: interrupted\n")
            child.stderr.close(), child.stdin.close()
        child, before = self.waiting(preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        child.send_signal(signal.SIGHUP)
        child.communicate(b"text")
        self.assertEqual((child.returncode, set(os.listdir())), (0, before | {"out"}))

    def test_failing_writes(self):
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000))
        self.refused(4, "out: File too large", "encrypt", "-k", "key32", "-o", "out", data=DATA, preexec_fn=limit)
        for line in (["hash", "data"], ["random"], ["random", "-f", "raw"], ["password"], ["encrypt", "-k", "key32"],
                     ["fips"], ["--help"], ["--version"], ["hash", "--json", "data"]):
            with open("/dev/full", "wb") as full:
                self.refused(4, "No space left", *line, stdout=full)
            self.refused(4, "Bad file", *line, stdout=None, preexec_fn=lambda: os.close(1))
        self.refused(4, "/dev/full: No space", "encrypt", "-k", "key32", "-o", "/dev/full", "data")
        for operation, data in (("encrypt", DATA), ("decrypt", self.run_command("encrypt", "-k", "key32", data=DATA))):
            reader, writer = os.pipe()
            os.close(reader)
            self.refused(4, "the reader has gone", operation, "-k", "key32", data=data, stdout=writer)
            os.close(writer)

    def test_json(self):
        for operation, sizes in (("encrypt", (1000, 1056)), ("decrypt", (1056, 1000))):
            source, target = ("data", "out") if operation == "encrypt" else ("out", "again")
            found = json.loads(self.run_command(operation, "-p", "pass", "-o", target, "--json", source))
            self.assertEqual(found, {"operation": operation, "cipher": "AES_256_GCM", "key": "pass-file",
                                     "input": source, "output": target, "bytesIn": sizes[0], "bytesOut": sizes[1]})
        for line, code, exit_code in ((["decrypt", "-k", "key32", "-o", "x", "out"], 1270, 7), (["hash", "-x"], None, 2),
                                      (["encrypt", "-k", "key32", "-o", "out"], None, 5), (["encrypt"], None, 2),
                                      (["encrypt", "-k", "key32", "-o", "-"], None, 2), (["random", "-o-"], None, 2),
                                      (["random", "-f", "raw"], None, 2), (["encrypt", "-p", "/dev/null"], 13, 6)):
            more = ["-o", "y"] if line[-1] == "/dev/null" else []
            found = json.loads(self.run_command(*line, *more, "--json", expect=exit_code))
            self.assertEqual((found["code"], found["exit"]), (code, exit_code), line)
            self.assertIn(found["error"].split(":")[0], self.error)


class Terminal(Case):
    def on_terminal(self, *arguments, pause=0.0, terminal_output=False):
        """Exit code, standard output and what a terminal as standard error (or output) received."""
        master, slave = pty.openpty()
        streams = {"stdout": slave, "stderr": subprocess.PIPE} if terminal_output else {
            "stdout": subprocess.PIPE, "stderr": slave}
        child = subprocess.Popen([COMMAND, *arguments], stdin=subprocess.DEVNULL, **streams)
        os.close(slave)
        time.sleep(pause)
        out = b"".join(stream for stream in child.communicate() if stream)
        seen = b""
        try:
            while piece := os.read(master, 65536):
                seen += piece
        except OSError:
            pass  # how the end of a terminal looks
        os.close(master)
        return child.returncode, out, seen.decode()

    def test_progress_of_long_work_only(self):
        with open("sparse", "wb") as file:
            file.truncate(8 << 20)
        code, out, seen = self.on_terminal("encrypt", "-k", "key32", "sparse", pause=1.2)
        self.assertEqual((code, len(out)), (0, (8 << 20) + 28))
        self.assertRegex(seen, r"\r\x1b\[Ksparse: \[#*\.*\] \d+% [\d.]+ [KM]iB of 8\.0 MiB, [\d.]+ [KM]iB/s, \d+:\d\d left")
        self.assertTrue(seen.endswith("\r\x1b[K"), seen)
        for line in (["encrypt", "-k", "key32", "-q", "sparse"], ["encrypt", "-k", "key32", "data"]):
            self.assertEqual(self.on_terminal(*line, pause=0.9)[::2], (0, ""))

    def test_no_binary_output_on_terminals(self):
        for line in (["encrypt", "-k", "key32", "data"], ["random", "-f", "raw"], ["decrypt", "-k", "key32", "data"]):
            code, error, seen = self.on_terminal(*line, terminal_output=True)
            self.assertEqual((code, seen), (2, ""))
            self.assertIn(b"is a terminal; name an output with -o FILE", error)
        self.assertEqual(self.on_terminal("encrypt", "-c", "CRYPT_NONE", "-o", "-", terminal_output=True)[0], 0)

    def test_hostile_names_do_not_reach_the_terminal(self):
        self.assertNotIn("\x1b", self.on_terminal("hash", "\x1b[31m")[2])


class Report(Case):
    def test_log_levels(self):
        line, stream = ["decrypt", "-k", "key32"], bytes(50)
        counts = []
        for level in ("none", "failure", "warning", "info", "trace"):
            self.run_command("--log-level", level, *line, data=stream, expect=7)
            counts.append(len(self.error.splitlines()))
            self.assertEqual("[failure] GCMCrypter::decrypt: EVP_DecryptFinal_ex returned FAILURE" in self.error,
                             level != "none")
            self.assertEqual("[trace]" in self.error, level == "trace")
        self.assertEqual(counts, sorted(counts))
        self.assertEqual(counts[0], 1)
        self.run_command("fips", "--log-level", "info")
        self.assertIn("[info] CmnApi::initOpenssl: ", self.error)

    def test_help_and_version(self):
        text = self.run_command("--help").decode()
        for word in ("hash", "random", "password", "encrypt", "decrypt", "fips", "130  interrupted"):
            self.assertIn(word, text)
        self.assertIn("--aad-file", self.run_command("encrypt", "--help").decode())
        self.assertRegex(self.run_command("--version"), rb"\Acmncrypto \d+\.\d+\.\d+, OpenSSL 3")


if __name__ == "__main__":
    unittest.main()
