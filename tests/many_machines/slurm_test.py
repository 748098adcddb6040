#!/usr/bin/env python3
"""Forty recordings by a Slurm of one node, started here: three tasks are ended, all come out right.

usage: slurm_test.py XVRECORD EXAMPLE, the program and the folder of the scripts. Exit status 77
where Slurm is not installed.
"""
import getpass
import json
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import time

XVRECORD, EXAMPLE = (pathlib.Path(word).resolve() for word in sys.argv[1:3])
DAEMONS = ("slurmctld", "slurmd")
KILLED, STOPPED, CANCELLED = 7, 15, 23

CONFIG = """
ClusterName=test
SlurmctldHost={host}(127.0.0.1)
AuthType=auth/none
CredType=cred/none
SlurmUser={user}
SlurmdUser={user}
SlurmctldPort={ports[0]}
SlurmdPort={ports[1]}
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
SlurmctldLogFile={folder}/slurmctld.log
SlurmdLogFile={folder}/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU_Memory
SchedulerParameters=sched_min_interval=100000
MpiDefault=none
ReturnToService=2
KillWait=5
NodeName={host} NodeAddr=127.0.0.1 CPUs={cpus} RealMemory=8000 State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES State=UP
"""

# xvrecord, whose first attempts at three recordings are slow and do not end by themselves: one is
# killed, one is stopped and ends with status 0, the task of one is cancelled.
WRAPPER = """#!/bin/bash
partial=${{!#}}
case $partial in
*/.partial-{killed}-*|*/.partial-{stopped}-*|*/.partial-{cancelled}-*)
  if [ ! -e "$partial.seen" ]; then
    touch "$partial.seen"
    {xvrecord} --realtime "$@" &
    until [ -e "$partial" ]; do :; done
    case $partial in
      */.partial-{killed}-*) kill -KILL $!; wait $!; exit;;
      */.partial-{stopped}-*) kill -INT $!; wait $!; exit;;
      *) scancel "${{SLURM_ARRAY_JOB_ID}}_$SLURM_ARRAY_TASK_ID"; wait;;
    esac
  fi;;
esac
exec {xvrecord} "$@"
"""


def free_ports(count):
    servers = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
    ports = [server.getsockname()[1] for server in servers]
    for server in servers:
        server.close()
    return ports


class Cluster:
    """The two daemons of Slurm, in a folder of their own."""

    def __init__(self, folder):
        for name in ("state", "spool"):
            (folder / name).mkdir()
        config = folder / "slurm.conf"
        config.write_text(CONFIG.format(
            host=socket.gethostname().split(".")[0], user=getpass.getuser(), folder=folder,
            ports=free_ports(2), cpus=os.cpu_count()))
        os.environ["SLURM_CONF"] = str(config)
        self.daemons = [subprocess.Popen([daemon, "-D"], stdout=subprocess.DEVNULL,
                                         stderr=subprocess.DEVNULL) for daemon in DAEMONS]

    def __enter__(self):
        until = time.monotonic() + 60
        while b"idle" not in subprocess.run(["sinfo", "-h", "-o", "%T"], capture_output=True).stdout:
            assert time.monotonic() < until and all(d.poll() is None for d in self.daemons), "no node"
            time.sleep(0.2)
        return self

    def __exit__(self, *_):
        for daemon in reversed(self.daemons):
            daemon.terminate()
            daemon.wait(timeout=60)


def pictures(path):
    done = subprocess.run(["ffprobe", "-v", "error", "-count_packets", "-select_streams", "v",
                           "-show_entries", "stream=nb_read_packets", "-of", "csv=p=0", path],
                          capture_output=True, text=True, check=True)
    return int(done.stdout.split(",")[0])


def write_list(folder):
    """Forty recordings of 40 to 79 pictures; gives the outputs with what they are to have."""
    expected, lines = {}, []
    for index in range(40):
        output = folder / "recordings" / f"clip {index}.ts"
        expected[output] = 40 + index
        source = f"test:size=96x64,seconds={(40 + index) / 25}"
        lines.append(f"{source}\t{output}\tvideo::codec=mpeg2video audio::codec=mp2")
    (folder / "list.tsv").write_text("\n".join(lines) + "\n")
    return expected


def record_all(folder):
    done = subprocess.run([EXAMPLE / "record_all.sh", folder / "list.tsv", folder / "results",
                           "--cpus-per-task=1", "--mem=100M"], capture_output=True, text=True,
                          timeout=500)
    print(done.stdout, done.stderr, sep="")
    rows = [json.loads(line) for line in (folder / "results/results.jsonl").read_text().splitlines()]
    return done.returncode, {row["index"]: row for row in rows}


def check_recordings(folder):
    expected = write_list(folder)
    status, rows = record_all(folder)
    assert status == 0 and len(rows) == 40 and all(row["done"] for row in rows.values()), rows
    again = {index for index, row in rows.items() if row["attempts"] > 1}
    assert again == {KILLED, STOPPED, CANCELLED}, again
    assert {path: pictures(path) for path in expected} == expected
    left = {path for path in (folder / "recordings").iterdir() if path.suffix == ".ts"}
    assert left == set(expected), left
    lost = list(expected)[5]
    lost.unlink()
    status, rows = record_all(folder)
    assert status == 0 and pictures(lost) == 45
    assert {index for index, row in rows.items() if row["attempts"] > 1} == again | {5}


def check_failures(folder):
    (folder / "list.tsv").write_text(f"no/such/clip.mov\t{folder}/a.ts\n")
    shutil.rmtree(folder / "results")
    os.environ["ROUNDS"] = "2"
    status, rows = record_all(folder)
    assert status == 1 and not rows[0]["done"] and rows[0]["attempts"] == 2, rows
    assert "clip.mov" in rows[0]["words"] and not (folder / "a.ts").exists()


def main():
    if not all(map(shutil.which, (*DAEMONS, "sbatch"))):
        print("Slurm is not installed (slurmctld, slurmd, slurm-client)")
        return 77
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        wrapper = folder / "wrapper"
        wrapper.write_text(WRAPPER.format(xvrecord=XVRECORD, killed=KILLED, stopped=STOPPED,
                                          cancelled=CANCELLED))
        wrapper.chmod(0o755)
        os.environ["XVRECORD"] = str(wrapper)
        with Cluster(folder):
            check_recordings(folder)
            check_failures(folder)
    return 0


sys.exit(main())
