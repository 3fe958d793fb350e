"""A machine of the project's own: QEMU with a Debian kernel, emulated controllers behind its serial ports, and an agent in it that runs
what the cases ask for. Every wait has a deadline; times of events are the guest's (its monotonic clock, in seconds)."""
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILT = os.path.join(ROOT, "build", "release")
IMAGES = os.path.join(ROOT, "build", "machine")
GUEST = os.path.join(ROOT, "tests", "machine", "guest")


class Failure(Exception):
    """A case that does not hold, or a wait that was in vain."""


def expect(condition, text):
    if not condition:
        raise Failure(text)


def wait_until(condition, limit, text):
    """Waits for a state of this machine that nothing announces."""
    end = time.monotonic() + limit
    while not condition():
        expect(time.monotonic() < end, f"waited {limit} s in vain for {text}")
        time.sleep(0.01)


class Controller:
    """An emulated controller: a process whose gestures come through a pipe."""

    def __init__(self, folder, name, *options):
        self.path = os.path.join(folder, name)
        script = self.path + ".gestures"
        os.mkfifo(script)
        self.commands = self.path + ".commands"
        with open(self.commands, "w") as output:
            self.process = subprocess.Popen([os.path.join(BUILT, "korvex-emulator"), "--link", self.path, "--script", script, *options],
                                            stdout=output, stderr=output)
        self.script = os.open(script, os.O_RDWR)
        wait_until(lambda: os.path.exists(self.path), 20, f"the emulated controller {name}")
        self.backend = {"type": "serial", "data": {"device": os.path.realpath(self.path)}}

    def gesture(self, *lines):
        os.write(self.script, "".join(line + "\n" for line in lines).encode())

    def received(self):
        with open(self.commands) as file:
            return file.read()

    def end(self):
        self.process.kill()
        self.process.wait()
        os.close(self.script)


class Recorder:
    """A device that says nothing and keeps every byte that comes."""

    def __init__(self, path):
        self.backend = {"type": "file", "data": {"out": path}}

    def received(self):
        with open(self.backend["data"]["out"], "rb") as file:
            return file.read()


class Monitor:
    """QEMU's own control, over its QMP socket."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(60)
        wait_until(lambda: os.path.exists(path), 30, "QEMU's control socket")
        self.socket.connect(path)
        self.file = self.socket.makefile("r")
        self.file.readline()
        self.events = []
        self.execute("qmp_capabilities")

    def execute(self, command, **arguments):
        self.socket.sendall(json.dumps({"execute": command, "arguments": arguments}).encode())
        while True:
            answer = json.loads(self.file.readline())
            if "event" in answer:
                self.events.append(answer["event"])
            elif "error" in answer:
                raise Failure(f"QEMU refuses {command}: {answer['error']['desc']}")
            else:
                return answer["return"]

    def remove(self, device):
        """Pulls a device out; returns once it is gone."""
        self.events.clear()
        self.execute("device_del", id=device)
        self.wait_event("DEVICE_DELETED")

    def add_backend(self, name, device):
        self.execute("chardev-add", id=name, backend=device.backend)

    def wait_event(self, name):
        while name not in self.events:
            self.events.append(json.loads(self.file.readline()).get("event"))


class Line:
    """A line of output of a process in the guest."""

    def __init__(self, name, time, line=None, ended=None):
        self.name = name
        self.time = time
        self.text = line
        self.ended = ended  # exit code, of the last "line" of a process


class Guest:
    """What runs in the machine."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(path)
        self.changed = threading.Condition()
        self.lines = []
        self.runs = 0
        self.gone = False
        threading.Thread(target=self.receive, daemon=True).start()

    def receive(self):
        try:
            for text in self.socket.makefile("r"):
                try:
                    line = Line(**json.loads(text))
                except ValueError:  # begun when the machine was reset
                    continue
                with self.changed:
                    self.lines.append(line)
                    self.changed.notify_all()
        except OSError:
            pass
        with self.changed:
            self.gone = True
            self.changed.notify_all()

    def wait(self, condition, limit, text):
        """Waits for what the guest sends."""
        with self.changed:
            self.changed.wait_for(lambda: condition() or self.gone, limit)
            expect(condition(), f"{'the machine has ended while waiting' if self.gone else f'waited {limit} s in vain'} for {text}")
            return condition()

    def send(self, **request):
        self.socket.sendall(json.dumps(request).encode() + b"\n")

    def run(self, command, limit=30, code=0):
        """Runs a shell command and returns its output; it has to end with this exit code."""
        self.runs += 1
        since, name = self.mark(), f"run-{self.runs}"
        self.send(name=name, start=command)
        ended = self.wait_end(name, limit + 10, since)
        output = "\n".join(line.text for line in self.find(name, "", since)).strip()
        expect(ended == code, f"'{command}' ended with {ended}: {output}")
        return output

    def start(self, name, command):
        """Starts a process whose lines are kept under a name of its own."""
        self.send(name=name, start="exec " + command)

    def stop(self, name, number=signal.SIGTERM):
        """Ends a process by a signal and returns its exit code."""
        self.send(name=name, kill=int(number))
        return self.wait_end(name)

    def wait_end(self, name, limit=30, since=0):
        return self.wait(lambda: [line for line in self.lines[since:] if line.name == name and line.ended is not None], limit,
                         f"the end of '{name}'")[0].ended

    def mark(self):
        """The present end of what has been received, for `since`."""
        with self.changed:
            return len(self.lines)

    def find(self, name, pattern, since=0):
        return [line for line in self.lines[since:] if line.name == name and line.text is not None and re.search(pattern, line.text)]

    def wait_line(self, name, pattern, since=0, limit=30, count=1):
        """Waits for the `count`-th line of a process that matches, and returns it."""
        return self.wait(lambda: self.find(name, pattern, since)[count - 1:count], limit, f"'{pattern}' from '{name}'")[0]

    def transcript(self, since=0):
        kept = [line for line in self.lines[since:] if not re.search('"flags":32769}|virtual/tty/', line.text or "")]  # these are many
        return "".join(f"{line.time:9.3f} {line.name}: {line.text if line.ended is None else f'(ended with {line.ended})'}\n"
                       for line in kept)


