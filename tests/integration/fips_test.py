"""FIPS mode on the command line, with a real provider and without: fips_test.py PATH_OF_COMMAND [GROUP...]"""
import glob
import json
import os
import re
import subprocess
import sys

from command_test import Case, unittest

HERE = os.path.dirname(os.path.abspath(__file__))
PROVIDER = os.environ.get("CMNCRYPTO_FIPS_PROVIDER", os.path.join(HERE, "../../build/openssl/fips"))
MODULE = "".join(glob.glob(os.path.join(PROVIDER, "modules/fips.*")))
SECTION = os.path.join(PROVIDER, "fipsmodule.cnf")
# Of a module that failed when OpenSSL began, one system keeps the failure, another forgets all that was known of it.
AGAIN = "not configured" if MODULE.endswith("dll") else "self test failed"


class FipsCase(Case):
    def setting(self, providers, only=False, damage=False, modules=os.path.dirname(MODULE)):
        """OpenSSL's configuration: providers, activated with "!", and whether FIPS algorithms alone are asked for."""
        section = self.get(SECTION).decode() if os.path.exists(SECTION) else ""
        section = section if "fips!" in providers else section.replace("activate = 1", "")
        section = re.sub("module-mac = ..", "module-mac = 99", section) if damage else section
        named = "".join(f"{name.rstrip('!')} = {'fips_sect' if 'fips' in name else 'active'}\n" for name in providers)
        asked = "alg_section = algorithms\n" if only else ""
        self.put("openssl.cnf", f"openssl_conf = init\n{section}\n[init]\nproviders = list\n{asked}[algorithms]\n"
                                f"default_properties = fips=yes\n[active]\nactivate = 1\n[list]\n{named}".encode())
        self.environment = dict(os.environ, OPENSSL_CONF=os.path.abspath("openssl.cnf"), OPENSSL_MODULES=modules)

    def json(self, *arguments, expect=0):
        return json.loads(self.run_command(*arguments, "--json", expect=expect, env=self.environment))

    def state(self, expect=0):
        found = self.json("fips", "status", expect=expect)
        self.assertEqual(self.json("fips", expect=expect), found)
        self.assertEqual(found["inForceFromStart"], found["fipsMode"])
        mode = "on" if found["fipsMode"] else "off"
        for alone in (["fips"], ["fips", "status"]):
            text = self.run_command(*alone, expect=expect, env=self.environment).decode()
            md5 = "refused" if found["md5Refused"] else "works"
            self.assertRegex(text, rf"\AFIPS mode: +{mode}\n(?s:.)*MD5: +{md5}\n")
            self.assertEqual(text.count("Problem:"), len(found["problems"]))
        names = [provider["name"] for provider in found["providers"]]
        return mode, found["md5Refused"], " ".join(names), found["fipsProvider"]["state"], " ".join(found["problems"])


class With(FipsCase):
    def test_states_and_answers(self):
        for providers, more, expected, problem in (
                (["fips"], {}, ("off", False, "default", "available"), ""),
                (["fips!", "default!"], {}, ("off", False, "default fips", "available"), "FIPS provider may serve"),
                (["fips!", "base!"], {}, ("off", True, "base fips", "available"), "FIPS algorithms alone"),
                (["fips!"], {}, ("off", True, "fips", "available"), "keys and certificates cannot be read"),
                (["fips!", "base!"], {"only": True}, ("on", True, "base fips", "available"), ""),
                (["fips"], {"damage": True}, ("off", False, "default", "self test failed"), ""),
                (["fips!"], {"damage": True}, ("off", True, "", AGAIN), "nothing works"),
                ([], {}, ("off", False, "default", "not configured"), "")):
            self.setting(providers, **more)
            *state, problems = self.state(expect=8 if problem == "nothing works" else 0)
            self.assertEqual(tuple(state), expected, providers)
            self.assertTrue(problem in problems and bool(problem) == bool(problems), problems)
            sound = expected[3] == "available"
            found = self.json("fips", "test", expect=1 - sound)
            self.assertEqual((found["fipsMode"], found.get("passed", False)), (sound, sound))
            text = self.run_command("fips", "test", expect=1 - sound, env=self.environment).decode()
            self.assertEqual((text.count(" passed\n"), text.endswith(f" {state[0]}, as before\n")), (11 * sound, sound))
            self.assertEqual(f"stays off: {expected[3]}: " in self.error, not sound)

    def test_agrees_with_openssl(self):
        self.setting(["fips!", "base!"], only=True)
        listed = subprocess.run(["openssl", "list", "-providers"], env=self.environment, capture_output=True, check=True)
        found = self.json("fips")["providers"]
        self.assertEqual(re.findall(r"name: (.*)\n +version: (.*)\n +status: active", listed.stdout.decode()),
                         [(provider["title"], provider["version"]) for provider in found])
        self.assertEqual(self.json("hash", "-a", "MD5", "data", expect=8)["code"], 8787)


class Without(FipsCase):
    def test_reasons(self):
        self.setting(["fips"], modules="nowhere")
        self.assertEqual(self.state(), ("off", False, "default", "missing", ""))
        found = self.json("fips", "test", expect=1)
        self.assertTrue(found["exit"] == 1 and "nowhere" in found["error"], found)
        self.setting([], only=True)
        self.assertEqual(self.state(expect=8)[:3], ("on", True, "default"))
        self.assertFalse(self.json("fips", "test", expect=8)["passed"])
        for content, problem in ((None, "(?i)no such file|not found"), (b"[broken\n", "line 1: ")):
            os.remove("openssl.cnf") if content is None else self.put("openssl.cnf", content)
            self.assertRegex(self.state()[4], problem)
        self.refused(2, "--enable", "fips", "--enable")


if __name__ == "__main__":
    if any("With." in name or name == "With" for name in sys.argv) and not os.path.exists(MODULE):
        sys.exit(77)  # skipped: scripts/build-openssl fips makes one
    unittest.main()
