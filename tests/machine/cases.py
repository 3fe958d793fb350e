"""The cases: what has to hold on a real machine. Each starts and ends with both lines plugged in, an emulated controller behind each, and no
process of korvex."""
import json
import re
import time

from machine import Controller, Failure, expect

UART = "/dev/ttyS1"
ADAPTER = "/dev/ttyUSB0"
LONG = 60 # seconds that an event may take on a processor that others keep busy


class Setting:
    """What the cases share: the machine and the controllers that are behind its lines now."""

    def __init__(self, folder, machine, uart, adapter):
        self.folder = folder
        self.machine = machine
        self.guest = machine.guest
        self.uart = uart
        self.adapter = adapter
        self.count = 0

    def name(self, stem):
        """A name that nothing had before."""
        self.count += 1
        return f"{stem}-{self.count}"

    def controller(self, *options):
        return Controller(self.folder, self.name("controller"), *options)

    def korvex(self, stem, arguments):
        """Starts the command with a calibration that takes the whole raw range; the process's name."""
        name = self.name(stem)
        self.guest.run("mkdir -p /run/panel && printf '[Calibration]\\nPanelOrient=1\\nMode=0\\n' >/run/panel/Korvex.ini")
        self.guest.start(name, f"sh -c 'cd /run/panel && exec korvex {arguments}'")
        return name

    def enumerate(self, *ports):
        """Starts `korvex enum` with nothing known before, on these ports or on all of the system's."""
        return self.korvex("enum", f"enum --windows none --pointer log --state {self.name('/tmp/state')} "
                           + " ".join(f"--port {port}" for port in ports))

    def drive(self, path):
        """Starts `korvex drive` on a line and waits until it drives it; the process's name."""
        name = self.korvex("drive", f"drive {path} --pointer log")
        self.guest.wait_line(name, "controller .* baud", limit=LONG)
        return name

    def end(self):
        self.machine.end()
        self.uart.end()
        self.adapter.end()

    def swap(self, uart, adapter):
        """Puts other controllers behind both lines."""
        self.machine.change_uart(uart)
        self.machine.unplug()
        since = self.guest.mark()
        self.machine.plug(adapter)
        self.guest.wait_line("devices", r"^UDEV.* add .*/ttyUSB0 \(tty\)", since, limit=LONG)
        self.uart.end()
        self.adapter.end()
        self.uart, self.adapter = uart, adapter


def percent_of(line):
    """Where a line of `--pointer log` puts the pointer, in percent."""
    record = json.loads(line.text)
    return record["dx"] / 655.36, record["dy"] / 655.36


def touch(setting, controller, process, x, y):
    """Touches a panel, and expects the process to report it there."""
    since = setting.guest.mark()
    controller.gesture(f"touch {x} {y}", "lift")
    down = setting.guest.wait_line(process, '"flags":32771', since)
    setting.guest.wait_line(process, '"flags":32772', since)
    seen = percent_of(down)
    expect(abs(seen[0] - x) < 0.5 and abs(seen[1] - y) < 0.5, f"a touch at {x}, {y} % was reported at {seen}")


def hold(guest, name, path):
    """Starts a process that holds a line as others hold theirs."""
    guest.start(name, "python3 -uc 'import fcntl, os, signal; port = os.open(\"" + path + "\", os.O_RDWR | os.O_NONBLOCK | os.O_NOCTTY); "
                "fcntl.flock(port, fcntl.LOCK_EX); print(\"held\"); signal.pause()'")
    guest.wait_line(name, "held")


def identification(setting):
    """Both lines are identified at both rates and driven; the console and a port in use are left out, with a line that says so."""
    guest = setting.guest
    for rates in ((19200, 9600), (9600, 19200)):
        if rates != (19200, 9600):
            setting.swap(setting.controller("--baud", str(rates[0])), setting.controller("--baud", str(rates[1]), "--model", "7700"))
        name = setting.enumerate()
        guest.wait_line(name, "Enable Touch Tests", limit=LONG)
        for model, path, rate in (("5200", UART, rates[0]), ("7700", ADAPTER, rates[1])):
            expect(guest.find(name, f"Korvex {model} Found"), f"no {model} was found on {path}")
            set_up = guest.run(f"stty -F {path} -a")
            expect(f"speed {rate} baud" in set_up and "-icanon" in set_up, f"{path} is driven with {set_up}")
        for controller, x, y in ((setting.uart, 25, 75), (setting.adapter, 80, 10)):
            touch(setting, controller, name, x, y)
        expect(guest.stop(name) == 0, "enum did not end with 0")

    holder = setting.name("holder")
    hold(guest, holder, ADAPTER)
    name = setting.enumerate("COM1=/dev/ttyS0", f"COM2={UART}", f"COM33={ADAPTER}")
    guest.wait_line(name, "COM1 is left out: '/dev/ttyS0' is a system console")
    guest.wait_line(name, f"'{ADAPTER}' is left out: ", limit=LONG)
    guest.wait_line(name, "Enable Touch Tests", limit=LONG)
    touch(setting, setting.uart, name, 50, 50)
    guest.stop(name)
    guest.stop(holder)
    ports = guest.run(f"korvex ports --state {setting.name('/tmp/state')}")
    expect("ttyS0" not in ports and UART in ports and ADAPTER in ports, f"the ports of the machine: {ports}")
    return "19200 and 9600 baud on 16550A and FTDI"


SHORT = ["identification"]
CASES = {case.__name__.replace("_", "-"): case for case in (identification,)}
