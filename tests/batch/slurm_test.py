#!/usr/bin/python3
"""A batch as an array job: on a one-node Slurm of this machine where that starts, else with a stand-in
of sbatch, which reads the same script."""

import getpass
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import time
import unittest

from support import BatchTest

CONFIGURATION = """ClusterName=test
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={ports[0]}
SlurmdPort={ports[1]}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/none
CredType=cred/none
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
ReturnToService=2
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
SlurmctldLogFile={folder}/slurmctld.log
SlurmdLogFile={folder}/slurmd.log
MailProg=/bin/true
NodeName={host} NodeAddr=127.0.0.1 CPUs=2 RealMemory=8000 State=UNKNOWN
PartitionName=all Nodes={host} Default=YES MaxTime=INFINITE State=UP
"""
SECONDS_TO_START = 30

# What sbatch does with a script: its options, and one process for each element of the array.
STAND_IN = """#!{python}
import os, re, subprocess, sys
path = sys.argv[-1]
text = open(path, encoding="utf-8").read()
first, last = map(int, re.search(r"^#SBATCH --array=(\\d+)-(\\d+)", text, re.MULTILINE).groups())
output = re.search(r"^#SBATCH --output=(.*)$", text, re.MULTILINE)[1]
assert re.search(r"^#SBATCH --mem=\\d+M$", text, re.MULTILINE)
assert re.search(r"^#SBATCH --time=\\d+$", text, re.MULTILINE)
for element in range(first, last + 1):
    with open(output.replace("%A", "1").replace("%a", str(element)), "w", encoding="utf-8") as log:
        subprocess.run(["bash", path], env={{**os.environ, "SLURM_ARRAY_TASK_ID": str(element)}},
                       stdout=log, stderr=subprocess.STDOUT, check=False)
print("Submitted batch job 1")
"""


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for one in sockets:
        one.bind(("127.0.0.1", 0))
    ports = [one.getsockname()[1] for one in sockets]
    for one in sockets:
        one.close()
    return ports


