"""Runs one command under limits that hold for its whole process tree.

A program of its own, for `python3 -I -S`. Standard input brings one line of JSON and then stays open:
when it closes, whoever asked is gone, and the tree is ended. The answer is one line of JSON on
standard output.

Request:
  command          program and arguments
  cwd              the folder to run in, or null
  cpu_seconds      limit of the CPU time of all processes together
  wall_seconds     limit of the clock
  memory_mb        limit of the memory of all processes together
  output_mb        limit of standard output
  limit_addresses  false where a process reserves far more addresses than it uses
  nice             added to the niceness
  marks            texts to look for in the log

Answer:
  exit             exit status of the command, or minus the signal that ended it
  killed           null, "cpu", "wall", "memory", "output" or "gone" (nobody reads the answer)
  cpu_seconds, wall_seconds, memory_mb      what the tree used
  output           standard output
  log              standard error, its middle left out where it is long
  marks            for each text that was seen, the CPU seconds used until then
  or only error    why the command could not be started

The process is the reaper of all its descendants, so that none gets out of the tree by a session of
its own or by outliving its parent.
"""

import ctypes
import errno
import json
import os
import resource
import select
import signal
import subprocess
import sys
import time

PR_SET_PDEATHSIG = 1
PR_SET_CHILD_SUBREAPER = 36
TICK = 1 / os.sysconf("SC_CLK_TCK")
PAGE_MB = os.sysconf("SC_PAGESIZE") / 2**20
LOG_HEAD = 16 * 1024
LOG_TAIL = 48 * 1024

libc = ctypes.CDLL(None, use_errno=True)


def read_file(path):
    """The bytes of a file of /proc, or none when its process has ended."""
    try:
        with open(path, "rb") as file:
            return file.read()
    except OSError:
        return b""


def children_of(pid):
    """The living children of a process, zombies included."""
    found = []
    try:
        threads = os.listdir(f"/proc/{pid}/task")
    except OSError:
        return found
    for thread in threads:
        found += map(int, read_file(f"/proc/{pid}/task/{thread}/children").split())
    return found


def children_by_scan(pid):
    """The same on kernels without lists of children: a look at every process."""
    found = []
    for name in os.listdir("/proc"):
        if name.isdigit():
            fields = read_file(f"/proc/{name}/stat").rpartition(b")")[2].split()
            if len(fields) > 1 and int(fields[1]) == pid:
                found.append(int(name))
    return found


if not os.path.exists(f"/proc/self/task/{os.getpid()}/children"):
    children_of = children_by_scan


def descendants():
    """All processes below this one."""
    found = []
    stack = [os.getpid()]
    while stack:
        below = children_of(stack.pop())
        found += below
        stack += below
    return found


def cpu_of(pid):
    """CPU seconds of a process and of those of its children that it has waited for."""
    fields = read_file(f"/proc/{pid}/stat").rpartition(b")")[2].split()
    return sum(map(int, fields[11:15])) * TICK if len(fields) > 14 else 0.0


def resident_mb(pid):
    fields = read_file(f"/proc/{pid}/statm").split()
    return int(fields[1]) * PAGE_MB if len(fields) > 1 else 0.0


def proportional_mb(pid):
    """Memory with shared pages divided among those who share them; slower to get."""
    for line in read_file(f"/proc/{pid}/smaps_rollup").splitlines():
        if line.startswith(b"Pss:"):
            return int(line.split()[1]) / 1024
    return resident_mb(pid)


def memory_of(tree, limit):
    """Memory of all processes in MB. Forked processes share pages: only a sum above the limit is worth
    the exact count."""
    total = sum(map(resident_mb, tree))
    if total > limit and len(tree) > 1:
        total = sum(map(proportional_mb, tree))
    return total


def reaped_cpu():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


class Log:
    """Keeps the head and the tail of a long text, and when certain texts came."""

    def __init__(self, marks):
        self.head = b""
        self.tail = b""
        self.left_out = 0
        self.waiting = [mark.encode() for mark in marks]
        self.marks = {}
        self.line_end = b""

    def add(self, data, cpu):
        if self.waiting:
            # A text may be cut by the end of a read.
            window = self.line_end + data
            for mark in [mark for mark in self.waiting if mark in window]:
                self.marks[mark.decode()] = cpu()
                self.waiting.remove(mark)
            self.line_end = window[-200:]
        room = LOG_HEAD - len(self.head)
        self.head += data[:room]
        self.tail += data[max(room, 0):]
        if len(self.tail) > 2 * LOG_TAIL:
            self.left_out += len(self.tail) - LOG_TAIL
            self.tail = self.tail[-LOG_TAIL:]

    def text(self):
        gap = f"\n... {self.left_out} bytes left out ...\n".encode() if self.left_out else b""
        return (self.head + gap + self.tail).decode(errors="replace")


