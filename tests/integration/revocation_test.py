# Revocation on the command line: revocation_test.py PATH_OF_COMMAND [GROUP...]
# Lists of every kind are put together here and signed with the openssl command, which is asked for its verdict, too.
import calendar
import os
import re
import subprocess
import time
import unittest

from command_test import COMMAND
from certificate_test import CertificateCase, certificate, date, der, extension, name, openssl

ED25519 = der(0x30, der(6, bytes.fromhex("2b6570")))
ERRORS = {0: "verified", 23: "revoked", 12: "stale"}  # by X509_V_ERR_ value
UNDECIDED = (3, 5, 8, 11, 15, 16, 33, 35, 36, 44, 54)
EXITS = {"good": 0, "verified": 0, "revoked": 1, "rejected": 1, "stale": 9, "cannot tell": 10}
CRITICAL = der(0x30, der(6, b"\x2a\3"), der(1, b"\xff"), der(4, b"\5\0"))
DELTA = der(0x30, der(6, bytes([85, 29, 27])), der(1, b"\xff"), der(4, der(2, b"\1")))
YESTERDAY = date(-1, 0)


pem = lambda content: b"-----BEGIN X509 CRL-----\n%s-----END X509 CRL-----\n" % openssl("base64", data=content)
number = lambda value: extension(20, der(2, value))
scope = lambda *parts: der(0x30, der(6, bytes([85, 29, 28])), der(1, b"\xff"), der(4, der(0x30, *parts)))
reason = lambda code: extension(21, der(10, bytes([code])))


def entry(serial, *extensions, when=YESTERDAY):
    return der(0x30, der(2, bytes([serial])), der(0x18, when), *([der(0x30, *extensions)] if extensions else []))


def crl(*entries, issuer="sub", key=None, extensions=(number(b"\x12\x34"),), issued=date(0, -3600), due=date(9),
        version=b"\1", algorithm=ED25519, subject=None):
    content = der(0x30, der(2, version) if version else b"", algorithm, subject or name((3, 12, issuer.encode())),
                  der(0x18, issued), der(0x18, due) if due else b"", der(0x30, *entries) if entries else b"",
                  der(0xa0, der(0x30, *extensions)) if extensions else b"")
    with open("tbs", "wb") as file:
        file.write(content)
    signature = openssl("pkeyutl", "-sign", "-rawin", "-inkey", (key or issuer) + ".key", "-in", "tbs")
    return der(0x30, content, algorithm, der(3, b"\0" + signature))


class RevocationCase(CertificateCase):
    """A root, an authority below it, and certificates 5 and 7 of that one."""

    def setUp(self):
        super().setUp()
        self.put("ca.cnf", b"basicConstraints=critical,CA:true\nkeyUsage=keyCertSign,cRLSign\n")
        self.put("leaf.cnf", b"subjectAltName=DNS:host\nkeyUsage=digitalSignature\n")
        for made, issuer, serial in (("root", "root", 1), ("sub", "root", 2), ("good", "sub", 5), ("bad", "sub", 7),
                                     ("other", "other", 9)):
            key, signer = made + ".key", ["-CA", issuer, "-CAkey", issuer + ".key"]
            openssl("req", "-newkey", "ed25519", "-nodes", "-keyout", key, "-subj", "/CN=" + made, "-out", "r")
            signer = ["-key", key] if made == issuer else signer
            openssl("x509", "-req", "-in", "r", *signer, "-days", "9", "-out", made, "-set_serial", str(serial),
                    "-extfile", "leaf.cnf" if serial in (5, 7) else "ca.cnf")
        for leaf in ("good", "bad"):
            self.put(leaf + ".chain", self.get(leaf) + self.get("sub"))

    def verdict(self, expected, *line):
        found = self.json(*line, expect=EXITS[expected])
        self.assertEqual(found["verdict"], expected, line)
        self.assertEqual(self.run_command(*line, expect=EXITS[expected]).split(b"\n")[0], expected.encode())
        return found