class SlurmTest(BatchTest):
    def setUp(self):
        super().setUp()
        self.starts = self.folder / "starts"
        self.env = {"FAKE_LOG": str(self.starts)}
        self.is_real = self.start_slurm()
        if not self.is_real:
            stand_in = self.folder / "bin" / "sbatch"
            stand_in.parent.mkdir()
            stand_in.write_text(STAND_IN.format(python=sys.executable))
            stand_in.chmod(0o755)
            self.env["PATH"] = f"{stand_in.parent}:{os.environ['PATH']}"
        print("real Slurm" if self.is_real else "a stand-in of sbatch")

    def start_slurm(self):
        """Whether a Slurm of one node has come up."""
        programs = [shutil.which(name, path=os.environ["PATH"] + ":/usr/sbin")
                    for name in ("slurmctld", "slurmd", "sbatch", "sinfo", "squeue")]
        if not all(programs):
            return False
        host = socket.gethostname().split(".")[0]
        folder = self.folder / "slurm"
        for name in ("state", "spool"):
            (folder / name).mkdir(parents=True)
        config = folder / "slurm.conf"
        config.write_text(CONFIGURATION.format(host=host, folder=folder, user=getpass.getuser(),
                                               ports=free_ports(2)))
        self.env["SLURM_CONF"] = str(config)
        env = {**os.environ, **self.env}
        for program, log in ((programs[0], "control"), (programs[1], "node")):
            with open(folder / f"{log}.log", "w", encoding="utf-8") as file:
                process = subprocess.Popen([program, "-D"], env=env, stdout=file, stderr=file)
            self.addCleanup(process.wait)
            self.addCleanup(process.kill)
        end = time.monotonic() + SECONDS_TO_START
        while time.monotonic() < end:
            state = subprocess.run([programs[3], "-h", "-o", "%T"], env=env, capture_output=True,
                                   text=True, check=False).stdout.strip()
            if state in ("idle", "mixed"):
                return True
            if process.poll() is not None:
                break
            time.sleep(0.2)
        return False

    def hand_in(self, script):
        done = subprocess.run(["sbatch", str(script)], env={**os.environ, **self.env}, check=False,
                              capture_output=True, text=True, cwd=self.folder)
        self.assertEqual(done.returncode, 0, done.stderr)
        if self.is_real:
            self.wait_for(lambda: not self.queue(), seconds=120)

    def queue(self):
        return subprocess.run(["squeue", "-h"], env={**os.environ, **self.env}, check=True,
                              capture_output=True, text=True).stdout.strip()

    def write_job(self, *words):
        output, _ = self.call("run", "-o", self.results, self.problems, "--slurm", "-t", "20",
                              "--memory", "500", "-c", "good=--do plan", "-c", "none=--do bounded",
                              *words)
        return output, pathlib.Path(re.search(r"sbatch (\S+)", output)[1])

    def test_results_come_back(self):
        self.write_problems(5)
        output, script = self.write_job("--array-size", "4", "--jobs", "2",
                                        "--slurm-option=--comment=kelvo")
        self.assertIn("10 of 10 runs have no result.", output)
        text = script.read_text()
        self.assertIn("#SBATCH --array=0-3%2\n", text)
        self.assertIn("#SBATCH --comment=kelvo\n", text)
        self.assertIn("#SBATCH --mem=756M\n", text)
        self.hand_in(script)
        output, _ = self.call("collect", self.results)
        self.assertEqual(output, "10 results taken over; 0 of 10 runs have none yet.\n",
                         "".join(path.read_text() for path in (self.results / "slurm/logs").iterdir()))
        self.assertEqual([row["outcome"] for row in self.rows().values()].count("plan"), 5)
        self.assertEqual(len(self.starts.read_text().splitlines()), 10)
        # Nothing is taken twice, and nothing is left to hand in.
        output, _ = self.call("collect", self.results)
        self.assertIn("0 results taken over", output)
        output, _ = self.call("run", "-o", self.results, self.problems, "--slurm", "-t", "20",
                              "--memory", "500", "-c", "good=--do plan", "-c", "none=--do bounded")
        self.assertEqual(output, "All 10 runs have a result.\n")

    def test_an_element_that_starts_again(self):
        """A node that is lost in the middle: what it has handed in stays, the rest is carried out once
        more, and a run whose problem is gone is told."""
        _, script = self.write_job("--array-size", "1")
        tasks = next(script.parent.glob("tasks-*.jsonl"))
        process = self.start("work", tasks, "--part", "0", "--of", "1", env=self.env)
        self.wait_for(lambda: list((script.parent / "results").glob("*.json")))
        process.kill()
        process.communicate()
        before = len(self.starts.read_text().splitlines())
        handed_in = len(list((script.parent / "results").glob("*.json")))
        output, _ = self.call("collect", self.results)
        self.assertIn(f"{handed_in} results taken over; {6 - handed_in} of 6", output)
        gone = self.problems / "p02.anml"
        text = gone.read_text()
        gone.write_text("// changed")
        self.hand_in(script)
        _, errors = self.call("collect", self.results, status=1)
        self.assertIn("not carried out: problems/p02 with ", errors)
        gone.write_text(text)
        _, script = self.write_job()
        self.hand_in(script)
        self.call("collect", self.results)
        self.assertEqual(len(self.rows()), 6)
        # Only the run that was cut off, if one was, has begun twice.
        self.assertLessEqual(len(self.starts.read_text().splitlines()), 6 + 1)
        self.assertGreaterEqual(before, handed_in)

    def test_what_is_strange_is_told(self):
        _, script = self.write_job()
        results = script.parent / "results"
        key = re.search(r'"key": "(\w+)"', next(script.parent.glob("tasks-*.jsonl")).read_text())[1]
        (results / f"{key}.json").write_text('{"key": ')
        (results / "unknown.json").write_text("{}")
        _, errors = self.call("collect", self.results, status=1)
        self.assertIn(f"{key}.json: no result of this run: ", errors)
        self.assertIn("unknown.json: of a run that is no part of the batch any more", errors)


if __name__ == "__main__":
    unittest.main()
