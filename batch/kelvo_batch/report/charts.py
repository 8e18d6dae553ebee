"""Charts as SVG."""

import math
from collections.abc import Callable, Sequence
from html import escape

WIDTH, HEIGHT = 640, 400
LEFT, RIGHT, TOP, BOTTOM = 62, 16, 14, 46
# Told apart by most eyes (Okabe and Ito); dashes and marks tell them apart on paper as well.
COLOURS = ("#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9", "#7a5195", "#444444")
DASHES = ("", "6 3", "2 3", "8 3 2 3")
LEAST_SECONDS = 0.001


def colour(number: int) -> str:
    return COLOURS[number % len(COLOURS)]


def dash(number: int) -> str:
    return DASHES[number // len(COLOURS) % len(DASHES)]


class Axis:
    """Places values between two ends of a chart, on a linear or a logarithmic scale."""

    def __init__(self, low: float, high: float, begin: float, end: float, is_log: bool) -> None:
        self.is_log = is_log
        if is_log:
            low, high = max(low, LEAST_SECONDS), max(high, LEAST_SECONDS)
            # Whole powers of ten, so that there are two marks at least.
            self.low, self.high = math.floor(math.log10(low)), math.ceil(math.log10(high))
            if self.high == self.low:
                self.high += 1
        else:
            self.low, self.high = low, high if high > low else low + 1
        self.begin, self.end = begin, end

    def at(self, value: float) -> float:
        scaled = math.log10(max(value, LEAST_SECONDS)) if self.is_log else value
        share = (scaled - self.low) / (self.high - self.low)
        return self.begin + min(max(share, 0), 1) * (self.end - self.begin)

    def marks(self) -> list[tuple[float, str]]:
        if self.is_log:
            return [(10.0**n, f"{10.0**n:g}") for n in range(int(self.low), int(self.high) + 1)]
        step = 10.0 ** math.floor(math.log10(self.high - self.low))
        while (self.high - self.low) / step < 4:
            step /= 2
        first = math.ceil(self.low / step)
        return [(n * step, f"{n * step:g}") for n in range(first, math.floor(self.high / step + 1e-9) + 1)]


class Chart:
    """A frame with two axes, in which things are drawn."""

    def __init__(self, x: tuple[float, float, bool], y: tuple[float, float, bool], x_title: str,
                 y_title: str, label: str) -> None:
        self.x = Axis(x[0], x[1], LEFT, WIDTH - RIGHT, x[2])
        self.y = Axis(y[0], y[1], HEIGHT - BOTTOM, TOP, y[2])
        self.parts = [f'<svg viewBox="0 0 {WIDTH} {HEIGHT}" role="img" aria-label="{escape(label)}">']
        for value, text in self.x.marks():
            at = self.x.at(value)
            self.line(at, TOP, at, HEIGHT - BOTTOM, "grid")
            self.text(at, HEIGHT - BOTTOM + 16, text, "middle")
        for value, text in self.y.marks():
            at = self.y.at(value)
            self.line(LEFT, at, WIDTH - RIGHT, at, "grid")
            self.text(LEFT - 6, at + 4, text, "end")
        self.text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 8, x_title, "middle")
        middle = (TOP + HEIGHT - BOTTOM) / 2
        self.parts.append(f'<text transform="translate(14 {middle:.1f}) rotate(-90)" '
                          f'text-anchor="middle">{escape(y_title)}</text>')

    def line(self, x1: float, y1: float, x2: float, y2: float, kind: str) -> None:
        self.parts.append(f'<line class="{kind}" x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" '
                          f'y2="{y2:.1f}"/>')

    def text(self, x: float, y: float, text: str, anchor: str) -> None:
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}">'
                          f'{escape(text)}</text>')

    def steps(self, points: Sequence[tuple[float, float]], number: int, title: str) -> None:
        """A line that goes from each point to the next at right angles, first along y."""
        path = []
        for i, (x, y) in enumerate(points):
            path.append(f"{'V' if i else 'M'}{f'{self.x.at(x):.1f} ' if i == 0 else ''}"
                        f"{self.y.at(y):.1f}")
            if i + 1 < len(points):
                path.append(f"H{self.x.at(points[i + 1][0]):.1f}")
        self.parts.append(f'<path class="series" stroke="{colour(number)}" '
                          f'stroke-dasharray="{dash(number)}" d="{"".join(path)}">'
                          f"<title>{escape(title)}</title></path>")

    def point(self, x: float, y: float, number: int, title: str) -> None:
        self.parts.append(f'<circle class="point" cx="{self.x.at(x):.1f}" cy="{self.y.at(y):.1f}" '
                          f'r="4" fill="{colour(number)}"><title>{escape(title)}</title></circle>')

    def svg(self) -> str:
        return "\n".join([*self.parts, "</svg>"])


