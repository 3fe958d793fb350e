"""The cases: what has to hold on a real machine. Each starts and ends with both lines plugged in, an emulated controller behind each, and
no process of korvex."""
import itertools
import json
import os
import re
import signal
import subprocess
import time

from machine import Controller, Machine, Recorder, expect, wait_until

UART = "/dev/ttyS1"
ADAPTER = "/dev/ttyUSB0"
TRIGGER = "/sys/class/tty/ttyS1/rx_trig_bytes"
TIMER = "/sys/bus/usb-serial/devices/ttyUSB0/latency_timer"
LONG = 60  # seconds that an event may take on a processor that others keep busy


class Setting:
    """What the cases share: the machine and the controllers that are behind its lines now."""

    def __init__(self, folder):
        self.folder = folder
        self.count = 0
        self.controllers = []  # all that were ever there
        self.uart = self.controller()
        self.adapter = self.controller("--baud", "9600", "--model", "7700")
        self.data = os.path.join(folder, "data.img")
        subprocess.run(["mke2fs", "-q", "-t", "ext4", self.data, "16M"], check=True, stdout=subprocess.DEVNULL)
        self.machine = None
        self.named = False  # whether panels have names, and are driven by their units
        self.rested = False  # whether nothing has been done since the machine has started with them

    def boot(self, named):
        """Starts a machine, where it is wanted with panels that have names from the start."""
        folder = os.path.join(self.folder, self.name("machine"))
        self.machine = Machine(folder, self.uart, self.adapter, self.data, "named" if named else "")
        self.guest = self.machine.guest
        self.named = self.rested = named
        self.watch_devices()

    def watch_devices(self):
        self.guest.devices = self.name("devices")
        self.guest.start(self.guest.devices, "stdbuf -oL udevadm monitor --kernel --udev")
        self.guest.wait_line(self.guest.devices, "^KERNEL - ")

    def reboot(self, meanwhile=lambda: None):
        self.machine.reset(meanwhile)
        self.watch_devices()

    def use_names(self, named):
        """Gives panels their names, or takes them away with all that is theirs."""
        if named and not self.named:
            self.guest.run("sh /case/name-panels")
        if not named and self.named:
            self.guest.run("rm /etc/udev/rules.d/*korvex*; systemctl stop 'korvex@*'; rm -r /var/lib/korvex")
        if named != self.named:
            self.guest.run("udevadm control --reload; udevadm trigger --settle --subsystem-match=tty")
        self.named = named

    def name(self, stem):
        """A name that nothing had before."""
        self.count += 1
        return f"{stem}-{self.count}"

    def controller(self, *options):
        self.controllers.append(Controller(self.folder, self.name("controller"), *options))
        return self.controllers[-1]

    def korvex(self, stem, arguments, session=""):
        """Starts the command with a calibration that takes the whole raw range, and a session's variables; the process's name."""
        name = self.name(stem)
        self.guest.run("mkdir -p /run/panel && printf '[Calibration]\\nPanelOrient=1\\nMode=0\\n' >/run/panel/Korvex.ini")
        self.guest.start(name, f"sh -c 'cd /run/panel && exec env {session} korvex {arguments}'")
        return name

    def enumerate(self, *ports):
        """Starts `korvex enum` with nothing known before, on these ports or on all of the system's."""
        return self.korvex("enum", f"enum --windows none --pointer log --state {self.name('/tmp/state')} "
                           + " ".join(f"--port {port}" for port in ports))

    def drive(self, path, pointer="--pointer log", session=""):
        """Starts `korvex drive` on a line and waits until it drives it; the process's name."""
        name = self.korvex("drive", f"drive {path} {pointer}", session)
        self.guest.wait_line(name, ": controller .* baud", limit=LONG)
        return name

    def end(self):
        if self.machine:
            self.machine.kill()
        for controller in self.controllers:
            if controller.process.poll() is None:  # a case that failed has left it
                controller.end()

    def replace_uart(self, *options):
        """Puts another controller behind the 16550A."""
        controller = self.controller(*options)
        self.machine.change_uart(controller)
        self.uart.end()
        self.uart = controller

    def replace_adapter(self, *options):
        """Pulls the adapter out and plugs it in with another controller behind it."""
        controller = self.controller(*options)
        unplug(self)
        plug(self, controller)
        self.adapter.end()
        self.adapter = controller


def near(seen, x, y, tolerance=0.5):
    """Whether two numbers are a place."""
    return abs(float(seen[0]) - x) < tolerance and abs(float(seen[1]) - y) < tolerance


def touch(setting, controller, process, x, y):
    """Touches a panel, and expects the process to report it there."""
    since = setting.guest.mark()
    controller.gesture(f"touch {x} {y}", "lift")
    down = json.loads(setting.guest.wait_line(process, '"flags":32771', since).text)
    setting.guest.wait_line(process, '"flags":32772', since)
    seen = down["dx"] / 655.36, down["dy"] / 655.36
    expect(near(seen, x, y), f"a touch at {x}, {y} % was reported at {seen}")


def tap_until(setting, process, released, x, y):
    """Taps the adapter's panel again and again until a process has told the end of a tap: what is tapped while a session asks for its
    controller's model is lost."""
    since = setting.guest.mark()

    def told():
        setting.adapter.gesture(f"touch {x} {y}", "lift")
        time.sleep(0.1)
        return setting.guest.find(process, released, since)
    wait_until(told, LONG, f"a touch from {process}")


