"""The command line."""

import argparse
import contextlib
import math
import pathlib
import shlex
import signal
import sys
from collections import Counter
from typing import Any, NoReturn

from . import batch, execute, export, slurm
from .configurations import Limits, read_configurations
from .errors import BatchError
from .local import LocalWorkers
from .problems import find_problems
from .store import Run, Store

DESCRIPTION = """\
Runs the planner on many problems with several configurations, and reports on the results.

  kelvo-batch run -o results examples -c 'smt=-a smt' -c 'ftp=-a ftp' --jobs 2
  kelvo-batch report results
"""

EPILOG = """\
Exit status: 0 when all that was asked for is done, 1 for an error (what was stored stays), 2 for a
wrong command line, 3 when all runs have a result and some tell of a fault of the planner: a plan that
is not valid, or a crash; 130 or 143 after an interrupt.
"""

FAULTY = 3


def positive(text: str) -> float:
    value = float(text)
    if not 0 < value < math.inf:
        raise ValueError
    return value


def count(text: str) -> int:
    value = int(text)
    if value < 1:
        raise ValueError
    return value


positive.__name__ = "positive number"
count.__name__ = "count"


def add_place_options(parser: argparse.ArgumentParser) -> None:
    """Where runs are carried out."""
    place = parser.add_argument_group("where")
    place.add_argument("-j", "--jobs", type=count, metavar="N",
                       help="runs at the same time; 1 on this machine if not told, as many as Slurm "
                            "likes with --slurm")
    either = place.add_mutually_exclusive_group()
    either.add_argument("--scheduler", metavar="tcp://HOST:PORT", help="run on this Dask cluster")
    either.add_argument("--slurm", action="store_true",
                        help="write an array job for Slurm, to be handed in with sbatch")
    place.add_argument("--slurm-option", action="append", default=[], metavar="OPTION",
                       help="a line #SBATCH of the job, as in --slurm-option=--partition=long")
    place.add_argument("--array-size", type=count, default=1000, metavar="N",
                       help="the greatest number of elements of the array, 1000 if not told")
    place.add_argument("--nice", type=int, default=0, help="how nice the runs are to others")


def add_run_options(parser: argparse.ArgumentParser) -> None:
    parser.add_argument("problems", nargs="*", metavar="PROBLEM",
                        help="a problem file, or a folder of problems")
    parser.add_argument("-o", "--output", required=True, metavar="FOLDER",
                        help="the folder of the batch; what it has already is not run again")
    parser.add_argument("--list", action="append", default=[], metavar="FILE",
                        help="a file with a problem a line: [NAME:] FILE...")
    parser.add_argument("-c", "--configuration", action="append", default=[],
                        metavar="NAME=OPTIONS", help="options of `kelvo solve`; may be repeated")
    parser.add_argument("--configurations", action="append", default=[], metavar="FILE",
                        help="a file with a configuration a line")
    parser.add_argument("--program", help="the planner")
    parser.add_argument("--judge", help="the program that judges the plans; the planner if not told")
    limits = parser.add_argument_group("limits of a run, for all its processes together")
    limits.add_argument("-t", "--time", type=positive, default=60, metavar="SECONDS",
                        help="CPU time, 60 if not told")
    limits.add_argument("--wall-time", type=positive, metavar="SECONDS",
                        help="time of the clock, 4 times the CPU time and 10 s if not told")
    limits.add_argument("-m", "--memory", type=positive, default=4096, metavar="MB",
                        help="memory, 4096 if not told")
    limits.add_argument("--judge-time", type=positive, metavar="SECONDS",
                        help="CPU time for judging a plan, 10 times that of the run if not told")
    limits.add_argument("--no-address-limit", action="store_true",
                        help="limit only memory in use, for programs that reserve far more of it")
    add_place_options(parser)


