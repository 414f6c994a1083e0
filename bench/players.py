"""The players that the scripts of this folder start: the box and mpv, without display and audio device."""

import contextlib
import json
import os
import socket
import subprocess
import sys
import time

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
MPV = ["mpv", "--no-config", "--load-scripts=no", "--idle=yes", "--vo=null", "--ao=null", "--really-quiet",
       "--hr-seek=yes"]


class Failure(Exception):
    """A player has ended, does not answer, or has not done something in time."""


def run(*command, **options):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, **options).stdout


def build_release(build, *targets):
    """Configures and builds the targets of the release preset in the folder `build`."""
    run("cmake", "--preset", "release", "-B", build, cwd=TOP)
    subprocess.run(["cmake", "--build", build, "--target", *targets], check=True, cwd=TOP, stdout=sys.stderr)


def serve(folder, stack, *options):
    """Serves the folder over loopback HTTP until the stack is closed. Returns the URL of the folder."""
    server = subprocess.Popen([sys.executable, os.path.join(TOP, "tests/support/http_server.py"), *options, folder],
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    stack.callback(server.wait)
    stack.callback(server.stdin.close)
    return f"http://127.0.0.1:{int(server.stdout.readline())}/"


class Box:
    """A running box. `limit` is the limit of each wait in seconds."""

    def __init__(self, programs, folder, stack, limit, *options):
        self.limit = limit
        self.control_program = os.path.join(programs, "vorlanectl")
        self.socket = os.path.join(folder, "receiver.sock")
        self.log = os.path.join(folder, "log")
        environment = dict(os.environ, SDL_VIDEODRIVER="dummy", **self.environment())
        environment.pop("DISPLAY", None)
        with contextlib.suppress(FileNotFoundError):
            os.remove(self.socket)
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen(
                [os.path.join(programs, "tvvorlane"), "--socket", self.socket, "--windowed", "640x360", "--cache", "",
                 *options], env=environment, stdout=subprocess.DEVNULL, stderr=log)
        stack.callback(self.end)
        self.until("receiver socket", lambda: os.path.exists(self.socket))

    def environment(self):
        """Variables for the program."""
        return {}

    def end(self):
        self.process.kill()
        self.process.wait()

    def until(self, what, condition):
        deadline = time.monotonic() + self.limit
        while not condition():
            if self.process.poll() is not None:
                raise Failure(f"the program has ended with status {self.process.returncode}")
            if time.monotonic() > deadline:
                raise Failure(f"timeout: {what}")
            time.sleep(0.02)

    def control(self, *words):
        """Returns the output of vorlanectl, or None if the call was rejected."""
        try:
            done = subprocess.run([self.control_program, "--socket", self.socket, *words], text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=self.limit, check=False)
        except subprocess.TimeoutExpired as expired:
            raise Failure(f"no answer to {' '.join(words)}") from expired
        if done.returncode > 1:
            raise Failure(f"{' '.join(words)}: {done.stderr.strip()}")
        return done.stdout if done.returncode == 0 else None

    def status(self):
        return json.loads(self.control("status"))

    def info(self):
        answer = self.control("get", "playbackInfo")
        return json.loads(answer) if answer else {}

    def children(self):
        """The process IDs of the running child processes, oldest first."""
        found = []
        for entry in os.listdir("/proc"):
            if not entry.isdigit():
                continue
            with contextlib.suppress(OSError), open(f"/proc/{entry}/stat", encoding="utf-8") as stat:
                fields = stat.read().rsplit(")", 1)[1].split()
                if int(fields[1]) == self.process.pid and fields[0] != "Z":
                    found.append((int(fields[19]), int(entry)))
        return [process for _, process in sorted(found)]

    def held(self):
        folder = f"/proc/{self.process.pid}"
        with open(folder + "/maps", encoding="ascii", errors="replace") as maps:
            shared = sum(1 for line in maps if "memfd:" in line)
        return {"descriptors": len(os.listdir(folder + "/fd")), "threads": len(os.listdir(folder + "/task")),
                "shared memory": shared, "processes": len(self.children())}

    def log_text(self, start=0):
        """The log from the byte `start` on."""
        with open(self.log, "rb") as log:
            log.seek(start)
            return log.read().decode("utf-8", "replace")

    def stop(self):
        self.control("stop")
        self.until("idle state", lambda: self.status()["state"] == "Background")

    def rest(self):
        """Stops, and waits for the state in which the resources are counted."""
        self.stop()
        self.until("one spare process", lambda: len(self.children()) == 1)


class Mpv:
    """A running mpv, controlled over its IPC socket. `limit` is the limit of each wait in seconds."""

    def __init__(self, folder, stack, limit, *options):
        self.limit = limit
        path = os.path.join(folder, "mpv.sock")
        with contextlib.suppress(FileNotFoundError):
            os.remove(path)
        self.process = subprocess.Popen([*MPV, *options, f"--input-ipc-server={path}"], stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        stack.callback(self.end)
        deadline = time.perf_counter() + limit
        while True:
            self.connection = socket.socket(socket.AF_UNIX)
            try:
                self.connection.connect(path)
                break
            except OSError:
                self.connection.close()
                if time.perf_counter() > deadline:
                    raise
                time.sleep(0.01)
        self.lines = []
        self.rest = b""
        self.asked = 0

    def end(self):
        self.process.kill()
        self.process.wait()
        self.connection.close()

    def next(self, deadline):
        while not self.lines:
            self.connection.settimeout(max(0.001, deadline - time.perf_counter()))
            try:
                received = self.connection.recv(65536)
            except ConnectionError:
                received = b""
            if not received:
                raise Failure("mpv has ended")
            *self.lines, self.rest = (self.rest + received).split(b"\n")
        return json.loads(self.lines.pop(0))

    def send(self, *words):
        self.asked += 1
        try:
            self.connection.sendall((json.dumps({"command": words, "request_id": self.asked}) + "\n").encode())
        except ConnectionError as error:
            raise Failure("mpv has ended") from error

    def until(self, what, condition):
        deadline = time.perf_counter() + self.limit
        try:
            while True:
                message = self.next(deadline)
                if condition(message):
                    return message
        except TimeoutError as error:
            raise Failure(f"no {what} from mpv") from error

    def event(self, *names):
        return self.until(" or ".join(names), lambda message: message.get("event") in names)

    def ask(self, *words):
        """Returns the data of the reply, or None."""
        self.send(*words)
        return self.until(words[0], lambda message: message.get("request_id") == self.asked and "error" in message
                          ).get("data")

    def stop(self):
        self.send("stop")
        self.event("idle")