def identification(setting):
    """Both lines are identified at both rates and driven; the console and a port in use are left out, with a line that says so."""
    guest = setting.guest
    guest.run(f"echo 8 >{TRIGGER}")
    for rates in ((19200, 9600), (9600, 19200)):
        setting.replace_uart("--baud", str(rates[0]))
        setting.replace_adapter("--baud", str(rates[1]), "--model", "7700")
        name = setting.enumerate()
        guest.wait_line(name, "Enable Touch Tests", limit=LONG)
        for model, path, rate in (("5200", UART, rates[0]), ("7700", ADAPTER, rates[1])):
            expect(guest.find(name, f"Korvex {model} Found"), f"no {model} was found on {path}")
            set_up = guest.run(f"stty -F {path} -a")
            expect(f"speed {rate} baud" in set_up and "-icanon" in set_up, f"{path} is driven with {set_up}")
        expect(guest.run(f"cat {TRIGGER} {TIMER}") == "1\n1", "the UART's trigger or the adapter's timer is left as it was")
        for controller, x, y in ((setting.uart, 25, 75), (setting.adapter, 80, 10)):
            touch(setting, controller, name, x, y)
        expect(guest.stop(name) == 0, "enum did not end with 0")
        expect(guest.run(f"cat {TRIGGER}") == "8", "the UART's trigger was not put back")

    holder = setting.name("holder")
    guest.start(holder, f"flock --no-fork {ADAPTER} sh -c 'echo held; exec sleep infinity'")
    guest.wait_line(holder, "held")
    name = setting.enumerate("COM1=/dev/ttyS0", f"COM2={UART}", f"COM33={ADAPTER}")
    guest.wait_line(name, "COM1 is skipped: '/dev/ttyS0' is a system console")
    guest.wait_line(name, f"'{ADAPTER}' is skipped: ", limit=LONG)
    guest.wait_line(name, "Enable Touch Tests", limit=LONG)
    touch(setting, setting.uart, name, 50, 50)
    guest.stop(name)
    guest.stop(holder)
    ports = guest.run(f"korvex ports --state {setting.name('/tmp/state')}")
    expect("ttyS0" not in ports and UART in ports and ADAPTER in ports, f"the ports of the machine: {ports}")
    return "19200 and 9600 baud on 16550A and FTDI"


def wait_adapter(guest, since, going=False):
    """Waits until udev is done with a coming adapter, or the kernel has taken a going one away; when that was, which is sooner than the
    line came."""
    what = r"^KERNEL *\[.* remove" if going else r"^UDEV *\[.* add"
    line = guest.wait_line(guest.devices, what + r" .*/ttyUSB\d+ \(tty\)", since, limit=LONG)
    return float(re.search(r"\[ *(\d+\.\d+)\]", line.text)[1])


def unplug(setting, name="adapter"):
    since = setting.guest.mark()
    setting.machine.monitor.remove(name)
    return wait_adapter(setting.guest, since, going=True)


def plug(setting, controller=None):
    since = setting.guest.mark()
    setting.machine.plug(controller)
    return wait_adapter(setting.guest, since)


def plug_beside(setting, name, device, socket):
    """Plugs one more adapter in, in a socket behind the first; its serial number is its name in capitals."""
    setting.machine.monitor.add_backend(name, device)
    since = setting.guest.mark()
    setting.machine.plug_adapter(name, name, socket, name.upper())
    wait_adapter(setting.guest, since)


def unplug_beside(setting, name):
    unplug(setting, name)
    setting.machine.monitor.execute("chardev-remove", id=name)


def expect_no_spin(guest, process):
    """Looks at the CPU time of a second and a half, in hundredths of a second."""
    ticks = f"cut -d ' ' -f 14,15 /proc/{process}/stat"
    before, after = guest.run(f"{ticks}; sleep 1.5; {ticks}").splitlines()
    used = sum(map(int, after.split())) - sum(map(int, before.split()))
    expect(used < 10, f"{used / 100} s of CPU time in 1.5 s without the adapter")


def check_touch_through_loss(setting, name, process, other):
    """The adapter goes within a touch and comes back within it; the other line reports all the while."""
    guest = setting.guest
    start = guest.mark()
    for controller, panel in ((setting.adapter, name), (setting.uart, other)):
        controller.gesture("circle 40 6")
        guest.wait_line(panel, '"flags":32769', start, count=10)
    removed = unplug(setting)
    released = guest.wait_line(name, '"flags":32772', start).time - removed  # the driver hangs up a little before
    expect(-0.5 < released < 0.1, f"the touch was released {released:.3f} s after the adapter had gone")
    expect_no_spin(guest, process)
    since = guest.mark()
    back = plug(setting)
    again = guest.wait_line(name, '"flags":32771', since).time - back
    expect(again < 1, f"reports came again {again:.3f} s after the adapter was back")
    kept = guest.run(f"cat {TIMER}; setpriv --reuid 65534 --regid dialout --clear-groups sh -c ': <>{ADAPTER}' 2>&1; true")
    expect(kept.startswith("1\n") and kept.endswith("busy"), f"what came back has neither its timer nor its port to itself: {kept}")
    end = guest.wait_line(other, '"flags":32772', start)
    times = [line.time for line in guest.find(other, '"flags":327', start) if line.time <= end.time]
    pause = max(after - before for before, after in zip(times, times[1:]))
    expect(pause < 0.4, f"the other line paused for {pause:.3f} s")
    guest.wait_line(name, '"flags":32772', since)
    return f"released {released * 1000:.0f} ms after the loss, reports {again * 1000:.0f} ms after the return"


def check_idle_loss(setting, name, process, link):
    """The adapter goes while idle and comes back, first under another number, then under its own."""
    guest = setting.guest
    unplug(setting)
    expect_no_spin(guest, process)
    other = Recorder(os.path.join(setting.folder, "other"))
    plug_beside(setting, "other", other, 2)
    for number in (1, 0):
        back = plug(setting)
        expect(guest.run("readlink -f " + link) == f"/dev/ttyUSB{number}", f"the adapter is not ttyUSB{number}")
        since = guest.mark()
        tap_until(setting, name, '"flags":32772', 40, 30)
        again = guest.find(name, '"flags":32771', since)[0].time - back
        expect(again < 1, f"as ttyUSB{number} reports came again after {again:.3f} s")
        if number == 1:
            unplug(setting)
            unplug_beside(setting, "other")


def name_of_link(guest):
    """The adapter's link, which stays the same under any number: the first where systemd 257 makes a second, usbv2-."""
    links = sorted(guest.run("ls -d /dev/serial/by-path/*").split())
    expect(len(links) == 1 or len(links) == 2 and "-usbv2-" in links[1], f"links of adapters: {links}")
    return links[0]


