#!/usr/bin/env python3
"""The service form: unit, channel file, metrics and dashboard, each by its reader's own tools.

usage: service_test.py XVRECORD UNIT PACKAGING, the program, the unit file that starts it, and the
folder of the channel and dashboard files.
"""
import json
import pathlib
import re
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.request

XVRECORD, UNIT, PACKAGING = (pathlib.Path(word) for word in sys.argv[1:4])
OPEN = {"Accept": "application/openmetrics-text"}
SMALL = "test:size=160x90,captions=on"


def settings(name):
    return [line.split("=", 1)[1] for line in UNIT.read_text().splitlines()
            if line.startswith(name + "=")]


def channel():
    """Variables of the channel file, with the quotes off."""
    lines = (PACKAGING / "systemd/channel.conf").read_text().splitlines()
    pairs = (line.split("=", 1) for line in lines if line and not line.startswith("#"))
    return {name: value.strip('"') for name, value in pairs}


def command(variables):
    """ExecStart as systemd expands it."""
    words = []
    for word in shlex.split(settings("ExecStart")[0]):
        if word.startswith("${"):
            words.append(variables[word[2:-1]])
        else:
            words += variables[word[1:]].split() if word.startswith("$") else [word]
    return words


def exchange(port, request):
    with socket.create_connection(("127.0.0.1", port), timeout=30) as connection:
        connection.sendall(request)
        return b"".join(iter(lambda: connection.recv(65536), b""))


def scrape(port, headers=OPEN):
    request = urllib.request.Request(f"http://127.0.0.1:{port}/metrics", headers=headers)
    with urllib.request.urlopen(request, timeout=30) as answer:
        return answer.headers["Content-Type"], answer.read().decode()


def frames(port):
    return float(re.search(r"^xvrecord_frames_total (\S+)", scrape(port)[1], re.M)[1])


def wait_for_frames(port):
    while frames(port) < 5:
        pass


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


class Recording:
    """A recording with metrics at a free port."""

    def __init__(self, folder, *options, name="a.mkv"):
        self.path = folder / name
        self.process = subprocess.Popen(
            [XVRECORD, "-y", "--realtime", "--metrics", "127.0.0.1:0", "-a",
             "video::codec=mpeg2video audio::codec=aac embed_cc=true", *options, SMALL,
             str(self.path)], stderr=subprocess.PIPE, stdout=subprocess.DEVNULL, text=True)
        self.port = int(re.search(r":(\d+)/metrics", self.process.stderr.readline())[1])

    def stop(self):
        if self.process.returncode is None:
            self.process.send_signal(signal.SIGINT)
            self.process.communicate(timeout=60)
        return self.process.returncode