class Tree:
    """The command and all that it starts."""

    def __init__(self, request):
        self.request = request
        self.begin = time.monotonic()
        self.peak_mb = 0.0
        self.killed = None
        self.exit = None
        libc.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
        self.process = subprocess.Popen(
            request["command"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, cwd=request.get("cwd"), start_new_session=True,
            preexec_fn=self.limit_process)

    def limit_process(self):
        """A net below the watch, for each process by itself."""
        libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)
        seconds = int(self.request["cpu_seconds"]) + 2
        lower_limit(resource.RLIMIT_CPU, seconds, seconds + 1)
        if self.request.get("limit_addresses", True):
            space = int((2 * self.request["memory_mb"] + 1024) * 2**20)
            lower_limit(resource.RLIMIT_AS, space, space)
        lower_limit(resource.RLIMIT_CORE, 0, 0)
        os.nice(self.request.get("nice") or 0)

    def cpu_seconds(self):
        return reaped_cpu() + sum(map(cpu_of, descendants()))

    def check_limits(self):
        """Looks at the tree; ends it when it uses too much."""
        tree = descendants()
        memory = memory_of(tree, self.request["memory_mb"])
        self.peak_mb = max(self.peak_mb, memory)
        cpu = reaped_cpu() + sum(map(cpu_of, tree))
        if memory > self.request["memory_mb"]:
            self.kill("memory")
        elif cpu > self.request["cpu_seconds"]:
            self.kill("cpu")
        elif time.monotonic() - self.begin > self.request["wall_seconds"]:
            self.kill("wall")

    def kill(self, reason):
        self.killed = self.killed or reason
        end_descendants(self.reap)

    def reap(self):
        """Waits for those who have ended. Returns whether the command is among those that ever did."""
        while True:
            try:
                pid, status = os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                break
            if pid == 0:
                break
            if pid == self.process.pid:
                self.exit = os.waitstatus_to_exitcode(status)
        return self.exit is not None

    def usage(self):
        """(CPU seconds, wall seconds, peak memory in MB) once all have ended."""
        # The looks miss short peaks. The kernel knows them, but counts what a child had before its
        # program was loaded: the memory of this process, some 10 MB, is the least that is told.
        peak_kb = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
        return reaped_cpu(), time.monotonic() - self.begin, max(self.peak_mb, peak_kb / 1024)


def lower_limit(kind, soft, hard):
    """Sets a limit unless a lower one is in force."""
    _, old = resource.getrlimit(kind)
    if old != resource.RLIM_INFINITY:
        soft, hard = min(soft, old), min(hard, old)
    resource.setrlimit(kind, (soft, hard))


def end_descendants(reap):
    """Kills all descendants, also those that are born meanwhile."""
    while True:
        tree = descendants()
        if not tree:
            return
        # Stopped first, so that none of them forks between the look and the end.
        for number in (signal.SIGSTOP, signal.SIGKILL):
            for pid in tree:
                try:
                    os.kill(pid, number)
                except OSError:
                    pass
        reap()
        time.sleep(0.001)


def supervise(request):
    """Runs the request to its end and returns the answer."""
    tree = Tree(request)
    log = Log(request.get("marks") or [])
    output = bytearray()
    room = int(request["output_mb"] * 2**20)
    streams = {tree.process.stdout.fileno(): "output", tree.process.stderr.fileno(): "log"}
    poll = select.poll()
    for stream in streams:
        os.set_blocking(stream, False)
        poll.register(stream, select.POLLIN)
    lifeline = sys.stdin.fileno()
    poll.register(lifeline, select.POLLIN)
    end = os.pidfd_open(tree.process.pid)
    poll.register(end, select.POLLIN)

    def drain(stream):
        """Reads what is there; a command that writes without end must not keep the watch from its work."""
        for _ in range(64):
            try:
                data = os.read(stream, 65536)
            except BlockingIOError:
                return
            if not data:
                poll.unregister(stream)
                del streams[stream]
                return
            if streams[stream] == "log":
                log.add(data, tree.cpu_seconds)
            elif len(output) + len(data) > room:
                tree.kill("output")
                return
            else:
                output.extend(data)

    next_look = 0.0
    while tree.exit is None:
        age = time.monotonic() - tree.begin
        pause = 0.01 if age < 0.5 else 0.02
        if age >= next_look:
            tree.check_limits()
            next_look = age + pause
        for stream, _ in poll.poll(pause * 1000):
            if stream == lifeline:
                if not os.read(lifeline, 4096):
                    tree.kill("gone")
            elif stream in streams:
                drain(stream)
        tree.reap()
    if tree.killed is None:
        # What outlives the command is used up but not waited for.
        end_descendants(tree.reap)
    for stream in list(streams):
        drain(stream)
    tree.process.returncode = tree.exit
    cpu, wall, peak = tree.usage()
    if tree.killed is None:
        tree.killed = late_verdict(request, tree.exit, cpu)
    return {"exit": tree.exit, "killed": tree.killed, "cpu_seconds": round(cpu, 4),
            "wall_seconds": round(wall, 4), "memory_mb": round(peak, 1),
            "output": output.decode(errors="replace"), "log": log.text(), "marks": log.marks}


def late_verdict(request, status, cpu):
    """The limit that a command passed between two looks or by the kernel's hand, if any."""
    if cpu > request["cpu_seconds"] or status == -signal.SIGXCPU:
        return "cpu"
    return None


def read_request(stream):
    data = b""
    while not data.endswith(b"\n"):
        more = os.read(stream, 65536)
        if not more:
            sys.exit(1)
        data += more
    return json.loads(data)


def main():
    signal.signal(signal.SIGTERM, lambda *_: (end_descendants(lambda: None), os._exit(1)))
    request = read_request(sys.stdin.fileno())
    try:
        answer = supervise(request)
    except subprocess.SubprocessError as error:
        answer = {"error": f"{request['command'][0]}: {error}", "errno": ""}
    except OSError as error:
        name = error.filename or request["command"][0]
        what = errno.errorcode.get(error.errno, "")
        answer = {"error": f"{name}: {error.strerror or error}", "errno": what}
    if answer.get("killed") == "gone":
        sys.exit(1)
    sys.stdout.write(json.dumps(answer) + "\n")
    sys.stdout.flush()


if __name__ == "__main__":
    main()