def unplugging(setting):
    """The adapter is pulled out within a touch, while idle and within the identification, and put back, also under another number."""
    guest = setting.guest
    other = setting.drive(UART)
    link = name_of_link(guest)
    name = setting.drive(link)
    process = guest.run(f"pgrep -f '^korvex drive {link}'")
    told = check_touch_through_loss(setting, name, process, other)
    check_idle_loss(setting, name, process, link)

    expect(guest.stop(name) == 0 and guest.stop(other) == 0, "drive did not end with 0")

    setting.replace_adapter("--model", "5460")  # which is asked for longer: last of all
    commands = len(setting.adapter.received())
    name = setting.korvex("drive", f"drive {link} --pointer log")
    wait_until(lambda: len(setting.adapter.received()) > commands, LONG, "the first command of an identification")
    unplug(setting)
    code = guest.wait_end(name)
    expect(code in (3, 4), f"drive of an adapter that went within the identification ended with {code}")
    plug(setting)
    name = setting.drive(link)
    touch(setting, setting.adapter, name, 10, 90)
    guest.stop(name)
    return told


def touch_places(setting, controller, client, pattern, area, mirrored=False):
    """Touches a panel at nine places, and expects a client to print each in an area: its left edge, width and height."""
    left, width, height = area
    for y, x in itertools.product((10, 50, 90), (5, 50, 95)):
        since = setting.guest.mark()
        controller.gesture(f"touch {abs(100 * mirrored - x)} {abs(100 * mirrored - y)}", "lift")

        def arrived():
            places = [re.search(pattern, line.text).groups() for line in setting.guest.find(client, pattern, since)]
            return any(near(place, left + x * width / 100, y * height / 100, width / 200) for place in places)
        setting.guest.wait(arrived, 30, f"a touch at {x}, {y} % of {width} x {height} in '{client}'")


def power_cut(setting):
    """The power goes while calibrations are saved: the file is whole, and not older than the last save that has returned."""
    guest = setting.guest
    # With this option a file that was not flushed is empty after it has replaced another.
    guest.run("mkdir -p /data && mount -o noauto_da_alloc /dev/vdc /data")
    name = setting.name("save")
    guest.start(name, "sh -c 'cd /data && exec /case/korvex_machine_probe'")
    guest.wait_line(name, "^saved ", count=50)
    saved = int(guest.find(name, "^saved ")[-1].text.split()[1])
    setting.machine.kill()
    setting.boot(False)
    guest = setting.guest
    guest.run("mkdir -p /data && mount /dev/vdc /data")
    settings = guest.run("cat /data/Korvex.ini")
    values = [int(value) for value in re.findall(r"(?m)^(?:STD|ADV)_\w+=(\d+)$", settings)]
    expect(len(values) == 54 and len(set(values)) == 1 and values[0] >= saved, f"the settings after save {saved}:\n{settings}")
    guest.run("umount /data")
    return f"save {saved} of a killed machine"


def touch_screens(guest):
    """The kernel's devices of korvex: event node by name."""
    names = guest.run("grep -H 'Korvex touch panel' /sys/class/input/event*/device/name; true").splitlines()
    return {line.split(":", 1)[1]: "/dev/input/" + line.split("/")[4] for line in names}


def watch_input(setting, node):
    """Starts libinput's own listener on a device; the process's name."""
    name = setting.name("libinput")
    setting.guest.start(name, f"stdbuf -oL libinput debug-events --device {node}")
    setting.guest.wait_line(name, "DEVICE_ADDED .* cap:t", limit=LONG)
    return name


def expect_percent(guest, name, since, x, y):
    """Expects libinput to report a touch at a place, in percent."""
    line = guest.wait_line(name, "TOUCH_DOWN", since)
    seen = re.search(r"(\d+\.\d+)/ *(\d+\.\d+) \(", line.text).groups()
    expect(near(seen, x, y), f"a touch at {x}, {y} % is for libinput at {line.text}")
    guest.wait_line(name, "TOUCH_UP", since)


def input_devices(setting):
    """Each line is a touch screen of the kernel's: there before the first touch, through an unplugging, gone with the port, and released
    whatever becomes of its maker."""
    guest = setting.guest
    expect(not touch_screens(guest), "a touch screen is there before korvex runs")
    link = name_of_link(guest)
    lines = {UART: setting.uart, link: setting.adapter}
    drivers = {path: setting.drive(path, "--pointer uinput") for path in lines}
    wait_until(lambda: len(touch_screens(guest)) == 2, LONG, "two touch screens")
    screens = touch_screens(guest)
    expect(sorted(screens) == ["Korvex touch panel ttyS1", "Korvex touch panel ttyUSB0"], f"the touch screens are {screens}")
    nodes = {UART: screens["Korvex touch panel ttyS1"], link: screens["Korvex touch panel ttyUSB0"]}
    guest.run("udevadm settle")
    watchers = {}
    for path, controller in lines.items():
        properties = guest.run(f"udevadm info --query=property {nodes[path]}").splitlines()
        expect(guest.run(f"cat /sys/class/input/{nodes[path][11:]}/device/properties") == "2", f"{nodes[path]} is no direct touch screen")
        expect("ID_INPUT_TOUCHSCREEN=1" in properties and not any("MOUSE" in line for line in properties), f"udev says {properties}")
        watchers[path] = watch_input(setting, nodes[path])
        since = guest.mark()
        controller.gesture("touch 30 70", "lift")
        expect_percent(guest, watchers[path], since, 30, 70)

    since = guest.mark()
    setting.adapter.gesture("touch 40 40")
    guest.wait_line(watchers[link], "TOUCH_DOWN", since)
    unplug(setting)
    guest.wait_line(watchers[link], "TOUCH_UP", since)
    expect(touch_screens(guest) == screens, "a touch screen went with its adapter")
    plug(setting)
    since = guest.mark()
    tap_until(setting, watchers[link], "TOUCH_UP", 60, 20)
    expect_percent(guest, watchers[link], since, 60, 20)
    expect(guest.stop(drivers[link]) == 0, "drive did not end with 0")
    guest.wait_line(watchers[link], "DEVICE_REMOVED")

    since = guest.mark()
    setting.uart.gesture("touch 50 50")
    guest.wait_line(watchers[UART], "TOUCH_DOWN", since)
    guest.stop(drivers[UART], signal.SIGKILL)
    guest.wait_line(watchers[UART], "TOUCH_UP", since)
    guest.wait_line(watchers[UART], "DEVICE_REMOVED", since)
    setting.uart.gesture("lift")
    expect(not touch_screens(guest), "a touch screen is left")
    for watcher in watchers.values():
        guest.stop(watcher)

    # Right clicks have a device of their own; the other one stays a touch screen.
    drive = setting.drive(UART, "--pointer uinput --hold-right 300")
    wait_until(lambda: len(touch_screens(guest)) == 1, LONG, "a touch screen")
    node = touch_screens(guest).popitem()[1]
    mouse = guest.run("grep -l 'Korvex right button ttyS1' /sys/class/input/event*/device/name").split("/")[4]
    guest.run("udevadm settle")
    watcher = watch_input(setting, f"{node} --device /dev/input/{mouse}")
    since = guest.mark()
    setting.uart.gesture("press 30 70 500", "press 60 20 100")
    line = guest.wait_line(watcher, "POINTER_MOTION_ABSOLUTE|TOUCH_DOWN|POINTER_BUTTON", since)
    expect(near(re.search(r"([\d.]+)/ *([\d.]+)\s*$", line.text).groups(), 30, 70), f"the right click is at {line.text}")
    guest.wait_line(watcher, "POINTER_BUTTON .*BTN_RIGHT.* pressed", since)
    guest.wait_line(watcher, "POINTER_BUTTON .*BTN_RIGHT.* released", since)
    expect_percent(guest, watcher, since, 60, 20)
    guest.stop(drive)
    guest.stop(watcher)
    return "two touch screens for udev and libinput, and a right button"


