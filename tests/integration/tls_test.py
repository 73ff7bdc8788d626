# TLS on the command line, with clients and servers of others: tls_test.py PATH_OF_COMMAND [GROUP...]
import fcntl
import contextlib
import json
import os
import re
import resource
import signal
import socket
import ssl
import struct
import subprocess
import threading
import time
import unittest

from command_test import COMMAND
from certificate_test import openssl
from store_test import KEY, StoreCase

RESET = struct.pack("ii", 1, 0)


class Server:
    """A server of the command, or of openssl, that is ended with the test."""

    def __init__(self, case, *arguments, limits=lambda: None):
        def begin():
            signal.signal(signal.SIGINT, signal.SIG_DFL)  # a shell's background jobs ignore it
            limits()

        self.process = subprocess.Popen([COMMAND, "tls", "serve", "--port", "0", "--json", *arguments],
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, preexec_fn=begin)
        case.addCleanup(self.stop)
        line = self.process.stdout.readline()
        assert line, self.process.stderr.read()
        self.log = []
        self.port = int(json.loads(line)["listening"][0].rpartition(":")[2])

    def stop(self, number=signal.SIGINT):
        """@return the documents of all connections; the server has ended well."""
        if self.process.poll() is None:
            self.process.send_signal(number)
            out, error = self.process.communicate(timeout=30)
            *self.log, last = map(json.loads, out.splitlines())
            assert (self.process.returncode, error, last["connections"]) == (0, b"", len(self.log)), (error, last)
        return self.log

    def held(self):
        """@return descriptors, threads and memory, after at most twenty seconds without a connection, none waiting"""
        count = lambda what: len(os.listdir(f"/proc/{self.process.pid}/{what}"))
        seen = []
        for _ in range(200):
            seen = seen[-2:] + [(count("fd"), count("task"))]
            if seen == [(min(seen)[0], 1)] * 3:
                break
            time.sleep(0.1)
        with open(f"/proc/{self.process.pid}/status") as file:
            memory = int(re.search(r"RssAnon:\s+(\d+)", file.read())[1])
        return *seen[-1], memory


class TlsCase(StoreCase):
    def setUp(self):
        super().setUp()
        self.put("ca.cnf", b"basicConstraints=critical,CA:true\nkeyUsage=keyCertSign,cRLSign\n")
        self.put("leaf.cnf", b"subjectAltName=DNS:host.example,IP:127.0.0.1\n")
        self.put("key", KEY)
        for serial, made in enumerate(("root", "host.example", "good", "bad", "other"), 1):
            issuer = "root" if made not in ("root", "other") else made
            openssl("req", "-new", "-key", "key", "-subj", "/CN=" + made, "-out", "r")
            signer = ["-key", "key"] if issuer == made else ["-CA", issuer, "-CAkey", "key"]
            openssl("x509", "-req", "-in", "r", *signer, "-days", "9", "-out", made, "-set_serial", str(serial),
                    "-extfile", "ca.cnf" if issuer == made else "leaf.cnf")
        self.put("index", b"R\t490101000000Z\t200101000000Z\t04\tunknown\t/CN=bad\n"), self.put("number", b"01\n")
        self.put("crl.cnf", b"[ca]\ndefault_ca=a\n[a]\ndatabase=index\ncrlnumber=number\ndefault_md=sha256\n")
        openssl("ca", "-gencrl", "-config", "crl.cnf", "-cert", "root", "-keyfile", "key", "-crldays", "9", "-out", "crl")
        os.makedirs("stores/MY"), self.put("stores/MY/x.pem", self.get("host.example") + KEY)
        self.context = ssl.create_default_context(cafile="root")

    def files(self, *more):
        return Server(self, "--cert", "host.example", "--key", "key", *more)

    def ask(self, port, request=b"hello\n", context=None, session=None, name="host.example"):
        """@return the answer and the connection, over"""
        with socket.create_connection(("127.0.0.1", port), 30) as raw:
            with (context or self.context).wrap_socket(raw, server_hostname=name, session=session) as tls:
                tls.sendall(request)
                answer = b""
                while piece := tls.recv(65536):
                    answer += piece
                tls.cipher_used, tls.reused, tls.used, _ = tls.cipher()[0], tls.session_reused, tls.session, tls.unwrap()
        return answer.decode(), tls


