"""The page of a report."""

from collections.abc import Iterable, Sequence
from fractions import Fraction
from html import escape

from .. import execute
from ..errors import BatchError
from ..store import Store
from . import charts
from .data import Result, Results

STYLE = """
body { font: 15px/1.45 system-ui, sans-serif; max-width: 1100px; margin: 0 auto; padding: 0 20px 40px;
       color: #1b1b1b; background: #fff; }
h1 { margin-bottom: 0; } h2 { margin-top: 2em; border-bottom: 1px solid #ccc; }
p.about { color: #555; margin-top: 0.3em; }
.wide { overflow-x: auto; }
table { border-collapse: collapse; } caption { text-align: left; color: #555; }
th, td { padding: 3px 9px; text-align: right; border-bottom: 1px solid #e4e4e4; white-space: nowrap; }
th:first-child, td:first-child, td.text { text-align: left; } td.text { white-space: normal; }
thead th { border-bottom: 2px solid #999; vertical-align: bottom; }
tr.sum td { border-top: 2px solid #999; font-weight: 600; }
td.best { background: #d9f0e3; } td.none { color: #999; }
svg { max-width: 640px; width: 100%; display: block; }
svg text { font-size: 12px; fill: #333; } .grid { stroke: #e2e2e2; } .diagonal { stroke: #999; }
.series { fill: none; stroke-width: 2; } .point { fill-opacity: 0.65; }
svg.key { width: 30px; height: 8px; display: inline-block; margin-right: 6px; }
svg.bar { width: 360px; height: 16px; }
.legend { list-style: none; padding: 0; display: flex; flex-wrap: wrap; gap: 2px 18px; }
.plan { fill: #009e73; } .no-solution_proven { fill: #56b4e9; } .no-solution_bounded { fill: #9db7c9; }
.no-solution_undecided { fill: #b9b9b9; } .timeout { fill: #e69f00; } .memory { fill: #cc79a7; }
.error { fill: #d55e00; } .crash, .invalid_plan { fill: #b00020; } .missing { fill: #efefef; }
code { background: #f3f3f3; padding: 0 3px; } details { margin: 0.6em 0; } summary { cursor: pointer; }
"""

FAILURES = ("invalid plan", "crash", "error", "memory", "timeout", "no-solution undecided",
            "no-solution bounded")


def cell(text: object, kind: str = "") -> str:
    return f"<td{f' class={chr(34)}{kind}{chr(34)}' if kind else ''}>{escape(str(text))}</td>"


def table(head: Iterable[object], rows: Iterable[Sequence[str]], kinds: Sequence[str] = (),
          caption: str = "") -> str:
    """Cells are HTML already; `kinds` are the classes of the rows."""
    lines = ['<div class="wide"><table>']
    if caption:
        lines.append(f"<caption>{escape(caption)}</caption>")
    lines.append(f"<thead><tr>{''.join(f'<th>{escape(str(h))}</th>' for h in head)}</tr></thead><tbody>")
    for number, row in enumerate(rows):
        kind = kinds[number] if number < len(kinds) else ""
        lines.append(f"<tr{f' class={chr(34)}{kind}{chr(34)}' if kind else ''}>{''.join(row)}</tr>")
    return "\n".join([*lines, "</tbody></table></div>"])


def number_text(value: Fraction | float) -> str:
    return f"{float(value):.2f}"


def class_of(outcome: str) -> str:
    return outcome.replace(" ", "_") or "missing"


def coverage(results: Results) -> str:
    outcomes = [o for o in (*execute.OUTCOMES, "") if any(results.outcomes(c)[o]
                                                         for c in results.configurations)]
    rows = []
    for configuration in results.configurations:
        runs, counts = results.of(configuration), results.outcomes(configuration)
        solved = sum(r.is_solved for r in runs)
        bar = charts.bar([(class_of(o), counts[o]) for o in outcomes], len(runs))
        rows.append([cell(configuration), cell(f"{solved} of {len(runs)}"),
                     *[cell(counts[o]) for o in outcomes],
                     cell(f"{sum(r.cpu_s for r in runs):.1f}"),
                     cell(f"{max((r.memory_mb for r in runs), default=0):.0f}"), f"<td>{bar}</td>"])
    return table(["configuration", "solved", *[o or "no result yet" for o in outcomes], "CPU seconds",
                  "most MB", ""], rows,
                 caption="Solved is a plan that the judge accepts, or a proof that there is none.")


