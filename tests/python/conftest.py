"""What the tests of the Python package share."""

import socket
import subprocess
import threading

import numpy as np
import pytest


def run(*command, check=True):
    return subprocess.run(command, check=check, capture_output=True, timeout=120)


def probe(path, entries):
    """Values that ffprobe reads, one a line."""
    output = run("ffprobe", "-v", "error", "-show_entries", entries, "-of",
                 "default=noprint_wrappers=1:nokey=1", str(path)).stdout
    return output.decode().split()


def decode(path, *how):
    """What ffmpeg decodes, as bytes."""
    return np.frombuffer(run("ffmpeg", "-v", "error", "-i", str(path), *how, "-").stdout, np.uint8)


class Receiver:
    """A TCP server in this interpreter that reads a byte, and the rest once `release` is set."""

    def __init__(self):
        self.begun, self.release = threading.Event(), threading.Event()
        self.bytes = 0
        self._server = socket.create_server(("127.0.0.1", 0))
        self.url = f"tcp://127.0.0.1:{self._server.getsockname()[1]}"
        self.thread = threading.Thread(target=self._read)
        self.thread.start()

    def _read(self):
        connection, _ = self._server.accept()
        with connection, self._server:
            self.bytes = len(connection.recv(1))
            self.begun.set()
            self.release.wait()
            while data := connection.recv(1 << 20):
                self.bytes += len(data)


@pytest.fixture
def receiver():
    made = Receiver()
    yield made
    made.release.set()
    made.thread.join()


@pytest.fixture(autouse=True)
def in_own_folder(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