def start_kiosk(setting, compositor):
    """Starts a Wayland compositor of a user of its own; the names of what is to be stopped, and of what it prints."""
    seats, kiosk, client = setting.name("seatd"), setting.name("kiosk"), setting.name("client")
    log = f"/tmp/{client}.log"
    setting.guest.run("id touch >/dev/null 2>&1 || useradd -m -G video,input,korvex touch; modprobe virtio-gpu; udevadm settle; "
                      f"install -d -o touch -m 700 /run/touch; : >{log}; chown touch {log}")
    setting.guest.start(seats, "seatd -g video")
    setting.guest.start(client, f"tail -n +1 -F {log}")
    setting.guest.start(kiosk, "openvt -c 2 -f -s -w -- su touch -c 'XDG_RUNTIME_DIR=/run/touch LIBSEAT_BACKEND=seatd WLR_RENDERER=pixman "
                               f"WLR_LIBINPUT_NO_DEVICES=1 {compositor} >{log} 2>&1'")
    return seats, kiosk, client


def wayland(setting):
    """Touches at nine places on both lines reach a Wayland client where they were made."""
    guest = setting.guest
    # As in its session, where XWayland has a display too.
    drivers = [setting.drive(path, "", "DISPLAY=:0 WAYLAND_DISPLAY=wayland-0") for path in (UART, ADAPTER)]
    seats, kiosk, client = start_kiosk(setting, "cage -d -- stdbuf -oL wev")
    guest.wait_line(client, "xdg_surface.* configure", limit=LONG)
    tap_until(setting, client, "wl_touch.* up", 50, 50)  # the compositor drops the first touches
    width, height = map(int, guest.run("head -n 1 /sys/class/drm/card0-Virtual-1/modes").split("x"))
    for controller in (setting.uart, setting.adapter):
        touch_places(setting, controller, client, r"wl_touch.* down.* x, y: ([\d.]+), ([\d.]+)", (0, width, height))
    guest.wait_line(client, "wl_touch.* up", count=19)
    guest.run("pkill -x wev")  # with it cage ends
    guest.wait_end(kiosk)
    for name in (*drivers, seats, client):
        guest.stop(name)
    return f"nine places on both lines, on {width} x {height}"


def watch_panel(setting, panel):
    """Starts libinput's own listener on the touch screen of a panel that its unit drives; the process's name."""
    name = f"Korvex touch panel {panel}"
    wait_until(lambda: name in touch_screens(setting.guest), LONG, name)
    return watch_input(setting, touch_screens(setting.guest)[name])


def touch_panel(setting, panel, controller, calibration=""):
    """Touches a panel that its unit drives, and expects libinput to report it where the calibration puts it that guest/name-panels gives
    this panel, or that one."""
    watcher = watch_panel(setting, panel)
    since = setting.guest.mark()
    controller.gesture("touch 30 20", "lift")
    place = {"door": (30, 20), "left": (70, 80), "right": (70, 20)}[calibration or panel]
    expect_percent(setting.guest, watcher, since, *place)
    setting.guest.stop(watcher)


def show(guest, panel, what):
    """A property of a panel's unit."""
    return guest.run(f"systemctl show -p {what} --value korvex@{panel}")


def wait_driven(guest, panel, model):
    """Waits until a unit says that it drives a controller; its line."""
    wait_until(lambda: f"controller {model}" in show(guest, panel, "StatusText"), LONG, f"a controller {model} driven as {panel}")
    return show(guest, panel, "StatusText")


def expect_permissions(guest, panel, path):
    """A panel's port and process belong to the user korvex, and its unit is in a sandbox."""
    expect(guest.run(f"readlink -f /dev/korvex/{panel}; stat -L -c '%G %a' /dev/korvex/{panel}") == f"{path}\nkorvex 660",
           f"/dev/korvex/{panel} is not {path} of the group korvex")
    process = show(guest, panel, "MainPID")
    expect(guest.run(f"ps -o user=,group= -p {process}").split() == ["korvex", "korvex"], f"{panel} is driven by another user")
    exposure = guest.run(f"systemd-analyze security --no-pager korvex@{panel}.service")
    level = re.search(r"exposure level for korvex@\w+.service: ([\d.]+)", exposure)
    expect(level and float(level[1]) <= 2.5, exposure)
    return level[1]


