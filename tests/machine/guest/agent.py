"""Carries out in the machine what the cases ask for, one JSON object a line both ways, and stamps every line of output by the machine's
clock."""
import glob
import json
import signal
import subprocess
import threading
import time

PORT_NAME = "korvex"
running = {}  # started processes by their names
sending = threading.Lock()


def open_port():
    for name in glob.glob("/sys/class/virtio-ports/*/name"):
        with open(name) as file:
            if file.read().strip() == PORT_NAME:
                return open("/dev/" + name.split("/")[-2], "r+b", buffering=0)
    raise SystemExit("agent: the host's port is missing")


def send(name, **told):
    data = json.dumps({"name": name, "time": time.monotonic(), **told}).encode() + b"\n"
    with sending:
        while data:
            data = data[port.write(data):]


def watch(name):
    for line in running[name].stdout:
        send(name, line=line.decode(errors="replace").rstrip("\n"))
    send(name, ended=running[name].wait())


signal.signal(signal.SIGINT, signal.SIG_IGN)
port = open_port()
port.write(b"\n")  # ends what the machine had begun to say when it was reset
send("machine", line="ready")
for text in open(port.fileno(), "rb", closefd=False):
    request = json.loads(text)
    name = request["name"]
    if "start" in request:
        running[name] = subprocess.Popen(request["start"], shell=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                         stderr=subprocess.STDOUT, start_new_session=True)
        threading.Thread(target=watch, args=(name,), daemon=True).start()
    else:
        running[name].send_signal(request["kill"])
