"""Carries out in the machine what the cases ask for, one JSON object a line both ways, and stamps every line of output by the machine's
clock."""
import glob
import json
import os
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


def send(message):
    data = json.dumps(message).encode() + b"\n"
    with sending:
        while data:
            data = data[port.write(data):]


def run(request):
    start = time.monotonic()
    try:
        done = subprocess.run(request["run"], shell=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              timeout=request["seconds"])
        code, output = done.returncode, done.stdout
    except subprocess.TimeoutExpired as late:
        code, output = 124, late.stdout or b""
    send({"id": request["id"], "code": code, "output": output.decode(errors="replace"), "start": start, "end": time.monotonic()})


def start(request):
    name = request["name"]
    process = subprocess.Popen("exec " + request["start"], shell=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, start_new_session=True)
    running[name] = process
    send({"id": request["id"], "code": 0, "output": str(process.pid)})
    for line in process.stdout:
        send({"name": name, "time": time.monotonic(), "line": line.decode(errors="replace").rstrip("\n")})
    code = process.wait()
    send({"name": name, "time": time.monotonic(), "ended": code})


def kill(request):
    process = running[request["name"]]
    try:
        os.killpg(process.pid, request["kill"]) if request["group"] else process.send_signal(request["kill"])
    except ProcessLookupError:
        pass
    send({"id": request["id"], "code": 0, "output": ""})


signal.signal(signal.SIGINT, signal.SIG_IGN)
port = open_port()
port.write(b"\n")  # ends what the machine had begun to say when it was reset
send({"name": "machine", "time": time.monotonic(), "line": "ready"})
for line in open(port.fileno(), "rb", closefd=False):
    request = json.loads(line)
    if "end" in request:
        os.sync()
        with open("/proc/sysrq-trigger", "w") as trigger:
            trigger.write("o")
    routine = run if "run" in request else start if "start" in request else kill
    threading.Thread(target=routine, args=(request,), daemon=True).start()
