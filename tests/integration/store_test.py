# Certificate stores on the command line: store_test.py PATH_OF_COMMAND [GROUP...]
import hashlib
import os
import ssl
import unittest

from certificate_test import CertificateCase, RSA_WITH, SPKI, certificate, date, der, extension, openssl, pem

KEY = openssl("genrsa", "2048")
RSA = openssl("pkey", "-pubout", "-outform", "DER", data=KEY)
subject = lambda *words: tuple((3, 12, word.encode()) for word in words)
usage = lambda *bits: extension(37, der(0x30, *(der(6, bytes.fromhex("2b06010505070300")[:-1] + bytes([bit]))
                                                for bit in bits)))


class StoreCase(CertificateCase):
    def store(self, name, files):
        """Makes a store; its files are certificates in DER, with the key unless their name says otherwise."""
        os.makedirs(os.path.join("stores", name))
        for file, content in files.items():
            self.put(f"stores/{name}/{file}.pem", pem(content) + (b"" if "nokey" in file else KEY))


class Stores(StoreCase):
    def test_list_and_find(self):
        files = {"b": certificate(key=RSA), "a-nokey": certificate(subject=subject("q\x1b", "z"), key=RSA)}
        self.store("My", files), self.store("empty", {})
        self.put("stores/My/.hidden.pem", b"junk"), self.put("stores/My/c.pem", b"junk")
        found = self.json("store", "list", "--store", "stores")["stores"]
        self.assertEqual([(one["name"], len(one["certificates"])) for one in found], [("My", 2), ("empty", 0)])
        text = self.run_command("store", "list", "-s", "stores", "my")
        self.assertEqual((text.count(b"Subject:"), b"\x1b" in text), (2, False))
        for (file, content), shown in zip(sorted(files.items()), found[0]["certificates"]):
            digest = hashlib.sha1(content).hexdigest()
            self.assertEqual(shown["sha1"].replace(":", "").lower(), digest)
            self.assertEqual(shown["hasKey"], file == "b")
            for written in (digest, " " + digest.upper(), ":".join(digest[i:i + 2] for i in range(0, 40, 2))):
                where = ["--in", "empty, MY"] if written == digest else []
                one = self.json("store", "find", "-s", "stores", *where, "--pem", written)
                self.assertEqual((one["store"].lower(), ssl.PEM_cert_to_DER_cert(one["pem"])), ("my", content))
            self.run_command("store", "find", "-s", "stores", "-o", file, digest)
            self.assertEqual(self.get(file), self.run_command("store", "find", "-s", "stores", "--pem", digest))
            self.assertFalse(self.json("store", "find", "-s", "stores", "-i", "empty", digest, expect=1)["found"])
        for expect, pattern, *line in (
                (2, "40 hex", "find", "-s", "stores", "12"), (2, "names no store", "find", "-s", "stores", "-i", ", ", "0" * 40),
                (3, "there are: My, empty", "list", "-s", "stores", "none"), (3, "No such", "list", "-s", "none"),
                (3, "no folder", "list", "-s", "data"), (2, "name is empty", "list", "-s", ""), (2, "store", "list"),
                (3, "there are", "find", "-s", "stores", "-i", "other", "0" * 40)):
            self.refused(expect, pattern, "store", *line)

    def test_explain(self):
        digital, signing = (extension(15, der(3, bits)) for bits in (b"\7\x80", b"\2\4"))
        candidates = (  # file, certificate, the check that refuses it and its code
            ("01-md5", certificate(algorithm=RSA_WITH + b"\4", key=RSA), "signature algorithm", 8799),
            ("02-issuer", certificate(key=RSA), None, 0),
            ("03-nokey", certificate(key=RSA), "private key", None),
            ("04-client", certificate(key=RSA, extensions=(usage(2),)), "server purpose", 8786),
            ("05-server", certificate(key=RSA, extensions=(usage(1),)), "client purpose", 8785),
            ("06-both", certificate(key=RSA, extensions=(usage(1, 2), digital)), None, 0),
            ("07-old", certificate(key=RSA, end=date(-1)), "validity", 8760),
            ("08-new", certificate(key=RSA, start=date(1)), "validity", 8773),
            ("09-signs", certificate(key=RSA, extensions=(signing,)), "server purpose", 8786),
            ("10-nokey", certificate(key=SPKI), "private key", None))
        self.store("MY", {file: content for file, content, *_ in candidates})
        self.store("SECOND", {"x": certificate(key=RSA, start=date(-9))})
        explain = lambda path, *more, **rest: self.json("store", "explain", "-s", "stores", *more, path, **rest)
        found = explain("MY\\ISSUER\\Host")
        self.assertEqual(len(found["candidates"]), len(candidates))
        for (file, content, check, code), shown in zip(candidates, found["candidates"]):
            self.assertEqual((shown["refusedBy"], shown["sha1"].replace(":", "").lower()),
                             (check, hashlib.sha1(content).hexdigest()), file)
            self.assertIn(code, (shown["code"], None), file)
        self.assertEqual((found["verdict"], found["selected"]["sha1"]), ("selected", found["candidates"][1]["sha1"]))
        self.assertIn("first of 2", found["why"])
        for path, code, expect in (("MY\\other\\host", 8767, 1), ("MY\\\\nobody", 8771, 1), ("NONE\\\\host", 8772, 1)):
            found = explain(path, expect=expect)
            self.assertEqual((found["verdict"], found["code"]), ("none", code), path)
        found = explain("NONE\\\\host, SECOND\\\\host")
        self.assertEqual((found["selected"]["store"], len(found["problems"])), ("SECOND", 1))
        text = self.run_command("store", "explain", "-s", "stores", "MY\\\\host").decode()
        self.assertRegex(text, r"(?s)^selected\nPath: +MY\\\\host\n.*Candidate 7 of 10.*expired")
        self.store("LOCKED", {"nokey": certificate(key=RSA)})
        found = explain("LOCKED\\\\host", expect=1)
        self.assertTrue(found["code"] == 8771 and "no private key" in found["why"], found)
        for path in ("MY\\\\host,", ", MY\\\\host", "MY\\\\host, ,x", "MY\\\\host,C:\\\\x", "", "MY", "MY\\host", "MY\\\\", "\\\\x", "a\\b\\c\\d"):
            self.refused(2, "STORE|empty|PATH", "store", "explain", "-s", "stores", path)
        self.refused(2, "--time-lag", "store", "explain", "-s", "stores", "--time-lag", "35791395", "MY\\\\host")

    def test_time_lag(self):
        ages = {"a": 50, "b": 3, "c": 20, "d": 0}  # in days
        self.store("MY", {file: certificate(key=RSA, start=date(-age, -60)) for file, age in ages.items()})
        for lag in (0, 1, 2, 3, 4, 19, 20, 21, 49, 51):
            eligible = {file: age for file, age in ages.items() if age >= lag} or ages
            newest = min(eligible, key=eligible.get)
            found = self.json("store", "explain", "-s", "stores", "-t", str(lag * 1440), "MY\\\\host")
            self.assertEqual(found["selected"]["sha1"], found["candidates"]["abcd".index(newest)]["sha1"], lag)
            self.assertEqual("none began" in found["why"], lag == 51)