def named_boot(setting):
    """Panels that have names are driven from the start with nobody logged in, by a user of their own, in a sandbox."""
    if not setting.rested:
        setting.reboot()
    guest = setting.guest
    wait_driven(guest, "door", "5200")
    wait_driven(guest, "left", "7700")
    expect(guest.run("loginctl list-sessions --no-legend") == "", "somebody is logged in")
    expect(guest.run(f"cat {TRIGGER} {TIMER}") == "1\n1",
           "the rules leave the UART's trigger or the adapter's timer")
    touch_panel(setting, "door", setting.uart)
    touch_panel(setting, "left", setting.adapter)
    expect_permissions(guest, "door", UART)
    level = expect_permissions(guest, "left", ADAPTER)
    said = guest.run(f"udevadm test $(udevadm info -q path {UART}) 2>&1 | grep 72-korvex.rules:")
    # systemd 257 says "Added SYMLINK", and that a test writes nothing; any other sentence is a complaint.
    complaint = "rules:[0-9]+ (?!Added SYMLINK|Running in test mode, skipping writing)([A-Z][a-z]|.*(fail|ignor))"
    expect("LINK 'korvex/door'" in said and not re.search(complaint, said), f"udev says of the rules: {said}")
    told = {panel["panel"]: (panel["state"], panel["model"], panel["tty"]) for panel in json.loads(guest.run("korvex status --json"))}
    expect(told == {"door": ("there", "5200", UART), "left": ("there", "7700", ADAPTER)}, f"status tells of {told}")
    stranger = guest.run("setpriv --reuid 65534 --regid 65534 --clear-groups korvex status 2>&1", code=4)
    expect("Permission denied" in stranger, f"somebody who is not of the group is told {stranger}")
    member = guest.run("setpriv --reuid 65534 --regid korvex --clear-groups sh -c 'korvex status && : <>/dev/uinput' 2>&1; true")
    expect("left" in member and "Permission denied" in member, f"a member of the group korvex, who is to type no keys, is told {member}")
    watched = guest.run("korvex monitor --json --seconds 0.5 left 2>&1")
    expect("driven by process" in watched and '"gone":false' in watched, f"monitor shows {watched}")
    return f"two panels, at an exposure of {level}"


def check_who_is_asked(setting, stranger):
    """A nameless adapter, ttyUSB2, is asked by who asks all ports, and never once the administrator has said so."""
    guest = setting.guest
    state = setting.name("/tmp/state")

    def said(arguments):
        return guest.run(f"cd /run/panel; timeout 20 korvex {arguments} --state {state} 2>&1; true")
    guest.run("mkdir -p /run/panel")
    found = said("check --seconds 0")
    expect("is not asked, since no panel is known there" in found, f"check says {found}")
    expect(found.count("driven by process") == 3, f"check does not see the panels that are driven: {found}")
    ignore = "/etc/udev/rules.d/71-ignore.rules"
    trigger = "udevadm control --reload; udevadm trigger --settle /dev/ttyUSB2"
    guest.run(f"""echo 'SUBSYSTEM=="tty", KERNEL=="ttyUSB2", ENV{{ID_KORVEX_IGNORE}}="1"' >{ignore}; {trigger}""")
    refused = said("check --probe --seconds 0")
    expect("is skipped: its udev property ID_KORVEX_IGNORE is set" in refused, f"check says {refused}")
    name = setting.korvex("enum", f"enum --port ttyUSB2 --windows none --pointer none --state {state}")
    guest.wait_line(name, "'--port': .* is skipped: its udev property ID_KORVEX_IGNORE is set")
    guest.wait_line(name, "nothing is driven", limit=LONG)
    guest.stop(name)
    expect("none" in [port["askedBy"] for port in json.loads(said("ports --json"))], "ports does not show which port is not asked")
    expect(stranger.received() == b"", f"a port that is to be ignored got {stranger.received()}")
    guest.run(f"sed -i s/1/0/ {ignore}; {trigger}")
    said("check --probe --seconds 0")
    expect(stranger.received() != b"", "nothing was sent to a port that was to be asked")
    guest.run(f"rm {ignore}; {trigger}")


def named_arrival(setting):
    """An adapter with a name is driven when it is plugged in; one without a name beside it gets no byte. ModemManager runs and leaves both
    alone; where it is told to take either for a modem, the nameless one gets its commands, and the panel's does not."""
    guest = setting.guest
    modems = setting.name("ModemManager")
    drop_in = "/run/systemd/system/ModemManager.service.d"
    guest.run(f"mkdir -p {drop_in}; printf '[Service]\\nExecStart=\\nExecStart=/usr/sbin/ModemManager --log-journal --debug\\n' "
              f">{drop_in}/test.conf; systemctl daemon-reload")
    guest.start(modems, "journalctl -f -n 0 -o cat -u ModemManager")
    guest.run("systemctl restart ModemManager")
    panel, stranger = setting.controller("--baud", "9600", "--model", "7700"), Recorder(os.path.join(setting.folder, "stranger"))
    plug_beside(setting, "right", panel, 2)
    plug_beside(setting, "stranger", stranger, 3)
    wait_driven(guest, "right", "7700")
    touch_panel(setting, "right", panel)
    guest.wait_line(modems, r"tty/ttyUSB1.* filtered: device is blocklisted", limit=LONG)
    guest.wait_line(modems, r"tty/ttyUSB2.* filtered: forbidden", limit=LONG)
    guest.wait_line(modems, "couldn't check support for device .*/1-3'", limit=LONG)  # until then ModemManager 1.24 probes it at a change event
    expect(stranger.received() == b"", f"the nameless adapter got {stranger.received()}")
    check_who_is_asked(setting, stranger)

    unplug_beside(setting, "right")
    silent = Recorder(os.path.join(setting.folder, "silent"))
    plug_beside(setting, "right", silent, 2)
    wait_until(silent.received, LONG, "a question of the unit's on the port of the panel")
    guest.run("""echo 'SUBSYSTEM=="tty", KERNEL=="ttyUSB[12]", ENV{ID_MM_DEVICE_PROCESS}="1"' >/etc/udev/rules.d/75-test.rules; """
              "udevadm control --reload; udevadm trigger --settle --subsystem-match=tty")
    since = guest.mark()
    guest.run("systemctl restart ModemManager")
    guest.wait_line(modems, "port ttyUSB1 is (blacklisted|explicitly ignored)", since, limit=LONG)
    wait_until(lambda: b"AT" in stranger.received(), LONG, "a command of ModemManager's on the nameless adapter")
    expect(b"AT" not in silent.received(), f"the panel's port got {silent.received()}")

    guest.run(f"systemctl stop ModemManager korvex@right; rm -r {drop_in} /etc/udev/rules.d/75-test.rules; systemctl daemon-reload; "
              "udevadm control --reload")
    for name in ("right", "stranger"):
        unplug_beside(setting, name)
    guest.stop(modems)
    panel.end()
    return "as ttyUSB1, beside a stranger and ModemManager"