def make_parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="kelvo-batch", description=DESCRIPTION, epilog=EPILOG,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")

    def command(name: str, help_text: str, function: Any) -> argparse.ArgumentParser:
        below = commands.add_parser(name, help=help_text, description=help_text)
        below.set_defaults(function=function)
        return below

    add_run_options(command("run", "carry out problems times configurations", run))
    resume_parser = command("resume", "carry out what is missing in a batch", resume)
    resume_parser.add_argument("folder", help="the folder of the batch")
    add_place_options(resume_parser)
    for name, help_text, function in (
            ("collect", "take over the results of an array job of Slurm", collect),
            ("status", "tell what a batch has come to", status)):
        command(name, help_text, function).add_argument("folder", help="the folder of the batch")
    export_parser = command("export", "write the results as CSV", export_results)
    export_parser.add_argument("folder", help="the folder of the batch")
    export_parser.add_argument("-o", "--output", metavar="FILE", help="standard output if not told")
    export_parser.add_argument("--history", action="store_true",
                               help="also runs of former programs, limits and problems")
    report_parser = command("report", "write the report, one page of HTML", report)
    report_parser.add_argument("folder", help="the folder of the batch")
    report_parser.add_argument("-o", "--output", metavar="FILE",
                               help="report.html in the folder if not told")
    report_parser.add_argument("--references", metavar="FILE",
                               help="a CSV file with the best known makespan of each problem")
    report_parser.add_argument("--compare", nargs=2, action="append", default=[],
                               metavar=("A", "B"), help="two configurations for a scatter plot; "
                               "the two that solve the most if not told")
    report_parser.add_argument("--title", help="headline of the report")
    work_parser = command("work", "carry out a part of an array job (Slurm calls this)", work)
    work_parser.add_argument("tasks", help="the file of tasks")
    work_parser.add_argument("--part", type=int, required=True)
    work_parser.add_argument("--of", type=count, required=True)
    return parser


def limits_of(arguments: argparse.Namespace) -> Limits:
    seconds = arguments.time
    return Limits(seconds, arguments.wall_time or 4 * seconds + 10, arguments.memory,
                  arguments.judge_time or 10 * seconds, not arguments.no_address_limit)


def run(arguments: argparse.Namespace) -> int:
    # All that can be wrong with the input is found before the folder is touched.
    problems = find_problems(arguments.problems, arguments.list)
    configurations = read_configurations(arguments.configuration, arguments.configurations,
                                         limits_of(arguments))
    program = batch.find_program(arguments.program, arguments.judge)
    runs = batch.runs_of(problems, configurations, program)
    with Store(arguments.output, write=True) as store:
        store.want(runs)
        return carry_out(store, runs, arguments)


def resume(arguments: argparse.Namespace) -> int:
    Store(arguments.folder).close()
    with Store(arguments.folder, write=True) as store:
        return carry_out(store, store.wanted(), arguments)


def carry_out(store: Store, runs: list[Run], arguments: argparse.Namespace) -> int:
    """Carries out what is missing of the runs, where the options say."""
    collect_into(store)
    if arguments.slurm:
        return hand_to_slurm(store, runs, arguments)
    workers: batch.Workers
    if arguments.scheduler:
        from .cluster import DaskWorkers
        workers = DaskWorkers(arguments.scheduler)
        if workers.jobs == 0:
            print("kelvo-batch: the scheduler has no workers yet; waiting for them", file=sys.stderr)
    else:
        workers = LocalWorkers(arguments.jobs or 1)
    summary = batch.carry_out(store, runs, workers, arguments.nice, ship=bool(arguments.scheduler))
    print_summary(summary)
    tell_failures(summary.failures)
    if summary.failures:
        return 1
    return FAULTY if summary.faulty else 0


def hand_to_slurm(store: Store, runs: list[Run], arguments: argparse.Namespace) -> int:
    finished = store.finished_keys()
    tasks = [batch.task_of(run, arguments.nice) for run in runs if run.key not in finished]
    if not tasks:
        print(f"All {len(runs)} runs have a result.")
        return 0
    script = slurm.write_job(store, tasks, arguments.jobs, arguments.array_size,
                             arguments.slurm_option)
    print(f"{len(tasks)} of {len(runs)} runs have no result. The job for them is written; go on with\n"
          f"  sbatch {shlex.quote(str(script))}\n"
          f"  kelvo-batch collect {shlex.quote(str(store.folder))}")
    return 0