class Changes(StoreCase):
    def setUp(self):
        super().setUp()
        self.put("ca.ext", b"basicConstraints=critical,CA:TRUE\n")
        self.put("host.ext", b"subjectAltName=DNS:www.example\nextendedKeyUsage=serverAuth\n")
        self.put("serials", b""), self.put("phrase", b"secret\n")
        for name, extensions, *issuer in (("ca", "ca.ext"), ("host", "host.ext", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial")):
            openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", f"/CN={name}.example", "-keyout", f"{name}.key", "-out", "csr")
            own = issuer or ["-signkey", "ca.key"]
            openssl("x509", "-req", "-in", "csr", *own, "-days", "9", "-extfile", extensions, "-out", f"{name}.pem")
        self.put("ca.conf", b"[ca]\ndefault_ca=d\n[d]\ndatabase=serials\ndefault_md=sha256\ndefault_crl_days=9\n")
        openssl("pkcs12", "-export", "-in", "host.pem", "-inkey", "host.key", "-certfile", "ca.pem", "-out", "host.p12", "-passout", "file:phrase")
        for name in ("MY", "Root", "CA"):
            os.makedirs(os.path.join("stores", name))

    def store_command(self, *line, **more):
        return self.json("store", line[0], "--store", "stores", *line[1:], **more)

    def digest(self, name):
        return hashlib.sha1(ssl.PEM_cert_to_DER_cert(self.get(name).decode())).hexdigest()

    def test_in_and_out(self):
        host, authority = self.digest("host.pem"), self.digest("ca.pem")
        self.store_command("import", "--into", "root", "ca.pem")
        found = self.store_command("import", "--into", "MY", "--pass-file", "phrase", "host.p12")["certificates"][0]
        self.assertEqual((found["hasKey"], found["sha1"].replace(":", "").lower()), (True, host))
        key = f"stores/MY/{host}.key"
        self.assertEqual((os.stat(key).st_mode & 0o777, openssl("pkey", "-in", key)), (0o600, openssl("pkey", "-in", "host.key")))
        self.assertEqual(openssl("verify", "-CAfile", "stores/Root/" + authority + ".pem", f"stores/MY/{host}.pem").split()[-1], b"OK")
        for named in (host, ":".join(host[i:i + 2] for i in range(0, 40, 2)).upper()):
            shown = self.store_command("show", named)
            self.assertEqual((shown["store"], shown["hasKey"], shown["extendedKeyUsage"]), ("MY", True, ["TLS Web Server Authentication"]))
        self.assertRegex(self.run_command("store", "show", "-s", "stores", authority), rb"(?s)Store: +Root.*Private key: +none")
        for name, *form in (("out.pem",), ("out.der", "--der")):
            self.store_command("export", host, "--out", name, *form)
            pem = openssl("x509", "-in", name, "-inform", "DER" if form else "PEM")
            self.assertEqual(ssl.PEM_cert_to_DER_cert(pem.decode()), ssl.PEM_cert_to_DER_cert(self.get("host.pem").decode()))
        for expect, pattern, *line in (
                (5, "exists", "export", host, "-o", "out.pem"), (4, "no/x", "export", host, "-o", "no/x"),
                (6, "never leave", "export", host, "-o", "x", "--p12", "--pass-file", "phrase"),
                (6, "no private key", "export", authority, "-o", "x", "--p12", "--pass-file", "phrase"),
                (2, "--p12", "export", host, "-o", "x", "--p12"), (1, "no certificate", "export", "0" * 40, "-o", "x"),
                (2, "./- for", "export", host, "-o", "-"), (2, "./- for", "import", "--into", "MY", "-"),
                (2, "name a host", "verify", host, "--host", ""), (3, "is a folder", "import", "--into", "MY", "stores"),
                (3, "neither PEM nor DER", "import", "--into", "MY", "phrase"), (3, "is empty", "import", "--into", "MY", "serials"),
                (3, "bundle", "import", "--into", "MY", "host.p12"), (3, "No such file",  "import", "--into", "MY", "none"),
                (6, "password", "import", "--into", "MY", "--no-pass-phrase", "host.p12"),
                (3, "there are", "import", "--into", "other", "ca.pem"), (2, "neither", "show", "host.example"),
                (1, "no certificate", "show", "MY\\\\nobody"), (1, "", "remove", "--from", "MY", authority),
                (2, "40", "remove", "--from", "MY", "12")):
            self.refused(expect, pattern, "store", line[0], "-s", "stores", *line[1:])
        self.assertFalse(os.path.exists("x"))
        self.store_command("remove", "--from", "MY", host)
        self.put(f"stores/MY/{host}.pem", b"")
        self.refused(4, f"in the way.*{host}.pem", "store", "import", "-s", "stores", "--into", "MY", "--pass-file", "phrase", "host.p12")
        os.remove(f"stores/MY/{host}.pem"), self.put(f"stores/MY/{host}.key", self.get("host.key"))
        self.store_command("import", "--into", "MY", "--pass-file", "phrase", "host.p12")
        self.assertTrue(self.store_command("remove", "--from", "my", host)["removed"])
        self.assertEqual(os.listdir("stores/MY"), [])

    def test_verify(self):
        self.store_command("import", "--into", "MY", "host.pem")
        verify = lambda expect, *more: self.store_command("verify", self.digest("host.pem"), *more, expect=expect)
        self.assertIn("not known", verify(1)["reason"])
        self.store_command("import", "--into", "Root", "ca.pem")
        for expect, verdict, *more in ((0, "verified"), (0, "verified", "--host", "www.example"), (1, "rejected", "--host", "host.example"),
                                       (1, "rejected", "--client"), (1, "rejected", "--revocation")):
            self.assertEqual(verify(expect, *more)["verdict"], verdict, more)
        for revoke in (False, True):
            if revoke:
                openssl("ca", "-config", "ca.conf", "-revoke", "host.pem", "-cert", "ca.pem", "-keyfile", "ca.key")
            openssl("ca", "-config", "ca.conf", "-gencrl", "-cert", "ca.pem", "-keyfile", "ca.key", "-out", "stores/CA/ca.crl")
            self.assertEqual("revoked" in verify(int(revoke), "--revocation").get("reason", ""), revoke)


if __name__ == "__main__":
    unittest.main()