class Lists(RevocationCase):
    def test_fields_agree_with_openssl(self):
        entries = [entry(5), entry(7, reason(1)), entry(0x7f, reason(6), when=b"20380119031408Z")]
        for content in (crl(*entries), crl(version=b"", due=None, extensions=()),
                        crl(extensions=(number(b"\0" + b"\xff" * 20),)),
                        crl(entry(9), subject=name((10, 12, "M\u00fcller, \u4e2d".encode()), (3, 12, b"x")))):
            self.put("list", content)
            found = self.json("crl", "show", "-e", "list")
            ask = lambda *what: openssl("crl", "-inform", "DER", "-in", "list", "-noout", *what).decode().strip()
            field = lambda *what: ask(*what).partition("=")[2].replace(" ", "T") or None
            text = ask("-text")
            self.assertEqual(found["issuer"], ask("-issuer", "-nameopt", "oneline,-esc_msb").partition("=")[2])
            self.assertEqual(found["lastUpdate"], field("-lastupdate", "-dateopt", "iso_8601"))
            self.assertEqual(found["nextUpdate"] or "NONE", field("-nextupdate", "-dateopt", "iso_8601"))
            self.assertIn(found["numberHex"], ((field("-crlnumber") or "0x")[2:], None))
            self.assertEqual(int(found["number"] or -1), int(found["numberHex"] or "-1", 16))
            self.assertEqual(found["version"], int(re.search(r"Version (\d)", text)[1]))
            self.assertEqual([one["serialNumber"] for one in found["entries"]], re.findall("Serial Number: (.*)", text))
            dates = [calendar.timegm(time.strptime(one, "%b %d %H:%M:%S %Y GMT"))
                     for one in re.findall("Revocation Date: (.*)", text)]
            self.assertEqual([one["revocationTime"] for one in found["entries"]], dates)
        self.put("list", pem(crl(*entries)))
        found = self.json("crl", "show", "list", "--entries", "2")["entries"]
        self.assertEqual([(one["reason"], one["reasonName"]) for one in found], [(-1, None), (1, "keyCompromise")])
        self.assertRegex(self.run_command("crl", "show", "-e", "2", "list"), rb"07 .*\(1\)\n\.\.\. and 1 more")
        for serial, listed in (("7", 1), ("0x07", 1), ("00:07", 1), ("7f", 1), ("8", 0), ("-7", 0)):
            found = self.json("crl", "show", "--serial", serial, "list", expect=listed)["lookUp"]
            self.assertEqual(found["listed"], bool(listed), serial)
        for line in (["-s", "x"], ["-s", ""], ["-s", "0x"], ["-e", "2147483648"], ["-s", "1" * 4097]):
            self.refused(2, line[0][1], "crl", "show", *line, "list")

    def test_problems(self):
        md5, sha1 = (der(0x30, der(6, bytes.fromhex("2a864886f70d0101") + kind), der(5)) for kind in (b"\4", b"\5"))
        for content, expected in (
                (crl(), ""), (crl(due=date(0, -5)), "expired"), (crl(issued=date(1)), "not yet valid"),
                (crl(due=None), "no next update"), (crl(due=date(-2)), "expired, dates reversed"),
                (crl(issued=b"tomorrow"), "unreadable date"), (crl(extensions=()), "no number"),
                (crl(version=b"", extensions=()), "old version"), (crl(version=b""), "old version"),
                (crl(extensions=(number(b"\1"), DELTA)), "delta list"),
                (crl(extensions=(number(b"\1"), CRITICAL)), "unknown critical extension"),
                (crl(entry(1, CRITICAL), entry(2, CRITICAL)), "unknown critical extension"),
                (crl(algorithm=md5), "broken signature algorithm"), (crl(algorithm=sha1), "weak signature algorithm"),
                *((crl(extensions=(one,)), "malformed extension") for one in (number(b"\1" * 65), number(b""))),
                (crl(extensions=(number(b"\1"), extension(28, b"junk"))), "malformed extension"),
                (crl() * 2, "further lists")):
            found = self.json("crl", "show", data=content)
            self.assertEqual(", ".join(one.split(":")[0] for one in found["problems"]), expected, content.hex())
        found = self.json("crl", "show", data=crl(extensions=(number(b"\1"), scope(
            der(0xa0, der(0xa0, der(0x86, b"http://a/\x1b"))), der(0x82, b"\xff"), der(0x83, b"\5\x60"),
            der(0x84, b"\xff")))))
        self.assertEqual((found["indirect"], found["issuingDistributionPoint"]), (True, [
            "URI:http://a/\x1b", "only authority certificates",
            *map("only reason ".__add__, ("keyCompromise", "cACompromise"))]))
        point = der(0xa0, der(0xa0, der(0x86, b"\x1b\xff")))
        hostile = name((3, 12, "a\u202e".encode()), (3, 30, b"\0\x1b"), (3, 22, b"\xff\n"))
        self.put("list", crl(subject=hostile, extensions=(scope(point),)))
        for line in (["show", "list"], ["check", "good", "-l", "list", "-c", "sub", "-a", "1d"]):
            text = subprocess.run([COMMAND, "crl", *line], capture_output=True).stdout.decode()
            self.assertNotRegex(text, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u202e]")

    def test_conversion(self):
        content = crl(entry(7, reason(4)))
        text = openssl("crl", "-inform", "DER", data=content)
        for given in (content, text, b"text\n" + self.get("sub") + text + text, text.replace(b"\n", b"\r\n")):
            self.put("in", given)
            for form, expected in (("der", content), ("pem", text)):
                self.assertEqual(self.run_command("crl", "convert", "-t", form, data=given), expected)
                self.run_command("crl", "convert", "in", "--to", form, "-o", "out", "--force")
                self.assertEqual(self.get("out"), expected)
                self.refused(5, "out: exists", "crl", "convert", "in", "-t", form, "-o", "out")
                self.refused(2, "the input as well", "crl", "convert", "out", "-t", form, "--force", "-o", "out")
        self.assertEqual(self.json("crl", "convert", "-t", "pem", "in")["pem"].encode(), text)
        self.run_command("crl", "convert", "in", "-t", "der", "--json", expect=2)
        for broken in (*(whole[:size] for whole in (content, text) for size in range(0, len(whole) - 9, 13)),
                       content + b"\0", content + text, b"\x30\x80", self.get("sub"), text.replace(b"M", b"*"),
                       pem(content + b"\0"), pem(content[:-1]), pem(self.get("r"))):
            self.put("in", broken)
            self.refused(3, "in: ", "crl", "convert", "in", "-t", "pem", "-o", "new")
        self.put("in", b""), os.truncate("in", (256 << 20) + 1), self.refused(3, "256 MiB", "crl", "show", "in")


