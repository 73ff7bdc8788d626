# Certificates and chains on the command line: certificate_test.py PATH_OF_COMMAND [GROUP...]
# What the openssl command does not make is put together here byte by byte; nothing looks at those signatures.
import hashlib
import json
import os
import re
import resource
import ssl
import subprocess
import time
import unittest

from command_test import COMMAND, Case


def openssl(*arguments, data=b""):
    return subprocess.run(["openssl", *arguments], input=data, capture_output=True, check=True).stdout


def der(tag, *parts):
    body = b"".join(parts)
    size = len(body).to_bytes((len(body).bit_length() + 7) // 8 or 1, "big")
    return bytes([tag]) + (size if len(body) < 128 else bytes([0x80 | len(size)]) + size) + body


def name(*attributes):
    # Attributes are the last number of 2.5.4.x, the type of the string and its bytes.
    return der(0x30, *(der(0x31, der(0x30, der(6, bytes([85, 4, kind])), der(*text))) for kind, *text in attributes))


def date(days, offset=3600):
    # So many days from now, and a little more, so that the day stays the same while the test runs.
    return time.strftime("%Y%m%d%H%M%SZ", time.gmtime(time.time() + days * 86400 + offset)).encode()


def extension(kind, value):
    return der(0x30, der(6, bytes([85, 29, kind])), der(4, value))


def names(*entries):
    return extension(17, der(0x30, *(der(tag, value) for tag, value in entries)))


ED25519 = openssl("genpkey", "-algorithm", "ED25519")
SPKI = openssl("pkey", "-pubout", "-outform", "DER", data=ED25519)
SHORT_KEY = openssl("rsa", "-pubout", "-outform", "DER", data=openssl("genrsa", "1024"))
pem = lambda content: ssl.DER_cert_to_PEM_cert(content).encode()
HOST, RSA_WITH = names((0x82, b"host.example")), bytes.fromhex("2a864886f70d0101")
MD5 = RSA_WITH[:-2] + b"\2\5"


def certificate(serial=b"\1", algorithm=RSA_WITH + b"\x0b", subject=((3, 12, b"host"),), start=date(-5), end=date(89),
                key=SPKI, extensions=(HOST,), parameters=der(5)):
    signature = der(0x30, der(6, algorithm), parameters)
    return der(0x30, der(0x30, 
        der(0xa0, der(2, b"\2")), der(2, serial), signature, name((3, 12, b"issuer")),
        der(0x30, der(0x18, start), der(0x18, end)), name(*subject), key,
        der(0xa3, der(0x30, *extensions)) if extensions else b""), signature, der(3, bytes(65)))


FIRST = certificate()


class CertificateCase(Case):
    def json(self, *arguments, **more):
        return json.loads(self.run_command(*arguments, "--json", **more))


class Display(CertificateCase):
    def test_fields_agree_with_openssl(self):
        self.put("config", (
            b"[req]\ndistinguished_name=n\n[n]\n[e]\nbasicConstraints=CA:true,pathlen:3\nsubjectKeyIdentifier=hash\n"
            b"authorityKeyIdentifier=keyid:always\nkeyUsage=cRLSign,keyCertSign\nextendedKeyUsage=1.2.3.4\n"
            b"subjectAltName=DNS:a.example,IP:10.0.0.1,IP:2001:db8::ff,email:m@a.example,URI:ldap:b,RID:1.2.3,"
            b"dirName:d,otherName:1.3.6.1.4.1.311.20.2.3;UTF8:user\n[d]\nCN=inner\n"))
        for kind, bits, key in (("RSA", 2048, ["rsa:2048"]), ("EC", 384, ["ec", "-pkeyopt", "ec_paramgen_curve:P-384"]),
                                ("ED25519", 256, ["ed25519"]), ("RSA-PSS", 2048, ["rsa-pss"])):
            openssl("req", "-x509", "-config", "config", "-extensions", "e", "-newkey", *key, "-nodes", "-keyout", "k",
                    "-utf8", "-subj", "/C=DE/O=A, \"B\"\\/C/CN=m\u00fcller", "-days", "90", "-out", "cert")
            found = self.json("cert", "show", "cert")
            ask = lambda *what: openssl("x509", "-in", "cert", "-noout", *what).decode().strip().partition("=")[2]
            public = openssl("pkey", "-pubin", "-outform", "DER", data=openssl("x509", "-in", "cert", "-pubkey"))
            whole = openssl("x509", "-in", "cert", "-noout", "-text").decode()
            identifier = re.search(r"Key Identifier: *\n +(\S+)", whole)[1]
            for member, expected in (
                    ("problems", []), ("kind", kind), ("bits", bits), ("curve", "secp384r1" if kind == "EC" else None),
                    ("state", "valid"), ("subject", ask("-subject", "-nameopt", "oneline,-esc_msb")), ("version", 3),
                    ("issuerRfc2253", ask("-issuer", "-nameopt", "RFC2253,-esc_msb")), ("serialNumber", ask("-serial")),
                    ("notAfter", ask("-enddate", "-dateopt", "iso_8601").replace(" ", "T")),
                    ("sha1", ask("-fingerprint", "-sha1")), ("publicKeySha256", hashlib.sha256(public).hexdigest()),
                    ("subjectKeyId", identifier), ("authorityKeyId", identifier), ("ca", True), ("pathLength", 3),
                    ("signatureAlgorithm", re.search(r"Signature Algorithm: (\S+)", whole)[1]),
                    ("keyUsage", ["keyCertSign", "cRLSign"]), ("extendedKeyUsage", ["1.2.3.4"]), ("alternativeNames", [
                        "DNS:a.example", "IP:10.0.0.1", "IP:2001:DB8:0:0:0:0:0:FF", "email:m@a.example", "URI:ldap:b",
                        "identifier:1.2.3", "directory:CN = inner", "other:1.3.6.1.4.1.311.20.2.3:user"])):
                self.assertEqual(found[member], expected, member)
            gnutls = subprocess.run(["certtool", "-i", "--infile", "cert"], stdout=subprocess.PIPE, check=True).stdout
            self.assertIn(f"sha256:{found['sha256'].replace(':', '').lower()}", gnutls.decode())
            self.assertRegex(self.run_command("cert", "show", "cert").decode(),
                             r"(?m)^Subject: +C = DE, O = \"A, \\\"B\\\"/C\", CN = m\u00fcller$")
            for digest in ("SHA256", "SHA1", "SHA512"):
                expected = ask("-fingerprint", "-" + digest)
                line = ["cert", "fingerprint", "-a", digest, "cert", "-e"]
                self.assertEqual(self.run_command(*line, expected.replace(":", "").lower()), expected.encode() + b"\n")
                self.assertFalse(self.json(*line, expected[::-1], expect=1)["matches"])
                self.refused(2, "--expect", *line, expected[:-1])

    def test_dates(self):
        for end, words, left in (
                (date(89), "in 89 days", 89), (date(1, 5400), "in 25 hours", 1), (date(0, 630), "in 10 minutes", 0),
                (date(-3, -3600), "expired 3", -4), (date(0, -30), "expired less", -1), (b"00010101000000Z", "exp", 0),
                (b"19690102030405Z", "expired 2[0-9]{4} days ago", 0), (b"99991231235959Z", "in 29[0-9]{5} days", 0)):
            content = certificate(start=b"00000101000000Z", end=end)
            self.assertRegex(self.run_command("cert", "show", data=content).decode(), rf"Valid until: .* \({words}.*\)")
            found = self.json("cert", "show", data=content)
            self.assertEqual((re.sub(r"\D", "", found["notAfter"]), found["state"], left in (0, found["daysLeft"])),
                             (end[:-1].decode(), "valid" if "in " in words else "expired", True))

    def test_problems(self):
        # What is changed, what "cert show" says, and whether "cert check" takes it for serious.
        for change, expected, serious in (
                ({}, [], 0), ({"end": date(0, -5)}, ["expired"], 1), ({"start": date(1)}, ["not yet valid"], 1),
                ({"start": date(-1), "end": date(-2)}, ["expired", "dates reversed"], 1),
                ({"end": b"20380119031407Z"}, [], 0), ({"end": b"20380119031408Z"}, ["date wraps"], 0),
                ({"end": b"tomorrow"}, ["unreadable date"], 1), ({"start": b""}, ["unreadable date"], 1),
                ({"algorithm": RSA_WITH + b"\4"}, ["refused signature algorithm"], 1),
                ({"algorithm": RSA_WITH + b"\2"}, ["refused signature algorithm"], 1),
                ({"algorithm": RSA_WITH + b"\x0a", "parameters": der(0x30, der(0xa0, der(0x30, der(6, MD5))))},
                 ["refused signature algorithm"], 1),
                ({"algorithm": RSA_WITH + b"\5"}, ["weak signature algorithm"], 0),
                ({"algorithm": b"\x2a\3"}, [], 0), ({"subject": ()}, [], 0), ({"serial": b"\x7f" * 20}, [], 0),
                ({"serial": b"\0"}, ["unusual serial number"], 0), ({"serial": b"\x80"}, ["unusual serial number"], 0),
                ({"serial": b"\1" + bytes(20)}, ["unusual serial number"], 0),
                ({"extensions": ()}, ["no alternative names"], 0), ({"key": SHORT_KEY}, ["weak key"], 0),
                ({"extensions": (extension(19, der(0x30, der(1, b"\xff"))),)}, [], 0),
                ({"extensions": (HOST, extension(15, b"junk"))}, ["malformed extension"], 0),
                ({"key": der(0x30, der(0x30, der(6, b"\x2a\3")), der(3, b"\0key"))}, ["unreadable key"], 0)):
            content = certificate(**change)
            found = self.json("cert", "show", data=content)["problems"]
            self.assertEqual([problem.split(":")[0] for problem in found], expected, change)
            for verb in ("cert", "chain"):
                self.assertEqual(self.run_command(verb, "show", data=content).count(b"\nProblem:"), len(found))
            self.assertEqual(self.json("cert", "check", data=content, expect=serious)["passed"], not serious)
            self.run_command("cert", "check", "--strict", data=content, expect=len(expected[:1]))

    def test_digest_of_pss(self):
        for digest, problems in ("sha1", ["weak signature algorithm: rsassaPss with SHA1"]), ("sha256", []):
            pss = ["-newkey", "rsa:2048", "-nodes", "-keyout", "k", "-subj", "/CN=x", "-" + digest, "-sigopt",
                   "rsa_padding_mode:pss", "-addext", "subjectAltName=DNS:x"]
            self.assertEqual(self.json("cert", "check", data=openssl("req", "-x509", *pss))["remarks"], problems)
            self.assertEqual(self.json("csr", "show", data=openssl("req", "-new", *pss))["problems"], problems)

    def test_names_of_strangers(self):
        hostile = b"\x1b[2J\r\n\x07\xc2\x9b31m\xe2\x80\xaemoc.elgoog"
        entries = [(0x82, b"good.example\0.evil.example"), (0x86, b"http://x/" + hostile), (0x81, b"back\\slash"),
                   (0x87, b"\x0a\0\0"), (0xa3, b""), (0x82, b"\xff\xc0\xaf")]
        content = certificate(subject=((3, 12, hostile), (10, 30, "B\u00e9\u202e".encode("utf-16-be"))),
                              extensions=(names(*entries), HOST))
        for line in (["cert", "show"], ["cert", "check"], ["chain", "show"]):
            self.assertNotRegex(self.run_command(*line, data=content).decode(), "[^\n -~\u00a1-\u017f]")
        for shown in ("\\0A", "\\u{202E}", "O = B\u00e9", "DNS:good.example\\x00.evil.example", "DNS:\\xFF\\xC0\\xAF",
                      "\\x1B[2J\\r\\n\\x07\\u{9B}31m", "back\\\\slash", "IP address of 3 bytes", "DNS:host.example"):
            self.assertIn(shown, self.run_command("cert", "show", data=content).decode())
        self.assertEqual(self.json("cert", "show", data=content)["alternativeNames"][:3], [
            "DNS:good.example\0.evil.example", "URI:http://x/" + hostile.decode(), "email:back\\slash"])
        many = certificate(extensions=(names(*((0x82, b"n%d.example" % i) for i in range(1000))),))
        self.assertEqual(len(self.json("cert", "show", data=many)["alternativeNames"]), 1000)
        self.assertRegex(self.run_command("cert", "show", data=many), rb"n19\.example\n.*and 980 more")


class Input(CertificateCase):
    def test_forms(self):
        second, text, digest = certificate(serial=b"\2"), pem(FIRST), hashlib.sha256(FIRST).hexdigest().encode() + b"\n"
        for content in (FIRST, text, FIRST + second, text + pem(second), text.replace(b"\n", b"\r\n"), b"0.\n" + text,
                        ED25519 + text, openssl("x509", "-trustout", "-addtrust", "serverAuth", data=text),
                        text.replace(b"CERTIFICATE", b"X509 CERTIFICATE"), text.rstrip(), b"\n\n" + text + b"tail"):
            self.put("in", content)
            for line in (["in"], ["-"], []):
                found = self.run_command("cert", "fingerprint", *line, data=content).replace(b":", b"").lower()
                self.assertEqual(found, digest, content)

    def test_refusals(self):
        os.mkdir("folder"), self.put("large", b""), os.truncate("large", (64 << 20) + 1)
        for content in (b"", b"text", ED25519, FIRST[:-1], FIRST + b"\0", pem(FIRST)[:-30], pem(FIRST[:-9]), SPKI,
                        pem(FIRST) + pem(FIRST[:-9]), pem(FIRST).replace(b"M", b"*"), b"\x30\x84\x7f\xff\xff\xff",
                        b"\x30\x80", certificate(subject=((3, 12, b"\xff"),))):
            self.put("in", content)
            for line in (["cert", "show"], ["cert", "save", "-o", "out"], ["chain", "split", "-d", "new"]):
                self.refused(3, "in: ", *line, "in")
        for unusable in ("none", "folder", "large"):
            self.refused(3, unusable, "chain", "save", "-o", "out", unusable)

    def test_days_and_keys(self):
        for days, no in ("0", 0), ("89", 0), ("90", 1), ("1000000", 1):
            self.assertEqual(self.json("cert", "check", "-d", days, data=certificate(), expect=no)["passed"], not no)
        self.refused(2, "--days", "cert", "check", "-d", "1000001", data=certificate())
        self.put("secret", b"pass phrase\n"), self.put("other", ED25519)
        for kind in (["rsa:2048"], ["ec", "-pkeyopt", "ec_paramgen_curve:P-256"], ["ed25519"]):
            openssl("req", "-x509", "-newkey", *kind, "-nodes", "-keyout", "key", "-subj", "/CN=a", "-out", "cert")
            openssl("pkcs8", "-topk8", "-in", "key", "-passout", "file:secret", "-outform", "DER", "-out", "locked")
            openssl("pkey", "-in", "key", "-outform", "DER", "-out", "raw")
            for key, more, no in (("key", [], 0), ("raw", [], 0), ("locked", ["-p", "secret"], 0), ("other", [], 1)):
                self.assertEqual(self.json("cert", "check", "cert", "-k", key, *more, expect=no)["keyMatches"], not no)
            self.refused(6, "--pass-file", "cert", "check", "cert", "-k", "locked")
        for line in (["-k", ""], ["-k", "key", "-p", ""], ["-p", "secret"]):
            self.refused(2, "command line: ", "cert", "check", "cert", *line)

    def test_urls(self):
        foreign = der(0xa2, der(0xa4, name((3, 12, b"somebody"))))
        points = [der(0x30, der(0xa0, der(0xa0, der(0x86, url))), more) for url, more in (
            (b"http://all/", b""), (b"ldap://all/", b""), (b"HTTPS://keys/\x1b", der(0x81, b"\x05\x60")),
            (b"http://old/", der(0x81, b"\x03\x08")), (b"http://foreign/", foreign))]
        content = certificate(extensions=(HOST, extension(31, der(0x30, *points))))
        for reasons, expected in (("", "all keys old"), ("keyCompromise", "all keys"), ("superseded", "all old"),
                                  ("cACompromise keyCompromise", "all keys"), ("all", "all")):
            line = ["cert", "urls", *(word for reason in reasons.split() for word in ("--reason", reason))]
            found = self.json(*line, data=content)
            self.assertEqual([re.split("[:/]+", url)[1] for url in found["urls"]], expected.split(), reasons)
            self.assertNotIn(b"\x1b", self.run_command(*line, data=content))
        self.put("-in", content), self.refused(3, r"none\\u\{9B\}\\u\{202E\}", "cert", "show", "none\u009b\u202e")
        self.assertIn(b"http://all/", self.run_command("cert", "urls", "-r", "superseded", "./-in"))
        self.assertEqual(self.json("cert", "urls", data=certificate(), expect=1)["urls"], [])


class Chain(CertificateCase):
    def setUp(self):
        super().setUp()
        self.put("ca.cnf", b"basicConstraints=CA:true\n"), self.put("leaf.cnf", b"subjectAltName=DNS:host\n")
        for made, subject, issuer in (("root", "/CN=root", "root"), ("sub", "/CN=sub", "root"),
                                      ("false", "/CN=sub", "root"), ("leaf", "/CN=leaf", "sub")):
            openssl("req", "-newkey", "ed25519", "-nodes", "-keyout", made + ".key", "-subj", subject, "-out", "r")
            signer = ["-key", "root.key"] if made == "root" else ["-CA", issuer, "-CAkey", issuer + ".key"]
            openssl("x509", "-req", "-in", "r", *signer, "-days", "9", "-out", made, "-extfile",
                    "leaf.cnf" if made == "leaf" else "ca.cnf")

    def joined(self, parts):
        return b"".join(self.get(part) for part in parts.split())

    def ders(self, *files):
        return [ssl.PEM_cert_to_DER_cert(block + "-----END CERTIFICATE-----\n") for file in files
                for block in self.get(file).decode().split("-----END CERTIFICATE-----\n")[:-1]]

    def test_links(self):
        for order, problems in (
                ("leaf sub root", []), ("leaf sub", []), ("leaf", []), ("root", []), ("leaf root", ["broken chain"]),
                ("sub leaf", ["broken chain", "out of order"]), ("leaf root sub", ["out of order"] * 3),
                ("leaf false", ["wrong signature"]), ("leaf sub false root", ["out of order"]),
                ("leaf sub root root", ["out of order", "repeated"])):
            found = self.json("chain", "show", data=self.joined(order))
            self.assertEqual([problem.split(":")[0] for problem in found["problems"]], problems, order)
            self.assertEqual([part["role"].replace("intermediate", "sub") for part in found["certificates"]],
                             order.replace("false", "sub").split())
            text = self.run_command("chain", "show", data=self.joined(order))
            self.assertEqual((text.count(b"Subject:"), text.count(b"Problem:")), (len(order.split()), len(problems)))
        found = self.json("chain", "show", data=self.joined("leaf false sub root"))["certificates"]
        self.assertEqual([(part["issuerPosition"], part["signedByIssuer"]) for part in found], [(3, 1)] + 3 * [(4, 1)])

    def test_saving_and_splitting(self):
        self.put("chain.der", b"".join(self.ders("leaf", "sub")))
        self.run_command("chain", "save", "-o", "all.pem", "chain.der", "root")
        self.assertEqual(self.ders("all.pem"), self.ders("leaf", "sub", "root"))
        self.run_command("chain", "save", "--leaf-only", "-o", "first.pem", "all.pem")
        self.run_command("cert", "save", "-o", "single.pem", "chain.der")
        self.assertEqual(self.ders("first.pem", "single.pem"), 2 * self.ders("leaf"))
        files = self.json("chain", "split", "-d", "parts", "all.pem")["files"]
        self.assertEqual((files[2], self.ders(*files)), ("parts/cert-3.pem", self.ders("all.pem")))
        many = self.run_command("chain", "split", "-d", "x", data=11 * self.get("leaf")).split()
        self.assertEqual((many, many[0]), (sorted(many), b"x/cert-01.pem"))

    def test_nothing_is_replaced_or_left_half_written(self):
        self.put("out", b"old"), os.symlink("none", "dangling"), os.mkdir("parts"), self.put("parts/cert-2.pem", b"old")
        small = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (600, 600))}
        long = pem(certificate(extensions=(names((0x82, b"x" * 600)),)))
        for verb in ("cert", "chain"):
            for target, expect in (("out", 5), ("dangling", 5), ("parts", 5), ("none/x", 4), ("", 2), ("-", 2)):
                self.refused(expect, "", verb, "save", "-o", target, "leaf")
            self.refused(4, "new: ", verb, "save", "-o", "new", data=long, **small)
            line = [COMMAND, verb, "save", "-o", verb + ".new", "leaf"]
            racers = [subprocess.Popen(line, stderr=subprocess.DEVNULL) for _ in range(8)]
            self.assertEqual(sorted(racer.wait(60) for racer in racers), [0] + [5] * 7)
            self.assertEqual(self.ders(verb + ".new"), self.ders("leaf"))
        self.run_command("chain", "split", "-d", "parts", data=self.joined("leaf sub root"), expect=5)
        self.assertEqual((os.listdir("parts"), self.get("parts/cert-2.pem")), (["cert-2.pem"], b"old"))
        self.refused(4, "new/cert-2", "chain", "split", "-d", "new", data=self.get("leaf") + long, **small)
        self.refused(2, "--prefix", "chain", "split", "-d", "new", "--prefix", "../x", "leaf")
        self.refused(2, "standard input", "chain", "save", "-o", "new", "-", "-", data=long)


if __name__ == "__main__":
    unittest.main()