def named_calibration(setting):
    """A panel that its unit drives is calibrated on a Wayland screen, by its touches alone, and maps by that at once."""
    guest = setting.guest
    wait_driven(guest, "left", "")
    seats, kiosk, client = start_kiosk(setting, "cage -d -- stdbuf -oL korvex calibrate --points 4 --json")
    for target, (x, y) in enumerate(((2, 2), (98, 2), (98, 98), (2, 98)), 1):
        guest.wait_line(client, f'"target":{target},.*"state":"touch"', limit=LONG)
        setting.adapter.gesture(f"press {x} {y} 1000")
    guest.wait_line(client, '"state":"try"')
    setting.adapter.gesture("press 50 50 300", "press 31 79 300")
    saved = json.loads(guest.wait_line(client, '"saved":').text)
    expect(saved["saved"] and saved["file"] == "/var/lib/korvex/left/Korvex.ini", f"the calibration ends with {saved}")
    guest.wait_end(kiosk)
    for name in (seats, client):
        guest.stop(name)
    touch_panel(setting, "left", setting.adapter, "door")
    guest.run("systemctl stop korvex@left; cd /var/lib/korvex/left && korvex calibrate --undo left && systemctl start korvex@left")
    expect(guest.run("find /var/lib/korvex/left ! -user korvex") == "", "what root has undone is no longer the unit's")
    wait_driven(guest, "left", "")
    touch_panel(setting, "left", setting.adapter)
    return "four targets of a panel that was mirrored both ways, and back"


def touch_monitors(setting, pattern, left, door):
    """Touches two panels, and expects each on its monitor, which is a client and an area there, and nothing in the other one's client."""
    for controller, (client, *area), other in ((setting.adapter, left, door), (setting.uart, door, left)):
        since = setting.guest.mark()
        touch_places(setting, controller, client, pattern, area, controller is setting.adapter)
        expect(client == other[0] or not setting.guest.find(other[0], pattern, since), f"touches in '{client}' came to '{other[0]}' too")


def monitors(setting):
    """Two panels act each on its own of two monitors: under weston by the rules of their ports, and, the other way round, by what sway, labwc
    and X have for it."""
    guest = setting.guest
    guest.run("printf 'hold-rihgt = 200\nhold-right = 300\n' >/etc/korvex/door.conf; systemctl restart korvex@door; "
              "modprobe virtio-gpu; udevadm settle; echo on >/sys/class/drm/card0-Virtual-2/status")
    wait_driven(guest, "door", "5200")
    wait_driven(guest, "left", "7700")
    compositors = ["weston", "sway", *guest.run("cd /usr/bin; ls labwc 2>&-; true").split()]  # Debian 12 has no labwc
    for compositor in compositors:
        options = {"weston": "--use-pixman -c /case/weston.ini", "sway": "-c /case/sway.conf", "labwc": "-C /case"}[compositor]
        seats, kiosk, log = start_kiosk(setting, f"{compositor} {options}")
        display = guest.run("until ls /run/touch/wayland-? 2>&-; do sleep 0.2; done", limit=LONG)
        shown = [(setting.name(name), 0, *size) for name, size in (("weston-eventdemo", (1280, 800)), ("wev", (1024, 768)))]
        for client, _, width, height in shown:
            guest.start(client, f"env WAYLAND_DISPLAY={display} WAYLAND_DEBUG=1 XDG_RUNTIME_DIR=/run {client.rsplit('-', 1)[0]}")
            guest.wait_line(client, rf"xdg_toplevel.*\.configure\({width}, {height}", limit=LONG)
        left, door = shown if compositor == "weston" else shown[::-1]
        place = r"wl_touch.*\.down\(.*, ([\d.]+), ([\d.]+)\)"
        tap_until(setting, left[0], place, 50, 50)
        touch_monitors(setting, place, left, door)
        if compositor != "labwc":  # which has no such line for mice
            setting.uart.gesture("press 60 20 1500", "press 30 70 1500")  # by the first weston learns that it has a pointer
            guest.wait_line(door[0], r"wl_pointer.*, 3[08]\d\.\d+, 5[356]\d\.\d+\)")
        guest.run(f"pkill -x {compositor}")
        guest.wait_end(kiosk)
        for name in (seats, log):
            guest.stop(name)

    server, client = setting.name("xorg"), setting.name("xinput")
    guest.start(server, "Xorg :7 vt3 -noreset -nolisten tcp -logfile /tmp/xorg.log")
    wait_until(lambda: guest.run("DISPLAY=:7 xinput list | grep -c 'Korvex touch panel'; true")[-1:] == "2", LONG, "touch screens in Xorg")
    guest.run("export DISPLAY=:7; xrandr --output Virtual-1 --mode 1280x800 --output Virtual-2 --mode 1024x768 --right-of Virtual-1; "
              "xinput map-to-output 'Korvex touch panel left' Virtual-2; xinput map-to-output 'Korvex touch panel door' Virtual-1")
    guest.start(client, "env DISPLAY=:7 stdbuf -oL xinput test-xi2 --root")
    tap_until(setting, client, r"\(TouchEnd\)", 50, 50)
    touch_monitors(setting, r"^ *root: ([\d.]+)/([\d.]+)", (client, 1280, 1024, 768), (client, 0, 1280, 800))
    for name in (client, server):
        guest.stop(name)
    guest.run("echo detect >/sys/class/drm/card0-Virtual-2/status; rm /etc/korvex/*; systemctl restart korvex@door")
    return f"under {', '.join(compositors)} and Xorg"


