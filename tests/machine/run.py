"""Runs cases on one machine: run.py [--check] [CASE...]; with --check it only looks whether there are such cases."""
import glob
import os
import sys
import tempfile
import time
import traceback

from cases import CASES, NAMED, SHORT, Setting
from machine import Failure


def run_case(setting, name):
    """Prints what held; True when it did."""
    start = time.monotonic()
    since = setting.guest.mark()
    try:
        setting.use_names(name in NAMED)
        held = CASES[name](setting)
        setting.rested = False
    except Exception as fault:
        print(f"-- {name} FAILED after {time.monotonic() - start:.0f} s: {fault}\n{traceback.format_exc()}")
        print("-- what the guest said meanwhile:\n" + setting.guest.transcript(since)[-20000:])
        return False
    print(f"   {name}: {held} ({time.monotonic() - start:.0f} s)", flush=True)
    return True


def main():
    arguments = sys.argv[1:]
    only_check = arguments[:1] == ["--check"]
    names = arguments[only_check:] or list(CASES)
    if names == ["--short"]:
        names = SHORT
    unknown = [name for name in names if name not in CASES]
    if unknown:
        print(f"test-machine: '{unknown[0]}' is none of {', '.join(CASES)}", file=sys.stderr)
    if unknown or only_check:
        return 2 if unknown else 0
    passed = 0
    with tempfile.TemporaryDirectory(prefix="korvex-machine-", ignore_cleanup_errors=True) as folder:
        setting = Setting(folder)
        try:
            start = time.monotonic()
            setting.boot(names[0] in NAMED)
            print(f"== the machine has booted after {time.monotonic() - start:.0f} s", flush=True)
            while passed < len(names) and run_case(setting, names[passed]):
                passed += 1
        except Failure as fault:
            print(f"-- the machine does not come up: {fault}")
        finally:
            if passed < len(names):
                for console in glob.glob(os.path.join(folder, "machine*", "console.log")):
                    print("-- the guest's console:\n" + open(console, errors="replace").read()[-5000:])
            setting.end()
    print(f"== {passed} of {len(names)} cases on the machine held")
    return 0 if passed == len(names) else 1


sys.exit(main())