def legend(names: Sequence[str]) -> str:
    items = [f'<li><svg class="key" viewBox="0 0 30 8"><line class="series" x1="0" y1="4" x2="30" y2="4" '
             f'stroke="{colour(i)}" stroke-dasharray="{dash(i)}"/></svg>{escape(name)}</li>'
             for i, name in enumerate(names)]
    return f'<ul class="legend">{"".join(items)}</ul>'


def cactus(times: dict[str, list[float]]) -> str:
    """How many problems each configuration solves (to the right) within how much time each (up)."""
    most = max(map(len, times.values()), default=0)
    everything = [t for list_ in times.values() for t in list_] or [1.0]
    chart = Chart((0, max(most, 1), False), (min(everything), max(everything), True),
                  "problems solved", "CPU seconds for each", "Problems solved over time")
    for number, (name, list_) in enumerate(times.items()):
        points = [(float(i), t) for i, t in enumerate(sorted(list_))]
        if points:
            chart.steps([*points, (float(len(list_)), points[-1][1])], number,
                        f"{name}: {len(list_)} solved")
    return chart.svg() + legend(list(times))


def scatter(points: Sequence[tuple[str, str, float | None, float | None]], names: tuple[str, str],
            group_number: Callable[[str], int]) -> str:
    """Times of two configurations by problem: (problem, group, x, y), none where it is not solved. Those
    stand on the outer lines."""
    times = [t for _, _, *both in points for t in both if t is not None] or [1.0]
    low, high = min(times), max(times) * 10
    chart = Chart((low, high, True), (low, high, True), f"{names[0]}: CPU seconds",
                  f"{names[1]}: CPU seconds", f"CPU seconds of {names[0]} and {names[1]}")
    chart.line(chart.x.at(low), chart.y.at(low), chart.x.end, chart.y.end, "diagonal")
    outer = 10.0**chart.x.high
    for problem, group, x, y in points:
        told = [f"{t:.2f} s" if t is not None else "not solved" for t in (x, y)]
        chart.point(outer if x is None else x, outer if y is None else y, group_number(group),
                    f"{problem}: {told[0]} / {told[1]}")
    return chart.svg()


def shares(values: dict[str, list[float]]) -> str:
    """How many plans (up) of each configuration have at least a quality (to the right)."""
    most = max(map(len, values.values()), default=0)
    highest = max((v for list_ in values.values() for v in list_), default=1.0)
    chart = Chart((0, max(highest, 1), False), (0, max(most, 1), False),
                  "makespan of the reference / makespan", "plans that are at least as good",
                  "Quality of plans against references")
    for number, (name, list_) in enumerate(values.items()):
        ordered = sorted(list_)
        points = [(0.0, float(len(ordered)))]
        points += [(v, float(len(ordered) - i - 1)) for i, v in enumerate(ordered)]
        if ordered:
            chart.steps(points, number, name)
    return chart.svg() + legend(list(values))


def bar(counts: Sequence[tuple[str, int]], total: int) -> str:
    """One line of parts that are as long as their counts; (class, count) each."""
    x, parts = 0.0, []
    for kind, count in counts:
        width = 100 * count / max(total, 1)
        parts.append(f'<rect class="{kind}" x="{x:.3f}" width="{width:.3f}" y="0" height="6">'
                     f"<title>{count} {escape(kind.replace('_', ' '))}</title></rect>")
        x += width
    return f'<svg class="bar" viewBox="0 0 100 6" preserveAspectRatio="none">{"".join(parts)}</svg>'