class Serving(TlsCase):
    def test_what_was_negotiated(self):
        both = [self.files(), Server(self, "--store", "stores", "--cert", "MY\\root\\host.example")]
        for server, kind in zip(both, ("RSA-PSS", "RSA")):
            answer, tls = self.ask(server.port)
            for word in ("TLSv1.2", tls.cipher_used, "host.example", kind + "+SHA"):
                self.assertIn(word, answer)
            again = self.ask(server.port, session=tls.used)[1]  # with an ID of the client's making
            self.assertFalse(tls.used.has_ticket or again.reused)
            head, _, body = self.ask(server.port, b"GET / HTTP/1.1\r\nHost: x\r\n\r\n")[0].partition("\r\n\r\n")
            self.assertEqual((body, head.splitlines()[0]), (answer, "HTTP/1.0 200 OK"))
            self.assertIn(f"Content-Length: {len(body)}", head)
            self.assertEqual(self.ask(server.port, b"HEAD / HTTP/1.0\r\n\r\n")[0].partition("\r\n\r\n")[::2], (head, ""))
            client = lambda *more: subprocess.run(["openssl", "s_client", "-connect", f"127.0.0.1:{server.port}", *more],
                                                  input=b"", capture_output=True)
            for cipher in ("ECDHE-RSA-AES128-GCM-SHA256", "DHE-RSA-AES256-GCM-SHA384", "ECDHE-RSA-CHACHA20-POLY1305"):
                said = client("-cipher", cipher, "-CAfile", "root", "-verify_return_error", "-groups", "P-384").stdout
                self.assertIn(f"Peer signature type: {kind}\n".encode(), said)
                self.assertIn(f"Cipher is {cipher}".encode(), said)
            for refused, reason in (("-tls1_1", "unsupported protocol"), ("-tls1_3", "unsupported protocol"),
                                    ("-cipher=AES128-SHA", "no shared cipher")):
                self.assertNotEqual(client(*refused.split("="), "-cipher" if "=" not in refused else "-no_tls1_3",
                                           *(["ALL:@SECLEVEL=0"] if "=" not in refused else [])).returncode, 0)
            log = server.stop(signal.SIGTERM)
            self.assertEqual([one["outcome"] for one in log], ["answered"] * 4 + ["no request"] * 3 + ["no handshake"] * 3)
            self.assertEqual((log[-1]["reason"], log[-3]["reason"]), ("no shared cipher", "unsupported protocol"))
            self.assertEqual((log[4]["cipher"], log[4]["group"], log[0]["cipher"]),
                             ("ECDHE-RSA-AES128-GCM-SHA256", "secp384r1", tls.cipher_used))

    def test_many_at_once_and_a_signal(self):
        server, answers = self.files(), []

        def loop():
            try:
                while True:
                    answers.append(self.ask(server.port)[0])
            except OSError:
                pass  # the server has gone

        threads = [threading.Thread(target=loop) for _ in range(8)]
        [one.start() for one in threads], time.sleep(1)
        log = server.stop(), [one.join(30) for one in threads]
        self.assertEqual((len(set(answers)), any(one.is_alive() for one in threads)), (1, False))
        answered = sum(one["outcome"] == "answered" for one in log[0])
        self.assertTrue(8 < len(answers) <= answered <= len(answers) + 8, (len(answers), answered))

    def test_certificates_of_clients(self):
        servers = [self.files("--ca", "root"), self.files("--ca", "root", "--crl", "crl")]
        for who, verdicts in (("good", ("verified", "verified")), ("bad", ("verified", "revoked")),
                              ("other", ("rejected", "rejected")), (None, ("without certificate",) * 2)):
            context = ssl.create_default_context(cafile="root")
            if who:
                context.load_cert_chain(who, "key")
            for server, verdict in zip(servers, verdicts):
                refused = verdict in ("revoked", "rejected")
                line, http = (self.ask(server.port, text, context)[0] for text in (b"x\n", b"GET / HTTP/1.0\r\n\r\n"))
                self.assertEqual((line.startswith("refused: "), line.count("\n") == 1), (refused, refused), line)
                self.assertEqual((http.startswith("HTTP/1.0 403 "), "Cipher suite" in line + http), (refused, not refused))
                self.assertEqual("certificate revoked (error 23, code 9318)" in line, verdict == "revoked")
        for server, column in zip(servers, (0, 1)):
            for one in server.stop()[4:6]:
                self.assertEqual((one["clientSubject"], one["clientVerdict"], one["outcome"]),
                                 ("CN = other", "rejected", "refused"))

    def test_clients_that_are_refused(self):
        self.put("short", openssl("genrsa", "1024"))
        server, expected = self.files("--ca", "root"), []
        for who, key, digest, error in (("weak", "short", "-sha256", 66), ("old", "key", "-sha1", 68), ("fine", "key", "-sha256", 0)):
            openssl("req", "-new", "-key", key, "-subj", "/CN=" + who, "-out", "r")
            openssl("x509", "-req", "-in", "r", "-CA", "root", "-CAkey", "key", digest, "-out", who, "-set_serial", "9")
            context = ssl.create_default_context(cafile="root")
            context.set_ciphers("ALL:@SECLEVEL=0"), context.load_cert_chain(who, key)
            self.assertEqual(self.ask(server.port, context=context)[0].startswith("refused: "), error > 0, who)
            for end in (struct.pack("ii", 0, 0), RESET):  # gone without a request
                with socket.create_connection(("127.0.0.1", server.port)) as raw:
                    tls = context.wrap_socket(raw, server_hostname="host.example")
                    tls.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, end), tls.close()
            expected += [("refused", error)] * 3 if error else [("answered", 0), ("broken off", 0), ("broken off", 0)]
        server.held()  # so that the signal cuts none short
        found = [(one["outcome"], int((re.findall(r"\(error (\d+)", one["reason"] or "") or "0")[0])) for one in server.stop()]
        self.assertEqual(sorted(found), sorted(expected))
        self.assertEqual({(one["reason"], one["code"]) for one in server.log if one["outcome"] == "broken off"},
                         {("unexpected eof while reading", 13), ("Connection reset by peer", 13)})

    def test_output_that_nobody_reads(self):
        server = self.files()
        fcntl.fcntl(server.process.stdout, fcntl.F_SETPIPE_SZ, 4096)
        for _ in range(40):
            self.ask(server.port)
        idle = socket.create_connection(("127.0.0.1", server.port))
        server.process.send_signal(signal.SIGTERM)
        self.assertEqual(server.process.wait(4), 4)
        self.assertIn(b"nobody reads", server.process.communicate()[1]), idle.close()

    def test_quotes_around_what_clients_choose(self):
        with subprocess.Popen([COMMAND, "tls", "serve", "-P", "0", "--host", "127.0.0.1", "-c", "host.example", "-k", "key"],
                              stdout=subprocess.PIPE) as text:
            self.context.check_hostname = False
            self.ask(int(text.stdout.readline().rpartition(b":")[2]), name='x" answered\n\\')
            text.terminate()
            self.assertIn(b' serverName="x\\" answered\\n\\\\"\n', text.stdout.read())

    def test_what_people_do_wrong(self):
        openssl("rsa", "-aes128", "-passout", "pass:secret", "-in", "key", "-out", "locked")
        self.put("phrase", b"secret\n"), self.put("der", openssl("x509", "-in", "good", "-outform", "DER"))
        self.put("foreign", openssl("genpkey", "-algorithm", "ED25519")), self.put("both", self.get("good") + KEY)
        Server(self, "--cert", "both").stop()
        Server(self, "--cert", "good", "-k", "locked", "-p", "phrase").stop()
        busy = socket.create_server(("127.0.0.1", 0))
        store = "--store stores --cert MY\\\\"
        self.put("stores/MY/locked.pem", self.get("other") + self.get("locked"))
        self.put("stores/MY/short.pem", openssl("req", "-x509", "-newkey", "rsa:512", "-nodes", "-keyout", "tiny", "-subj", "/CN=tiny"))
        self.put("stores/MY/short.key", self.get("tiny"))
        for expect, pattern, line in (
                (6, "holds no private key", "--cert good"), (6, "give its pass phrase", "--cert good --key locked"),
                (6, "does not open", "--cert good --key locked -p data"), (6, "not the key", "--cert good --key foreign"),
                (3, "holds no", "--cert good --key data"), (3, "no certificate", "--cert data --key key"),
                (6, "PEM", "--cert der --key key"), (3, "No such file", "--cert none --key key"),
                (2, "--store", "--cert MY\\\\host.example"), (3, "no such store|store list", "--store stores --cert NO\\\\x"),
                (3, "no certificate: no certificate|subject", store + "nobody"), (2, "leave them out", store + "host --key key"),
                (2, "is a file", "--store stores --cert good"), (2, "STORE", "--store stores --cert a\\b"),
                (2, "--ciphers", "--cert both --ciphers NONSENSE"), (2, "--ciphers", store + "host.example --ciphers AES128-SHA"),
                (2, "element is empty", store + "host.example,"), (3, "encrypted", store + "other"), (6, "short key", store + "tiny"),
                (4, "no suite of the list", f"--cert both --ciphers ECDHE-ECDSA-AES128-GCM-SHA256 --port {busy.getsockname()[1]}"),
                (2, "--ca", "--cert both --crl crl"), (3, "", "--cert both --ca none"), (3, "", "--cert both --ca root --crl root"),
                (2, "--port", "--cert both --port 70000"), (2, "--timeout", "--cert both --timeout 0"),
                (4, "in use.*--port", f"--cert both --port {busy.getsockname()[1]}"),
                (4, "address of this", "--cert both --host 192.0.2.1"), (3, "host", "--cert both --host no.such.invalid")):
            port = [] if "--port" in line else ["--port", "0"]
            self.refused(expect, pattern, "tls", "serve", *port, *line.split(" "))