def check_truth(setting):
    """check tells of panels that are not there, of units that do not run, and of the calibration in each panel's folder; left is driven, and
    right has been unplugged."""
    guest = setting.guest
    rules = "/etc/udev/rules.d/71-more.rules"

    def expect_fault(panel, text, before="true"):
        guest.run(before)
        found = json.loads(guest.run("cd /; korvex check --json --seconds 0 2>&-; true"))
        faults = [one["text"] for one in found if one["subject"] == panel and one["severity"] == "FAULT"]
        expect(any(text in fault for fault in faults) if text else not faults, f"check calls faults of {panel}: {faults}")
    expect_fault("left", None)
    expect_fault("right", "its adapter is not there")
    settings = "/etc/korvex/left.conf"
    expect_fault("left", f"'{settings}', line 2: there is no setting 'smoth'; did you mean 'smooth'?",
                 f"printf 'hold-right = 800\nsmoth = low\n' >{settings}; echo 'hold-right = 600' >/etc/korvex.conf; systemctl restart korvex@left")
    expect("hold-right = 800" in guest.run("korvex drive left --show-config 2>&-; true"), "the panel's setting does not come before that of all")
    expect("line 2: there is no setting" in guest.run("journalctl -b -p err -u korvex@left -o cat"), "the journal does not name the wrong line")
    guest.run("rm /etc/korvex.conf /etc/korvex/left.conf")
    expect_fault("right", "is none of 0, 4, 9", "sed -i s/Mode=0/Mode=5/ /var/lib/korvex/right/Korvex.ini")
    expect_fault("left", "is stopped", "systemctl stop korvex@left")
    expect_fault("left", "has failed (exit-code)", "echo KORVEX_OPTIONS=--pointr >/etc/korvex/left.env; ! systemctl start korvex@left")
    name = 'SUBSYSTEM=="tty", KERNEL=="ttyS%d", ENV{ID_KORVEX_PANEL}="%s"'
    expect_fault("names", "the name 'left till', which is not valid",
                 f"printf '%s\n' '{name % (2, 'left till')}' '{name % (3, 'door')}' >{rules}; "
                 "udevadm control --reload; udevadm trigger --settle --subsystem-match=tty")
    expect_fault("door", "udev rules give this name to '/dev/ttyS1' and to '/dev/ttyS3'")
    guest.run(f"rm /etc/korvex/left.env {rules}; udevadm control --reload; udevadm trigger --settle --subsystem-match=tty; "
              "systemctl restart korvex@left korvex@door")
    wait_driven(guest, "left", "")


def named_exchange(setting):
    """Two adapters that have their names by their serial numbers keep their calibrations when they have changed places while the machine
    was off."""
    guest, machine = setting.guest, setting.machine
    guest.run("""sed -i '/-usb-/s/ENV{ID_PATH}==".*:1.0"/ENV{ID_SERIAL_SHORT}=="RIGHT"/' /etc/udev/rules.d/71-korvex-panels.rules; """
              "udevadm control --reload")
    right = setting.controller()
    plug_beside(setting, "right", right, 2)

    def touch_both():
        for panel, controller, model in (("left", setting.adapter, "7700"), ("right", right, "5200")):
            wait_driven(guest, panel, model)
            touch_panel(setting, panel, controller)
        return guest.run("readlink -f /dev/korvex/left /dev/korvex/right").split()
    before = touch_both()

    def exchange():
        for name in ("adapter", "right"):
            machine.monitor.remove(name)
        for name, backend, socket in (("adapter", machine.backend, 2), ("right", "right", 1)):
            machine.plug_adapter(name, backend, socket, "LEFT" if name == "adapter" else "RIGHT")
    setting.reboot(exchange)
    after = touch_both()
    expect(before == after[::-1], f"left and right were {before}, and are {after} after the exchange")
    unplug_beside(setting, "right")
    check_truth(setting)
    unplug(setting)
    plug(setting)
    right.end()
    guest.run("systemctl stop korvex@right; sh /case/name-panels; udevadm control --reload")
    return f"left and right were {' and '.join(before)}, then the other way round"


def named_replacement(setting):
    """A unit waits for a controller without power, and goes on with another model in its controller's place."""
    guest = setting.guest
    guest.run("systemctl stop korvex@door")
    setting.machine.change_uart(None)
    guest.run("systemctl start korvex@door")
    wait_until(lambda: "no controller answers" in show(guest, "door", "StatusText"), LONG, "a unit that waits for its controller")
    processes = [show(guest, panel, "MainPID") for panel in ("door", "left")]
    setting.replace_uart()
    wait_driven(guest, "door", "5200")
    setting.replace_adapter("--model", "5460")
    wait_driven(guest, "left", "5460")
    touch_panel(setting, "door", setting.uart)
    touch_panel(setting, "left", setting.adapter)
    screens = guest.run("cat /sys/class/input/event*/device/name | grep -c 'Korvex touch panel left'")
    expect(screens == "1", f"{screens} touch screens of the panel are there after the exchange")
    expect([show(guest, panel, "MainPID") for panel in ("door", "left")] == processes, "a unit was started anew")
    return "5200 without power at first, 5460 in place of 7700"