class Decision(RevocationCase):
    def test_verdicts(self):
        other, sub = self.get("other"), self.get("sub")
        self.put("both", other + sub), self.put("order", sub + other)
        held, when = entry(7, reason(6)), calendar.timegm(time.strptime(YESTERDAY.decode(), "%Y%m%d%H%M%SZ"))
        strange = extension(29, der(0x30, der(0xa4, name((3, 12, b"x")))))
        indirect = (number(b"\1"), scope(der(0x84, b"\xff")))
        altered = crl(held)
        altered = altered[:-1] + bytes([altered[-1] ^ 1])
        for content, leaf, more, expected, said in (
                (crl(held), "bad", {}, "revoked", ""), (crl(held), "good", {}, "good", ""),
                (crl(), "bad", {}, "good", ""), (crl(entry(7, reason(8))), "bad", {}, "good", ""),
                (crl(held), "bad", {"-c": "order"}, "revoked", ""), (crl(held), "bad", {"-a": "9"}, "stale", "listed"),
                (crl(held), "bad", {"-a": "75m"}, "revoked", ""), (crl(held), "bad", {"-a": "59m"}, "stale", "listed"),
                (crl(held), "good", {"-a": "0"}, "stale", ""), (crl(issued=date(-8)), "good", {"-a": "2w"}, "good", ""),
                (crl(issued=date(-8)), "good", {"-a": "7d"}, "stale", ""),
                (crl(held), "bad", {"-c": "both"}, "cannot tell", "wrong order"),
                (crl(held, key="other"), "bad", {}, "cannot tell", "wrong signature"),
                (altered, "bad", {}, "cannot tell", "wrong signature"),
                (crl(held), "bad", {"-c": "root"}, "cannot tell", "another authority"),
                (crl(held, extensions=(DELTA,)), "bad", {}, "cannot tell", "Delta CRLs"),
                (crl(held, issued=b"tomorrow"), "bad", {}, "cannot tell", "no decision"),
                (crl(entry(7, strange), extensions=indirect), "bad", {}, "good", ""),
                (crl(entry(5, strange), entry(7), extensions=indirect), "bad", {}, "good", ""),
                (crl(entry(7, reason(6), when=b"20380119031408Z")), "bad", {}, "revoked", "date wraps"),
                (crl(held, due=date(-1)), "bad", {}, "revoked", "expired"),
                (crl(held, due=None), "good", {}, "good", "no next"),
                (crl(issuer="root"), "good", {"-c": "root"}, "good", "another issuer"),
                (crl(extensions=(number(b"\1"), scope(der(0x81, b"\xff")))), "good", {}, "good", "partial list"),
                (crl(issuer="good"), "good", {"-c": "good"}, "good", "wrong key usage")):
            self.put("list", content if len(said) % 2 else pem(content))
            options = {"-l": "list", "-c": "sub", "-a": "1d", **more}
            found = self.verdict(expected, "crl", "check", leaf, *(word for pair in options.items() for word in pair))
            self.assertIn(said, " ".join(found["problems"] + found["notLookedAt"]), (expected, more))
            signed = subprocess.run(["openssl", "crl", "-in", "list", "-noout", "-verify", "-CAfile", options["-c"]],
                                    capture_output=True).stderr  # it looks for the issuer, not for the first
            self.assertEqual(b"verify OK" in signed, found["signer"]["hasSigned"] or said == "wrong order", said)
            if expected == "revoked":
                self.assertEqual((found["serialNumber"], found["revocationTime"], found["reason"], found["reasonName"]),
                                 ("07", 2 ** 31 if said == "date wraps" else when, 6, "certificateHold"))

    def test_command_lines(self):
        self.put("list", crl())
        for age in ("", "x", "d", "-1", "1.5h", "7 d", "36501d", "9" * 30):
            self.refused(2, "--max-age", "crl", "check", "good", "-l", "list", "-c", "sub", "-a", age)
        for expect, line in ((2, ""), (2, "-l list -c sub"), (2, "-l - -c - -a 1"), (2, "-l list -a 1"),
                             (3, "-l none -c sub -a 1"), (3, "-l sub -c sub -a 1"), (3, "-l list -c list -a 1")):
            self.refused(expect, "", "crl", "check", "good", *line.split())