class Service(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def record(self, *options, **more):
        recording = Recording(self.folder, *options, **more)
        self.addCleanup(recording.stop)
        wait_for_frames(recording.port)
        return recording

    def decoded(self, path):
        done = subprocess.run(["ffmpeg", "-v", "error", "-xerror", "-i", path, "-f", "null", "-"],
                              capture_output=True, text=True, timeout=60)
        return (done.returncode, done.stderr)

    @unittest.skipUnless(shutil.which("systemd-analyze"), "systemd-analyze is not installed")
    def test_unit_is_right_and_hardened(self):
        unit = self.folder / "xvrecord@channel1.service"
        unit.write_text(UNIT.read_text())
        verified = subprocess.run(["systemd-analyze", "verify", "--man=no", unit],
                                  capture_output=True, text=True)
        self.assertNotIn(unit.name, verified.stderr)
        self.assertEqual(verified.returncode, 0, verified.stderr)
        most = "--threshold=15"  # tenths: 1.5 is "OK" with little left open
        safe = subprocess.run(["systemd-analyze", "security", "--offline=true", "--no-pager", most,
                               unit], capture_output=True, text=True)
        self.assertEqual(safe.returncode, 0, safe.stdout[-2000:] + safe.stderr)

    def test_each_start_of_a_channel_has_a_playable_file(self):
        port = free_port()
        variables = channel() | {"INPUT": SMALL, "OPTIONS": f"--realtime --metrics {port}"}
        made = []
        for _ in range(2):
            process = subprocess.Popen(command(variables), cwd=self.folder, text=True,
                                       stderr=subprocess.PIPE, stdout=subprocess.PIPE)
            while len(found := sorted(self.folder.glob("*.ts"))) <= len(made):
                self.assertIsNone(process.poll(), "the recording ended")
            new = [path for path in found if path not in made][0]
            wait_for_frames(port)
            process.send_signal(getattr(signal, settings("KillSignal")[0]))
            out, err = process.communicate(timeout=60)
            self.assertEqual((process.returncode, out, err), (0, "", ""))
            self.assertEqual(self.decoded(new), (0, ""))
            self.assertRegex(str(new.relative_to(self.folder)), r"^\d{8}T\d{6}Z\.ts$")
            made.append(new)
            time.sleep(1.1 - time.time() % 1)  # the next second, as RestartSec waits for it
        taken = subprocess.run(command(variables | {"OUTPUT": str(made[0])}), capture_output=True)
        self.assertEqual(taken.returncode, 1)
        named = subprocess.run([XVRECORD, "--quiet", "--time-in-name", "test:size=160x90,seconds=0.2",
                                self.folder / "%%-%Y%q.ts"], capture_output=True)
        self.assertTrue((self.folder / time.strftime("%%-%Y%%q.ts", time.gmtime())).exists(), named)
        wrong = subprocess.run(command(variables | {"OPTIONS": "--no-such"}), capture_output=True)
        self.assertEqual(str(wrong.returncode), settings("RestartPreventExitStatus")[0])

    def test_metrics_are_those_of_the_recording(self):
        recording = self.record()
        kind, text = scrape(recording.port)
        self.assertIn("openmetrics-text; version=1.0.0", kind)
        try:
            from prometheus_client.openmetrics.parser import text_string_to_metric_families
        except ImportError:
            self.skipTest("prometheus_client is not installed")
        families = {family.name: family for family in text_string_to_metric_families(text)}
        self.assertTrue(all(family.documentation for family in families.values()))
        value = {(s.name, *s.labels.values()): s.value for f in families.values() for s in f.samples}
        self.assertEqual(value["xvrecord_recording_info", str(recording.path)], 1)
        self.assertGreaterEqual(value["xvrecord_caption_pairs_total", "embedded"], 1)
        self.assertGreater(value["xvrecord_stream_bytes_total", "0"], 100)
        self.assertLess(abs(value["xvrecord_start_time_seconds",] - time.time()), 300)
        self.assertLess(value["xvrecord_encode_seconds", "0.99"], 10)
        self.assertEqual(value["xvrecord_failed",], 0)
        self.assertGreaterEqual(frames(recording.port), value["xvrecord_frames_total",])
        self.assertEqual(recording.stop(), 0)
        with self.assertRaises(OSError):
            socket.create_connection(("127.0.0.1", recording.port)).close()

    @unittest.skipUnless(shutil.which("promtool"), "promtool is not installed")
    def test_promtool_has_nothing_to_say(self):
        recording = self.record(name='a"quoted\\name.mkv')
        kind, text = scrape(recording.port, {})
        self.assertIn("text/plain; version=0.0.4", kind)
        checked = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True,
                                 text=True)
        self.assertEqual((checked.returncode, checked.stdout + checked.stderr), (0, ""))

    def test_scrapers_do_not_hold_up_one_another(self):
        recording = self.record()
        with socket.create_connection(("127.0.0.1", recording.port)) as silent:
            silent.sendall(b"GET /metrics HT")
            answers = []
            scrapers = [threading.Thread(target=lambda: answers.append(scrape(recording.port)[1]))
                        for _ in range(8)]
            for scraper in scrapers:
                scraper.start()
            for scraper in scrapers:
                scraper.join()
            self.assertEqual([text.endswith("# EOF\n") for text in answers], [True] * 8)
            silent.sendall(b"TP/1.0\r\n\r\n")
            self.assertIn(b"200 OK", silent.recv(65536))
        for request, status in {
            b"GET / HTTP/1.1\r\n\r\n": b"404", b"POST /metrics HTTP/1.1\r\n\r\n": b"405",
            b"nonsense\r\n\r\n": b"400", b"\r\n\r\n": b"400",
            b"GET /metrics HTTP/1.1\r\nX: " + 9000 * b"x": b"431",
        }.items():
            self.assertEqual(exchange(recording.port, request)[9:12], status, request[:40])
        self.assertEqual(recording.stop(), 0)

    def test_an_address_that_cannot_be_served_ends_the_start(self):
        recording = self.record()
        for address, status, words in (
            (f"127.0.0.1:{recording.port}", 1, "Address already in use"),
            ("192.0.2.1:9500", 1, "Cannot assign"),
            ("127.0.0.1", 2, "HOST:PORT"), (":65536", 2, "HOST:PORT"), ("x:", 2, "HOST:PORT"),
        ):
            done = subprocess.run([XVRECORD, "--metrics", address, SMALL, self.folder / "b.mkv"],
                                  capture_output=True, text=True)
            self.assertEqual(done.returncode, status, address)
            self.assertIn(words, done.stderr)
        self.assertFalse((self.folder / "b.mkv").exists())

    def test_dashboard_asks_for_what_there_is(self):
        dashboard = json.loads((PACKAGING / "grafana/xvrecord.json").read_text())
        recording = self.record()
        samples = set(re.findall(r"^(xvrecord_\w+)", scrape(recording.port, {})[1], re.M))
        asked = set()
        for panel in dashboard["panels"]:
            for target in panel["targets"]:
                asked.update(re.findall(r"xvrecord_\w+", target["expr"]))
        self.assertGreater(len(asked), 10)
        self.assertEqual(asked - samples, set())


unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=1)