def cactus(results: Results) -> str:
    return charts.cactus({c: [r.cpu_s for r in results.of(c) if r.is_solved]
                          for c in results.configurations})


def comparison(results: Results, names: tuple[str, str]) -> str:
    points = []
    for problem in results.problems:
        pair = [results.by_name.get((problem, name)) for name in names]
        if any(r is None or not r.outcome for r in pair):
            continue
        first, second = (r.cpu_s if r and r.is_solved else None for r in pair)
        if first is not None or second is not None:
            points.append((problem, results.domain_of[problem], first, second))
    numbers = {domain: i for i, domain in enumerate(results.domains)}
    faster = [sum(1 for _, _, x, y in points if x is not None and (y is None or x < y)),
              sum(1 for _, _, x, y in points if y is not None and (x is None or y < x))]
    told = " and ".join(f"{name} is faster on {n}" for name, n in zip(names, faster))
    return (f"<h3>{escape(names[0])} and {escape(names[1])}</h3><p>Of {len(points)} problems that one of the "
            f"two solves, {escape(told)}; those on the outer lines are not solved by the other. The colours "
            f"are the domains.</p>" + charts.scatter(points, names, lambda d: numbers[d])
            + charts.legend(results.domains))


def domains(results: Results) -> str:
    rows, kinds = [], []
    sums = {c: [0, 0, Fraction(0)] for c in results.configurations}
    for domain, of_domain in results.by_domain().items():
        best = max(score for _, _, score in of_domain.values())
        row = [cell(domain), cell(max(runs for _, runs, _ in of_domain.values()))]
        for configuration, (solved, runs, score) in of_domain.items():
            row += [cell(solved), cell(number_text(score), "best" if score == best > 0 else "")]
            sums[configuration] = [a + b for a, b in zip(sums[configuration], (solved, runs, score))]
        rows.append(row)
        kinds.append("")
    rows.append([cell("all"), cell(len(results.problems)),
                 *[c for solved, _, score in sums.values()
                   for c in (cell(solved), cell(number_text(score)))]])
    head = ["domain", "problems", *[h for c in results.configurations for h in (f"{c}: solved", "score")]]
    return table(head, rows, [*kinds, "sum"],
                 "The score of a plan is the least makespan known, of references and of this batch, divided "
                 "by its own; that of a proof is 1.")


def qualities(results: Results) -> str:
    if not results.references:
        return ("<p>No references were given (<code>--references FILE</code>, a table with the columns "
                "problem and makespan).</p>")
    values = {c: [float(q) for r in results.of(c) if (q := results.quality(r)) is not None]
              for c in results.configurations}
    rows = []
    for name, list_ in values.items():
        mean = number_text(sum(list_) / len(list_)) if list_ else "–"
        rows.append([cell(name), cell(len(list_)), cell(mean),
                     cell(sum(q >= 1 for q in list_)), cell(sum(q < 0.8 for q in list_))])
    return (table(["configuration", "plans with a reference", "mean quality", "as good or better",
                   "below 0.80"], rows) + charts.shares(values))


def failures(results: Results) -> str:
    parts = []
    for outcome in FAILURES:
        runs = [r for r in results.results if r.outcome == outcome]
        if not runs:
            continue
        rows = [[cell(r.problem), cell(r.configuration), cell(f"{r.cpu_s:.2f}"), cell(f"{r.memory_mb:.0f}"),
                 cell(r.message, "text"), log_cell(r)] for r in runs]
        parts.append(f"<details><summary>{len(runs)} × {escape(outcome)}</summary>"
                     + table(["problem", "configuration", "CPU s", "MB", "message", "log"], rows)
                     + "</details>")
    return "\n".join(parts) or "<p>None.</p>"