def collect_into(store: Store) -> tuple[int, int]:
    """Takes over results of Slurm and tells what is wrong with them: (results, complaints)."""
    number, failures, strange = slurm.collect(store)
    tell_failures(failures)
    for text in strange:
        print(f"kelvo-batch: {text}", file=sys.stderr)
    return number, len(failures) + len(strange)


def collect(arguments: argparse.Namespace) -> int:
    Store(arguments.folder).close()
    with Store(arguments.folder, write=True) as store:
        number, complaints = collect_into(store)
        runs = store.wanted()
        missing = len(runs) - len(store.finished_keys() & {run.key for run in runs})
        print(f"{number} results taken over; {missing} of {len(runs)} runs have none yet.")
    return 1 if complaints else 0


def status(arguments: argparse.Namespace) -> int:
    with Store(arguments.folder) as store:
        runs = store.wanted()
        print_summary(batch.summary_of(store, runs, 0, []))
        missing = len(runs) - len(store.finished_keys() & {run.key for run in runs})
        if missing:
            print(f"{missing} of {len(runs)} runs have no result yet.")
    return 0


def export_results(arguments: argparse.Namespace) -> int:
    with Store(arguments.folder) as store, contextlib.ExitStack() as stack:
        target = sys.stdout
        try:
            if arguments.output:
                target = stack.enter_context(
                    open(arguments.output, "w", encoding="utf-8", newline=""))
            export.write_csv(store, target, arguments.history)
            target.flush()
        except BrokenPipeError:
            raise
        except OSError as error:
            raise BatchError(f"{arguments.output or 'standard output'} cannot be written: "
                             f"{error.strerror}") from error
    return 0


def report(arguments: argparse.Namespace) -> int:
    from .report import page
    with Store(arguments.folder) as store:
        path = pathlib.Path(arguments.output or store.folder / "report.html")
        text = page.make_page(store, arguments.references, arguments.compare, arguments.title)
        try:
            path.write_text(text, encoding="utf-8")
        except OSError as error:
            raise BatchError(f"{path} cannot be written: {error.strerror}") from error
    print(path)
    return 0


def work(arguments: argparse.Namespace) -> int:
    return 1 if slurm.work(arguments.tasks, arguments.part, arguments.of) else 0


def print_summary(summary: batch.Summary) -> None:
    """One line a configuration, one column an outcome that occurs."""
    total = sum((Counter(counts) for counts in summary.outcomes.values()), Counter())
    columns = [outcome for outcome in execute.OUTCOMES if total[outcome]]
    width = max(map(len, summary.outcomes), default=0)
    if columns:
        print("  ".join([" " * width, *columns]))
    for name, counts in summary.outcomes.items():
        print("  ".join([name.ljust(width), *(str(counts[column]).rjust(len(column))
                                              for column in columns)]).rstrip())
    if summary.before:
        print(f"{summary.before} results were there before.")


def tell_failures(failures: list[tuple[Run, str]]) -> None:
    for failed, reason in failures:
        print(f"kelvo-batch: not carried out: {failed.problem.name} with "
              f"{failed.configuration.name}: {reason}", file=sys.stderr)


class Interrupted(Exception):
    """A signal asks for the end."""


def interrupt(number: int, _frame: Any) -> NoReturn:
    # One signal is enough: the way out is not to be interrupted again.
    for each in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(each, signal.SIG_IGN)
    raise Interrupted(number)


def main(words: list[str] | None = None) -> int:
    arguments = make_parser().parse_args(words)
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        if signal.getsignal(number) != signal.SIG_IGN:
            signal.signal(number, interrupt)
    try:
        return arguments.function(arguments)
    except BatchError as error:
        print(f"kelvo-batch: {error}", file=sys.stderr)
        return 1
    except BrokenPipeError:
        # Nobody reads on; the interpreter's own flush must not complain once more.
        sys.stdout = None
        return 1
    except Interrupted as error:
        print("kelvo-batch: interrupted; the same command goes on from here", file=sys.stderr)
        return 128 + error.args[0]