class Machine:
    """A booted machine in a folder of its own, with a data disk (/dev/vdc) that outlives it. /dev/ttyS1 is a 16550A, /dev/ttyUSB0 an FTDI
    adapter; ttyS0 is the kernel's console."""

    def __init__(self, folder, uart, adapter, data, start):
        self.folder = folder
        os.makedirs(folder, exist_ok=True)
        self.console = os.path.join(folder, "console.log")
        self.next_backend = 0
        self.backend = "adapter0"
        self.process = subprocess.Popen(
            ["qemu-system-x86_64", "-accel", "tcg", "-smp", "2", "-m", "1024", "-nic", "none", "-nodefaults", "-display", "none",
             "-kernel", os.path.join(IMAGES, "vmlinuz"), "-initrd", os.path.join(IMAGES, "initrd"),
             "-append", "root=/dev/vda rw console=ttyS0 loglevel=4 systemd.show_status=0 init=/bin/sh -- "
                        f"-c \"mkdir -p /case; mount /dev/vdb /case; exec sh /case/init {start}\"",
             "-drive", f"file={IMAGES}/root.img,if=virtio,format=raw,snapshot=on",
             "-drive", f"file={self.case_image()},if=virtio,format=raw",
             "-drive", f"file={data},if=virtio,format=raw",
             "-serial", f"file:{self.console}",
             "-chardev", f"serial,id=uart0,path={os.path.realpath(uart.path)}",
             "-device", "isa-serial,chardev=uart0,index=1,id=uart",
             "-device", "qemu-xhci", "-device", "virtio-gpu-pci,max_outputs=2,edid=off",
             "-chardev", f"serial,id=adapter0,path={os.path.realpath(adapter.path)}",
             "-device", "usb-serial,chardev=adapter0,id=adapter,port=1,serial=LEFT",
             "-device", "virtio-serial-pci", "-chardev", f"socket,id=agent,path={folder}/agent,server=on,wait=off",
             "-device", "virtserialport,chardev=agent,name=korvex",
             "-qmp", f"unix:{folder}/qmp,server=on,wait=off"],
            stdin=subprocess.DEVNULL, stdout=open(os.path.join(folder, "qemu.log"), "w"), stderr=subprocess.STDOUT)
        try:
            self.monitor = Monitor(os.path.join(folder, "qmp"))
            self.guest = Guest(os.path.join(folder, "agent"))
            self.guest.wait_line("machine", "ready", limit=180)
        except Exception:
            self.kill()  # no other thread knows of it yet
            raise

    def case_image(self):
        """A small disk with what this run brings into the machine."""
        content = os.path.join(self.folder, "case")
        shutil.copytree(GUEST, content)
        packages = [name for name in os.listdir(os.path.join(ROOT, "build")) if re.fullmatch(r"korvex_.*\.deb", name)]
        expect(len(packages) == 1, "no package is there: run scripts/package first")
        shutil.copy(os.path.join(ROOT, "build", packages[0]), content)
        shutil.copy(os.path.join(ROOT, "examples", "provision"), content)
        shutil.copy(os.path.join(BUILT, "tests", "korvex_machine_probe"), content)
        image = os.path.join(self.folder, "case.img")
        subprocess.run(["mke2fs", "-q", "-t", "ext4", "-d", content, image, "64M"], check=True, stdout=subprocess.DEVNULL)
        return image

    def change_uart(self, controller):
        """Puts another controller behind the 16550A; None: one without power."""
        backend = controller.backend if controller else {"type": "null", "data": {}}
        self.monitor.execute("chardev-change", id="uart0", backend=backend)

    def plug(self, controller=None):
        """Plugs the adapter in, with another controller behind it where one is given."""
        if controller is not None:
            self.next_backend += 1
            old, self.backend = self.backend, f"adapter{self.next_backend}"
            self.monitor.execute("chardev-remove", id=old)
            self.monitor.add_backend(self.backend, controller)
        self.plug_adapter("adapter", self.backend, 1, "LEFT")

    def plug_adapter(self, name, backend, socket, serial):
        """Plugs an adapter in that may be one more, with a serial number, in one of the sockets from 1 on."""
        self.monitor.execute("device_add", driver="usb-serial", id=name, chardev=backend, port=str(socket), serial=serial)

    def reset(self, meanwhile):
        """Starts the machine again, with its disks as they are; `meanwhile` is done while nothing runs there."""
        since = self.guest.mark()
        self.monitor.events.clear()
        self.guest.start(f"reboot-{since}", "systemctl --no-block reboot")
        self.monitor.wait_event("RESET")
        meanwhile()
        self.guest.wait_line("machine", "ready", since, limit=180)

    def kill(self):
        self.process.kill()
        self.process.wait()