def named_update(setting):
    """An update while a finger is down releases the touch and has the unit go on with the new program; a removal ends it and keeps the
    calibration, which only purging takes."""
    guest = setting.guest
    calibration = "/var/lib/korvex/left/Korvex.ini"
    kept = guest.run(f"cat {calibration}")

    def change(command):
        """Changes the package while a finger is down."""
        watcher = watch_panel(setting, "left")
        since = guest.mark()
        setting.adapter.gesture("touch 50 50")
        guest.wait_line(watcher, "TOUCH_DOWN", since)
        guest.run(command, limit=LONG)
        guest.wait_line(watcher, "TOUCH_UP", since)
        guest.wait_line(watcher, "DEVICE_REMOVED", since)
        setting.adapter.gesture("lift")
        guest.stop(watcher)

    def expect_driven():
        wait_driven(guest, "left", "")
        touch_panel(setting, "left", setting.adapter)
    process = show(guest, "left", "MainPID")
    change("dpkg -i /case/korvex_*.deb")
    expect_driven()
    after = show(guest, "left", "MainPID")
    expect(after != process and show(guest, "left", "NRestarts") == "0", "the unit was not started anew by the update")
    program = guest.run(f"readlink /proc/{after}/exe")
    expect(program == "/usr/bin/korvex", f"after the update {program} runs")

    change("dpkg -r korvex")
    left = guest.run("systemctl is-active korvex@left korvex@door; pgrep -x korvex; ls /dev/korvex 2>&-; "
                     f"stat -c %G {UART} {ADAPTER} /dev/uinput").split()
    expect(left == ["inactive", "inactive", "dialout", "dialout", "root"], f"after the removal there is {left}")
    expect(guest.run(f"cat {calibration}") == kept, "the removal changed the calibration")
    guest.run("dpkg -i /case/korvex_*.deb", limit=LONG)
    expect_driven()
    expect(guest.run(f"cat {calibration}") == kept, "the calibration is another one after an update and a removal")
    guest.run("dpkg -P korvex; ! ls -d /var/lib/korvex /etc/korvex", limit=LONG)
    guest.run("sh /case/name-panels; dpkg -i /case/korvex_*.deb", limit=LONG)
    return "dpkg -i, -r, -i, -P"


def rename(setting, old, new, command):
    """Gives the adapter's panel another name by a touch."""
    guest, name = setting.guest, setting.name("name")
    guest.start(name, command)
    guest.wait_line(name, f"Touch the panel that is to be '{new}'", limit=LONG)
    setting.adapter.gesture("touch 50 50", "lift")
    expect(guest.wait_end(name, LONG) == 0, f"'{command}' failed: {guest.find(name, '')}")
    wait_driven(guest, new, "")
    expect(show(guest, old, "ActiveState") == "inactive", f"{old} is still driven")
    touch_panel(setting, new, setting.adapter, "left")
    said = "\n".join(line.text for line in guest.find(name, ""))
    guest.stop(name)
    return said


def provisioning(setting):
    """A machine without the package gets it, with names, settings and calibrations, by one command, and two panels act. One is renamed by a
    touch. The journal and the metrics know the panels."""
    guest, rules = setting.guest, "71-korvex-panels.rules"
    guest.run(f"set -e; mkdir /run/set; cd /run/set; cp /case/korvex_*.deb /etc/udev/rules.d/{rules} .; echo 'smooth = low' >left.conf; "
              f"for panel in left door; do korvex calibration export $panel $panel.json; done; dpkg -P korvex; rm /etc/udev/rules.d/{rules}; "
              "! ls /dev/korvex", limit=LONG)
    started = time.monotonic()
    said = guest.run("/case/provision /run/set", limit=LONG)
    took = time.monotonic() - started
    expect("left: '/var/lib/korvex/left/Korvex.ini' is the same" in said, f"provision says {said}")
    for panel, controller in (("left", setting.adapter), ("door", setting.uart)):
        wait_driven(guest, panel, "")
        touch_panel(setting, panel, controller)
    guest.run("/case/provision /run/set && korvex calibration import door /run/set/door.json", limit=LONG)  # again, and through a runtime
    folder = "/var/lib/korvex/door"  # a read-only one has a calibration that is not used, and check says so
    guest.run(f"mount --bind {folder} {folder} && mount -o remount,bind,ro {folder} && systemctl restart korvex@door")
    wait_driven(guest, "door", "")
    expect("controller's memory" in guest.run("korvex status | grep ^door"), "the file in a read-only folder is used")
    told = guest.run("cd /; korvex check --seconds 0 2>&1", code=1)
    expect(re.search("FAULT +door +.*Korvex.ini' is not used", told), f"check says {told}")
    guest.run(f"systemctl stop korvex@door && umount {folder} && systemctl start korvex@door")
    wait_driven(guest, "door", "")

    taken = guest.run("korvex name door 2>&1", code=1)
    expect("has the name 'door'" in taken, f"name says {taken}")
    said = rename(setting, "left", "front", "sh -c 'echo y | korvex name front'")
    expect("/etc/korvex/left.conf to /etc/korvex/front.conf" in said and "driven by a runtime" in said, f"name says {said}")
    expect("smooth = low" in guest.run("korvex drive front --show-config"), "the settings are not those of the new name")
    expect("/dev/korvex/front" in guest.run("head -n 1 /var/lib/korvex/front/Korvex.ini.previous"), "the history is of the old name")
    guest.run("mkdir -p /var/lib/prometheus/node-exporter; systemctl start korvex-metrics.timer")
    up = """grep -sxF 'korvex_panel_up{panel="front"} 1' /var/lib/prometheus/node-exporter/korvex.prom; true"""
    wait_until(lambda: guest.run(up), LONG, "metrics of the panel")
    expect(guest.run("journalctl -q -b -o cat KORVEX_PANEL=front MESSAGE_ID=22b53ee25bc34cb59066e2ec8c295a12"), "the journal has no field")
    stored = guest.run("journalctl -q -b -o cat KORVEX_PANEL=door MESSAGE_ID=00f5828facad4718b5cf34b5a8cb3626")
    expect(re.search("by process [0-9]+ of root", stored), f"the journal says of the calibration {stored}")
    rename(setting, "front", "left", "korvex name --yes left")
    guest.run("rm -r /etc/korvex/* /run/set; systemctl stop korvex-metrics.timer")
    return f"in {took:.0f} s"


SHORT = ["named-boot", "identification", "unplugging", "input-devices"]
# Those with panels that have names, which their units drive; the others have none. The first needs no start of its own.
NAMED_CASES = (named_boot, named_arrival, named_calibration, monitors, named_exchange, named_replacement, named_update, provisioning)
OTHER_CASES = (identification, unplugging, input_devices, wayland, power_cut)
CASES = {case.__name__.replace("_", "-"): case for case in (*NAMED_CASES, *OTHER_CASES)}
NAMED = [name for name in CASES if CASES[name] in NAMED_CASES]