def log_cell(result: Result) -> str:
    return cell(result.log_file or "", "text")


def all_runs(results: Results) -> str:
    rows = []
    for problem in results.problems:
        best = results.best(problem)
        row = [cell(problem), cell(number_text(results.references[problem])
                                   if problem in results.references else "")]
        for configuration in results.configurations:
            result = results.by_name.get((problem, configuration))
            if result is None or not result.outcome:
                row += [cell("–", "none"), cell("")]
            elif result.makespan is not None:
                row += [cell(f"{result.cpu_s:.2f}"),
                        cell(number_text(result.makespan), "best" if result.makespan == best else "")]
            else:
                row += [cell(f"{result.cpu_s:.2f}"), cell(result.outcome, "none")]
        rows.append(row)
    head = ["problem", "reference", *[h for c in results.configurations for h in (f"{c}: CPU s", "makespan")]]
    return "<details open><summary>Each problem</summary>" + table(head, rows) + "</details>"


def about(results: Results) -> str:
    done = sum(bool(r.outcome) for r in results.results)
    programs = ", ".join(f"<code>{escape(p)}</code>" for p in results.programs)
    return (f"<p class='about'>{len(results.problems)} problems, {len(results.configurations)} "
            f"configurations, {done} of {len(results.results)} runs have a result"
            f"{f', the last one of {escape(results.last)}' if results.last else ''}. "
            f"Planner: {programs}.</p>")


def configurations(results: Results) -> str:
    rows = []
    for name in results.configurations:
        limits = results.limits[name]
        rows.append([cell(name), f"<td class='text'><code>{escape(results.options[name])}</code></td>",
                     cell(f"{limits['cpu_seconds']:g}"), cell(f"{limits['wall_seconds']:g}"),
                     cell(f"{limits['memory_mb']:g}")])
    return table(["configuration", "options of solve", "CPU s", "clock s", "MB"], rows,
                 caption="With the limits of each run.")


def pairs_of(results: Results, compare: Sequence[Sequence[str]]) -> list[tuple[str, str]]:
    """The pairs to compare; of those not told, the two that solve the most."""
    for name in (name for pair in compare for name in pair):
        if name not in results.configurations:
            raise BatchError(f"The batch has no configuration '{name}'; it has "
                             + ", ".join(f"'{c}'" for c in results.configurations))
    if compare:
        return [(pair[0], pair[1]) for pair in compare]
    ranked = sorted(results.configurations, key=lambda c: -sum(r.is_solved for r in results.of(c)))
    return [(ranked[0], ranked[1])] if len(ranked) > 1 else []


def make_page(store: Store, references: str | None, compare: Sequence[Sequence[str]],
              title: str | None) -> str:
    """The whole page as text. Raises BatchError for a batch without runs, references that cannot be
    read, and configurations that are not there."""
    results = Results(store, references)
    if not results.results:
        raise BatchError(f"The batch in {store.folder} has no runs to report on.")
    headline = escape(title or f"Batch {store.folder.resolve().name}")
    pairs = pairs_of(results, compare)
    sections = [("Coverage", coverage(results)), ("Problems solved over time", cactus(results)),
                ("Two configurations", "\n".join(comparison(results, pair) for pair in pairs)
                 or "<p>There is only one.</p>"),
                ("Score by domain", domains(results)),
                ("Makespans against references", qualities(results)),
                ("Failures by outcome", failures(results)), ("Runs", all_runs(results)),
                ("Configurations", configurations(results))]
    body = "\n".join(f"<h2>{escape(name)}</h2>\n{text}" for name, text in sections)
    return ('<!DOCTYPE html>\n<html lang="en"><head><meta charset="utf-8">'
            '<meta name="viewport" content="width=device-width, initial-scale=1">'
            f"<title>{headline}</title><style>{STYLE}</style></head>\n"
            f"<body><h1>{headline}</h1>\n{about(results)}\n{body}\n</body></html>\n")