class Verification(RevocationCase):
    def test_verdicts_agree_with_openssl(self):
        one, root = number(b"\1"), crl(issuer="root", extensions=(number(b"\2"),))
        fresh = crl(entry(7, reason(1)))
        old = crl(issued=date(-5), extensions=(one,))
        situations = (
            [fresh, root], [root], [fresh], [], [old, root], [old, fresh, root], [fresh, old, root],
            [crl(entry(7), due=date(-1)), old, root], [fresh, crl(entry(2), issuer="root")],
            [fresh, crl(entry(1), issuer="root")], [old, crl(entry(7)), crl(extensions=(one, DELTA)), root], [fresh, crl(issuer="root", key="sub")],
            *([list, root] for list in (
                crl(due=date(-1)), crl(issued=date(1)), crl(key="root"), crl(entry(5, CRITICAL)),
                crl(issued=b"tomorrow"), crl(entry(7, reason(8))), crl(entry(7, reason(6)), due=None),
                crl(version=b"", extensions=()), crl(due=b"20260231000000Z"), crl(entry(7), issuer="other"),
                *(crl(extensions=(one, more)) for more in (DELTA, CRITICAL, extension(28, b"junk"), *(
                    scope(der(*part)) for part in ((0x81, b"\xff"), (0x82, b"\xff"), (0x83, b"\5\x60"))))))))
        errors = set()
        for position, lists in enumerate(situations):
            given = []
            for content in lists:
                given += ["-l", f"list{len(given)}"]
                self.put(given[-1], content if position % 2 else pem(content))
            # The command leaves delta lists out, which OpenSSL would take for complete ones.
            self.put("all", b"".join(pem(content) for content in lists if DELTA not in content))
            for leaf, level, *flags in ((a, *b) for a in ("good", "bad") for b in (
                    ("leaf", "-crl_check"), ("chain", "-crl_check_all"), ("off",))):
                oracle = subprocess.run(["openssl", "verify", "-trusted", "root", "-untrusted", "sub", *flags,
                                         *(["-CRLfile", "all"] if lists else []), leaf], capture_output=True)
                said = re.search(rb"error (\d+) at (\d+) depth", oracle.stderr)
                error, depth = (int(said[1]), int(said[2])) if said else (0, 0)
                expected = ERRORS.get(error) or ("cannot tell" if error in UNDECIDED else "rejected")
                found = self.verdict(expected, "verify", "-t", "root", "--crl-check", level, *given, leaf + ".chain")
                if error:
                    self.assertEqual((found["errorNumber"], found["depth"]), (error, depth), (position, leaf, level))
                errors.add(error)
                used = [[one["number"] for one in part["lists"]] for part in found["chain"]]
                if position in (0, 5, 6) and level != "off" and leaf == "good":  # the newest list counts
                    self.assertEqual(used, [["4660"], *([["2"], ["2"]] if level == "chain" else [[], []])])
        self.assertGreaterEqual(errors, {0, 3, 8, 11, 12, 23, 36})

    def test_evidence_and_inputs(self):
        self.put("lists", crl(entry(7, reason(4))) + crl(issuer="root", extensions=(number(b"\2"),)))
        found = self.verdict("revoked", "verify", "--trusted", "root", "--crl", "lists", "bad.chain")
        self.assertEqual([found[member] for member in ("reasonName", "crlCheck", "serialNumber", "errorText")],
                         ["superseded", "chain", "07", "certificate revoked"])
        self.assertEqual([(part["subject"], len(part["lists"])) for part in found["chain"]],
                         [("CN = bad", 1), ("CN = sub", 0), ("CN = root", 0)])
        self.assertEqual(self.verdict("verified", "verify", "-t", "root", "bad.chain")["crlCheck"], "off")
        for trust, chain, error in (("other", "good.chain", 20), ("sub", "good", 2), ("root", "good", 20),
                                    ("root", "root", 0)):
            found = self.verdict("rejected" if error else "verified", "verify", "-t", trust, chain)
            self.assertEqual(found.get("errorNumber", 0), error)
        whole = self.run_command("verify", "-t", "root", "-l", "-", "good.chain", data=self.get("lists"))
        self.assertRegex(whole.decode(), r"(?s)^verified\n.*depth 0\n.*Number: +4660 \(0x1234\)\n.*depth 2\n")
        for expect, line in ((3, "-t none good"), (3, "-t root lists"), (3, "-t root -l root good"), (2, "good"),
                             (2, "-t root --crl-check all good"), (2, "-t - -l - good")):
            self.refused(expect, "", "verify", *line.split())


