#!/usr/bin/env python3
"""Runs clang-tidy over library and command, folder by folder as one source: most of the time goes into headers.

What was clean and has not changed since is not examined again; the folder BUILD_DIR/clean remembers it.
Usage: scripts/clang-tidy.py BUILD_DIR   (configured with CMNCRYPTO_UNITY)
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# That sources include sources is the point of it.
TIDY = ['clang-tidy-14', '--quiet', '--checks=-bugprone-suspicious-include']


def units(build):
    """The compilations of library and command, with what they depend on for a key."""
    headers = [path for folder in ('include', 'src', 'cli') for path in sorted((ROOT / folder).rglob('*.h*'))]
    common = b''.join(path.read_bytes() for path in [ROOT / '.clang-tidy', pathlib.Path(__file__), *headers])
    common += subprocess.run([TIDY[0], '--version'], capture_output=True, check=True).stdout
    common += subprocess.run(['dpkg-query', '-W', 'libssl-dev', 'libcli11-dev', 'nlohmann-json3-dev', 'libstdc++-12-dev'],
                             capture_output=True, check=False).stdout
    for entry in json.loads((build / 'compile_commands.json').read_text()):
        unit = pathlib.Path(entry['file'])
        if re.match(r'(src|cli)/', str(unit.relative_to(build)) if unit.is_relative_to(build) else ''):
            key = hashlib.sha256(common + entry['command'].encode())
            for member in re.findall(r'#include "(.*)"', unit.read_text()):
                key.update(pathlib.Path(member).read_bytes())
            yield unit, shlex.split(entry['command']), key.hexdigest()


def examine(build, unit, command, key):
    """Returns the findings in a unit, empty for none."""
    remembered = build / 'clean' / key
    if remembered.exists():
        return ''
    # By a name of this kind the analyzer knows that the included files are what it is to go through.
    unified = build / 'clean' / f'UnifiedSource-{unit.stem}.cpp'
    unified.write_text(unit.read_text())
    options = [word for word in command[1:] if word.startswith(('-I', '-D', '-std', '-W'))]
    done = subprocess.run([*TIDY, unified, '--', *options], capture_output=True, text=True, cwd=ROOT, check=False)
    if done.returncode == 0:
        remembered.touch()
        return ''
    return done.stdout or done.stderr


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    (build / 'clean').mkdir(exist_ok=True)
    found = list(units(build))
    if not found:
        sys.exit('nothing to examine: is the build folder configured with CMNCRYPTO_UNITY?')
    # The largest first, so that none is left to run alone.
    found.sort(key=lambda one: -len(one[0].read_text()))
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        findings = [text for text in pool.map(lambda one: examine(build, *one), found) if text]
    print('\n'.join(findings), end='')
    sys.exit(1 if findings else 0)


if __name__ == '__main__':
    main()