class Abuse(TlsCase):
    def hello(self):
        incoming, outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
        tls = self.context.wrap_bio(incoming, outgoing, server_hostname="host.example")
        try:
            tls.do_handshake()
        except ssl.SSLWantReadError:
            return outgoing.read()

    def test_hostile_clients(self):
        server = self.files("--timeout", "3")
        self.ask(server.port)
        before = server.held()
        for round in range(25):
            for content in (b"", b"\0" * 5000, b"GET / HTTP/1.0\r\n\r\n", os.urandom(300), self.hello(), self.hello()[:20],
                            b"\x16\3\1\xff\xff" + bytes(70000), b"\x15\3\3\0\2\2\x28"):
                with socket.create_connection(("127.0.0.1", server.port)) as raw:
                    raw.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, RESET if round % 2 else struct.pack("ii", 0, 0))
                    try:
                        raw.sendall(content)
                    except OSError:
                        pass
            for request in (b"", b"x", b"GET / HTTP/1.0\r\n", b"hello\n"):  # and gone without goodbye, or with a reset
                with socket.create_connection(("127.0.0.1", server.port)) as raw:
                    tls = self.context.wrap_socket(raw, server_hostname="host.example")
                    tls.sendall(request)
                    tls.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, RESET if round % 2 else struct.pack("ii", 0, 0))
                    tls.close()
        self.ask(server.port, b"a" * 100000)
        slow = socket.create_connection(("127.0.0.1", server.port))
        for byte in self.hello():
            slow.sendall(bytes([byte]))
        self.assertEqual(slow.recv(3), b"\x16\3\3")
        slow.close()
        after = server.held()
        self.assertEqual(after[:2], before[:2])
        self.assertLess(after[2], before[2] + 8192)
        log = server.stop()
        self.assertEqual({one["code"] for one in log if one["outcome"] == "no handshake"}, {9120})
        self.assertFalse([one for one in log if "Failed" in (one["reason"] or "")])
        reasons = {one["reason"] for one in log}
        self.assertGreaterEqual(reasons, {"http request", "wrong version number", "unexpected eof while reading",
                                          "Connection reset by peer", None})

    def test_idle_connections_do_not_starve_others(self):
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        resource.setrlimit(resource.RLIMIT_NOFILE, (min(hard, 2048), hard))
        few = lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (100, 100))  # fewer than there are threads
        for limits in (lambda: None, few):
            server = Server(self, "--cert", "host.example", "-k", "key", "-T", "1", limits=limits)
            before = server.held()
            idle = [socket.create_connection(("127.0.0.1", server.port)) for _ in range(500)]
            self.assertIn("TLSv1.2", self.ask(server.port)[0])
            [one.close() for one in idle]
            with open(f"/proc/{server.process.pid}/stat") as file:
                self.assertLess(sum(map(int, file.read().split()[13:15])), 100 * os.sysconf("SC_CLK_TCK") // 50)
            log = server.stop()
            self.assertGreater(sum(one["reason"] == "timed out" for one in log), 50)


class Probing(TlsCase):
    def foreign(self, *arguments):
        """A server of openssl. @return its port"""
        process = subprocess.Popen(["openssl", "s_server", "-accept", "127.0.0.1:0", "-key", "key", *arguments],
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.PIPE)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        while b"ACCEPT" not in (line := process.stdout.readline()):
            self.assertTrue(line)
        threading.Thread(target=process.stdout.read, daemon=True).start()
        return line.decode().rpartition(":")[2].strip()

    def test_offers_of_servers(self):
        suites, ten = ["ECDHE-RSA-AES256-GCM-SHA384", "AES128-SHA", "DHE-RSA-AES128-GCM-SHA256"], "DEFAULT:@SECLEVEL=0"
        listed = ":".join(suites)
        for arguments, versions, ciphers, own, resumes in (
                (["-tls1_2", "-cipher", listed, "-serverpref"], "2", suites, True, "by ticket"),
                (["-tls1_2", "-cipher", listed, "-no_ticket"], "2", suites, False, "by session ID"),
                (["-tls1_3", "-no_ticket", "-num_tickets", "0"], "3", [], None, "no"), (["-tls1_3"], "3", [], None, "by ticket"),
                (["-cipher", "AES256-SHA:" + ten[7:], "-no_tls1_3", "-no_cache", "-no_ticket"], "012", ["AES256-SHA"], None, "no")):
            port = self.foreign("-cert", "host.example", "-www", *arguments)
            found = self.json("tls", "connect", "-n", "host.example", "localhost:" + port)
            self.assertEqual("".join(str(i) for i in range(4) if found["versions"]["TLSv1" + (f".{i}" if i else "")]), versions)
            self.assertEqual(found["ciphers"] if own else sorted(found["ciphers"]), ciphers if own else sorted(ciphers))
            self.assertEqual((found["serverOrder"], found["resumption"], found["hostMatches"]), (own, resumes, True))
            self.assertEqual(found["protocol"], "TLSv1." + versions[-1])
            self.assertEqual(found["chain"][0]["sha256"].replace(":", "").lower(),
                             openssl("x509", "-in", "host.example", "-noout", "-fingerprint", "-sha256").decode().
                             strip().partition("=")[2].replace(":", "").lower())
        port = str(self.files().port)
        found = self.json("tls", "connect", "--ca", "root", "127.0.0.1:" + port)
        self.assertEqual([found[part] for part in ("verdict", "resumption", "serverOrder", "serverName", "hostMatches")],
                         ["verified", "no", True, None, True])
        self.assertEqual([version for version, accepts in found["versions"].items() if accepts], ["TLSv1.2"])

    def test_verdicts(self):
        self.put("empty", openssl("ca", "-gencrl", "-config", "crl.cnf", "-cert", "root", "-keyfile", "key", "-crlsec", "1"))
        time.sleep(1.1)
        ports = {who: self.foreign("-cert", who, "-cert_chain", "root", "-www") for who in ("good", "bad", "other")}
        for who, line, verdict, expect in (
                ("good", "", "not checked", 0), ("good", "--ca root", "verified", 0), ("bad", "--ca root", "verified", 0),
                ("good", "--ca root --crl crl", "verified", 0), ("bad", "--ca root --crl crl", "revoked", 1),
                ("bad", "--ca root --crl crl --crl-check off", "verified", 0), ("good", "--ca root -l empty", "stale", 9),
                ("good", "--ca root -n elsewhere.example", "rejected", 1), ("other", "--ca root", "rejected", 1),
                ("good", "--ca root --crl-check leaf", "cannot tell", 10), ("bad", "--ca root --crl-check chain", "cannot tell", 10),
                ("good", "--ca root --crl crl --crl-check chain", "verified", 0)):
            line = [*(line.split()), *([] if "-n" in line else ["-n", "host.example"]), "127.0.0.1:" + ports[who]]
            found = self.json("tls", "connect", *line, expect=expect)
            self.assertEqual((found["verdict"], len(found["chain"])), (verdict, 2), (who, line))
        self.assertTrue(self.run_command("tls", "connect", *line).startswith(b"verified\nServer: "))
        mute, closed = socket.create_server(("::1", 0), family=socket.AF_INET6), socket.create_server(("127.0.0.1", 0))
        gone = closed.getsockname()[1]
        closed.close()
        for expect, pattern, *line in (
                (2, "HOST:PORT", "::1:443"), (2, "HOST:PORT", "host"), (2, "port", "host:"), (2, "port", "host:0"),
                (2, "HOST:PORT", ":443"), (2, "--ca", "host:1", "--crl", "crl"), (2, "--timeout", "-T", "0", "host:1"),
                (3, "refused", f"127.0.0.1:{gone}"), (3, "no.such.invalid", "no.such.invalid:1"),
                (3, "timed out", "-T", "1", f"[::1]:{mute.getsockname()[1]}"), (3, "none: ", "--ca", "none", f"127.0.0.1:{gone}"),
                (2, "--crl-check.*--ca", "--crl-check", "off", "host:1"), (2, "255", "-n", "a" * 256, "host:1"),
                (2, "name of a host", "-n", "a\x1b[31m", "host:1"), (2, "name of a host", "-n", ".example", "host:1"),
                (2, "name of a host", "-n", "b", "a\x7f:1")):
            self.refused(expect, pattern, "tls", "connect", *line)
        for line, name in (("127.1:", None), ("127.0.0.1: -n host.example.", "host.example"), ("127.0.0.1: -n 127.1", None)):
            found = self.json("tls", "connect", "--ca", "root", *line.replace(":", ":" + ports["good"]).split())
            self.assertEqual((found["verdict"], found["serverName"], found["hostMatches"]), ("verified", name, True))

    def test_authorities_for_other_purposes(self):
        self.put("mail.cnf", self.get("ca.cnf") + b"extendedKeyUsage=emailProtection\n")
        for name, issuer, extensions in (("mail", "root", "mail.cnf"), ("under", "mail", "leaf.cnf")):
            openssl("req", "-new", "-key", "key", "-subj", "/CN=" + name, "-out", "r")
            openssl("x509", "-req", "-in", "r", "-CA", issuer, "-CAkey", "key", "-days", "9", "-out", name,
                    "-set_serial", "9", "-extfile", extensions)
        port = self.foreign("-cert", "under", "-cert_chain", "mail", "-www")
        found = self.json("tls", "connect", "--ca", "root", "127.0.0.1:" + port, expect=1)
        judged = subprocess.run(["openssl", "verify", "-CAfile", "root", "-untrusted", "mail", "-purpose", "sslserver",
                                 "under"], capture_output=True).stderr.decode()
        self.assertIn(f"error {found['errorNumber']} at {found['errorDepth']} depth lookup: {found['errorText']}", judged)
        self.put("both", self.get("under") + self.get("mail"))
        self.context.load_cert_chain("both", "key")
        self.assertRegex(self.ask(self.files("--ca", "root").port)[0], "^refused: .*error 26")

    def test_what_is_not_known(self):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain("host.example", "key"), setattr(context, "maximum_version", ssl.TLSVersion.TLSv1_2)
        for served, others, count in ((1, None, 0), (4, False, 0), (6, False, 2)):  # then it only hangs up
            listener = socket.create_server(("127.0.0.1", 0))

            def serve():
                for number in range(9):
                    with listener.accept()[0] as raw, contextlib.suppress(OSError):  # what it refuses
                        number < served and context.wrap_socket(raw, server_side=True).close()

            threading.Thread(target=serve, daemon=True).start()
            found = self.json("tls", "connect", f"127.0.0.1:{listener.getsockname()[1]}")
            self.assertEqual(found["versions"], {"TLSv1": others, "TLSv1.1": others, "TLSv1.2": True, "TLSv1.3": others})
            self.assertEqual((len(found["ciphers"]), found["serverOrder"], found["resumption"]), (count, None, None))
            self.assertIn("incomplete: ", "".join(found["problems"]))
        for asking, version in (("-verify", "-tls1_2"), ("-Verify", "-tls1_3")):
            port = self.foreign("-cert", "host.example", asking, "1", version, "-verify_return_error")
            self.assertTrue(self.json("tls", "connect", "localhost:" + port)["asksForCertificate"])
        port = self.foreign("-cert", "host.example", "-Verify", "1", "-tls1_2")
        self.refused(3, "certificate of the client", "tls", "connect", "localhost:" + port)


if __name__ == "__main__":
    unittest.main()