class Places(RevocationCase):
    def test_urls(self):
        foreign = der(0xa2, der(0xa4, name((3, 12, b"somebody"))))
        points = [der(0x30, der(0xa0, der(0xa0, *(der(0x86, url) for url in urls))), more) for urls, more in (
            ((b"http://All:8080/x", b"ldap://all/"), b""), ((b"HTTPS://keys/\x1b",), der(0x81, b"\x05\x60")),
            ((b"http://foreign/",), foreign), ((b"http://bare",), der(0x81, b"\x03\x08")))]
        content = certificate(extensions=(extension(31, der(0x30, *points)),))
        for reasons, *expected in (("", "all8080", "keys443", "NoneNone"), ("keyCompromise", "all8080", "keys443"),
                                   ("superseded", "all8080", "NoneNone"), ("all", "all8080")):
            line = ["--reason", reasons] if reasons else []
            found = self.json("crl", "urls", *line, data=content)
            self.assertEqual([f"{one['server']}{one['port']}" for one in found["urls"]], expected, reasons)
            self.assertEqual(([one["url"] for one in found["urls"]], found["distributionPoints"]),
                             (self.json("cert", "urls", *line, data=content)["urls"], 4))
        self.assertEqual(self.run_command("crl", "urls", "-r", "all", "--all-schemes", data=content),
                         b"http://All:8080/x\tall\t8080\nldap://all/\n")
        self.run_command("crl", "urls", "-v", "-r", "all", data=content)
        self.assertRegex(self.error, r"(?s)CDP\[1\].*doesn't cover all.*CDP\[2\].*CRL issuer is different")
        self.assertEqual(self.json("crl", "urls", data=certificate(), expect=1)["urls"], [])
        self.run_command("crl", "urls", data=certificate(extensions=(extension(31, b"junk"),)), expect=1)
        self.assertIn("malformed", self.error)


if __name__ == "__main__":
    unittest.main()
