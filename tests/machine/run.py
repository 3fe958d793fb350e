"""Runs cases on one machine: run.py [--check] [CASE...]; with --check it only looks whether there are such cases."""
import os
import shutil
import subprocess
import sys
import tempfile
import time
import traceback

from cases import CASES, SHORT, Setting
from machine import Controller, Failure, Machine


def set_up(folder):
    uart = Controller(folder, "uart")
    adapter = Controller(folder, "adapter", "--baud", "9600", "--model", "7700")
    start = time.monotonic()
    setting = Setting(folder, Machine(os.path.join(folder, "machine"), uart, adapter), uart, adapter)
    setting.guest.start("devices", "stdbuf -oL udevadm monitor --kernel --udev")
    setting.guest.start("kernel", "dmesg --follow")
    print(f"== the machine has booted after {time.monotonic() - start:.0f} s", flush=True)
    return setting


def run_case(setting, name):
    """Prints what held; True when it did."""
    start = time.monotonic()
    since = setting.guest.mark()
    try:
        held = CASES[name](setting)
    except Exception as fault:
        print(f"-- {name} FAILED after {time.monotonic() - start:.0f} s: {fault}\n{traceback.format_exc()}")
        print("-- what the guest said meanwhile:\n" + setting.guest.transcript(since)[-10000:])
        return False
    print(f"   {name}: {held} ({time.monotonic() - start:.0f} s)", flush=True)
    return True


def main():
    arguments = sys.argv[1:]
    only_check = arguments[:1] == ["--check"]
    names = arguments[only_check:] or list(CASES)
    if names == ["--short"]:
        names = SHORT
    for name in names:
        if name not in CASES:
            print(f"test-machine: '{name}' is none of {', '.join(CASES)}", file=sys.stderr)
            return 2
    if only_check:
        return 0
    folder = tempfile.mkdtemp(prefix="korvex-machine-")
    setting = None
    passed = 0
    try:
        setting = set_up(folder)
        for name in names:
            if not run_case(setting, name):
                break
            passed += 1
    except Failure as fault:
        print(f"-- the machine does not come up: {fault}")
    if passed < len(names):
        console = os.path.join(folder, "machine", "console.log")
        if os.path.exists(console):
            print("-- the guest's console:\n" + open(console, errors="replace").read()[-5000:])
    if setting:
        setting.end()
    shutil.rmtree(folder, ignore_errors=True)
    print(f"== {passed} of {len(names)} cases on the machine held")
    return 0 if passed == len(names) else 1


sys.exit(main())
