#!/usr/bin/env python3
"""Writes the families of growing size below examples/families, always the same files.

    examples/generate.py                     all families in their usual sizes
    examples/generate.py match_cellar 40     one problem of that size on standard output
    examples/generate.py --check             fails when the files are not what would be written

The families are for measuring. Tables are drawn from a random generator whose seed is the size.
"""

import pathlib
import random
import sys

FOLDER = pathlib.Path(__file__).resolve().parent / "families"


def names(prefix, count):
    return [f"{prefix}{i}" for i in range(1, count + 1)]


def match_cellar(size):
    """One fuse more a size, and just as many matches as are needed: two fuses to a match."""
    fuses = names("f", size)
    matches = names("m", (size + 1) // 2)
    lines = [
        f"// Match cellar with {len(fuses)} fuses and {len(matches)} matches.",
        "",
        "type match;",
        "type fuse;",
        f"instance match {', '.join(matches)};",
        f"instance fuse {', '.join(fuses)};",
        "",
        "fluent boolean light;",
        "fluent boolean hand_free;",
        "fluent boolean unused(match m);",
        "fluent boolean mended(fuse f);",
        "",
        "action light_match(match m) {",
        "  duration := 8;",
        "  [start] unused(m) and not light;",
        "  [start] unused(m) := false;",
        "  [start] light := true;",
        "  [end] light := false;",
        "};",
        "",
        "action mend_fuse(fuse f) {",
        "  duration := 3;",
        "  [start] hand_free and not mended(f);",
        "  [start] hand_free := false;",
        "  [all] light;",
        "  [end] mended(f) := true;",
        "  [end] hand_free := true;",
        "};",
        "",
        "[start] light := false;",
        "[start] hand_free := true;",
    ]
    lines += [f"[start] unused({m}) := true;" for m in matches]
    lines += [f"[start] mended({f}) := false;" for f in fuses]
    lines += [""] + [f"[end] mended({f});" for f in fuses]
    return lines


def logistics(size):
    """`size` parcels to be brought between `size` // 2 + 1 cities, one truck each, one plane."""
    rng = random.Random(size)
    cities = size // 2 + 1
    if cities < 2:
        cities = 2
    centres = names("centre", cities)
    airports = names("airport", cities)
    places = centres + airports
    trucks = names("truck", cities)
    parcels = names("parcel", size)
    lines = [
        f"// Logistics with {size} parcels and {cities} cities.",
        "",
        "type Place;",
        "type Parcel;",
        "constant boolean same_city(Place a, Place b);",
        "constant boolean airport(Place p);",
        "",
        "type Truck with {",
        "  fluent Place at;",
        "  action drive(Place from, Place to) {",
        "    duration := 2;",
        "    [start] from != to and same_city(from, to);",
        "    [start] at == from;",
        "    [end] at := to;",
        "  };",
        "};",
        "",
        "type Plane with {",
        "  fluent Place at;",
        "  action fly(Place from, Place to) {",
        "    duration := 5;",
        "    [start] from != to and airport(from) and airport(to);",
        "    [start] at == from;",
        "    [end] at := to;",
        "  };",
        "};",
        "",
        "fluent boolean is_at(Parcel x, Place p);",
        "fluent boolean in_truck(Parcel x, Truck t);",
        "fluent boolean in_plane(Parcel x, Plane v);",
        "constant boolean serves(Truck t, Place p);",
        "",
    ]
    for kind, typ, var, extra in (("truck", "Truck", "t", "serves(t, p)"),
                                  ("plane", "Plane", "v", "airport(p)")):
        lines += [
            f"action load_{kind}(Parcel x, {typ} {var}, Place p) {{",
            "  duration := 1;",
            f"  [start] {extra};",
            f"  [all] {var}.at == p;",
            "  [start] is_at(x, p);",
            "  [start] is_at(x, p) := false;",
            f"  [end] in_{kind}(x, {var}) := true;",
            "};",
            "",
            f"action unload_{kind}(Parcel x, {typ} {var}, Place p) {{",
            "  duration := 1;",
            f"  [start] {extra};",
            f"  [all] {var}.at == p;",
            f"  [start] in_{kind}(x, {var});",
            f"  [start] in_{kind}(x, {var}) := false;",
            "  [end] is_at(x, p) := true;",
            "};",
            "",
        ]
    lines += [
        f"instance Place {', '.join(places)};",
        f"instance Truck {', '.join(trucks)};",
        "instance Plane plane;",
        f"instance Parcel {', '.join(parcels)};",
        "",
        "same_city(*) := false;",
        "airport(*) := false;",
        "serves(*) := false;",
    ]
    for centre, airport, truck in zip(centres, airports, trucks):
        lines += [
            f"same_city({centre}, {airport}) := true;",
            f"same_city({airport}, {centre}) := true;",
            f"airport({airport}) := true;",
            f"serves({truck}, {centre}) := true;",
            f"serves({truck}, {airport}) := true;",
        ]
    lines += [""]
    lines += [f"[start] {t}.at := {c};" for t, c in zip(trucks, centres)]
    lines += [f"[start] plane.at := {airports[0]};"]
    goals = []
    for x in parcels:
        origin, target = rng.sample(range(cities), 2)
        lines += [f"[start] is_at({x}, {p}) := {'true' if p == centres[origin] else 'false'};"
                  for p in places]
        lines += [f"[start] in_truck({x}, {t}) := false;" for t in trucks]
        lines += [f"[start] in_plane({x}, plane) := false;"]
        goals += [f"[end] is_at({x}, {centres[target]});"]
    return lines + [""] + goals


def job_shop(size):
    """`size` jobs on two machines, one operation on each in random order."""
    rng = random.Random(size)
    machines = names("machine", 2)
    jobs = names("job", size)
    count = len(machines)
    lines = [
        f"// Job shop with {size} jobs on {count} machines.",
        "",
        "type Job;",
        "type Machine;",
        f"instance Job {', '.join(jobs)};",
        f"instance Machine {', '.join(machines)};",
        "",
        f"constant Machine machine(Job j, integer[1, {count}] k);",
        f"constant integer work(Job j, integer[1, {count}] k);",
    ]
    for job in jobs:
        for k, machine in enumerate(rng.sample(machines, count), 1):
            lines += [f"machine({job}, {k}) := {machine};",
                      f"work({job}, {k}) := {rng.randint(2, 9)};"]
    lines += [
        "",
        "fluent boolean idle(Machine m);",
        "fluent boolean waiting(Job j);",
        f"fluent integer[0, {count}] done(Job j);",
        "",
        f"action process(Job j, Machine m, integer[1, {count}] k) {{",
        "  duration := work(j, k);",
        "  [start] machine(j, k) == m;",
        "  [start] waiting(j) and idle(m) and done(j) == k - 1;",
        "  [start] waiting(j) := false;",
        "  [start] idle(m) := false;",
        "  [end] done(j) := k;",
        "  [end] idle(m) := true;",
        "  [end] waiting(j) := true;",
        "};",
        "",
    ]
    lines += [f"[start] idle({m}) := true;" for m in machines]
    for job in jobs:
        lines += [f"[start] waiting({job}) := true;", f"[start] done({job}) := 0;"]
    return lines + [""] + [f"[end] done({job}) == {count};" for job in jobs]


def rover(size):
    """A rover drills at `size` rocks along a track; a charger stands at every third place."""
    rng = random.Random(size)
    places = names("p", size + 1)
    rocks = places[1:]
    chargers = places[::3]
    lines = [
        f"// A rover with a battery and {size} rocks along a track.",
        "",
        "type Place;",
        f"instance Place {', '.join(places)};",
        "",
        "constant integer energy(Place a, Place b);",
        "constant boolean charger(Place p);",
        "constant boolean rock(Place p);",
        "energy(*) := 100;",
        "charger(*) := false;",
        "rock(*) := false;",
    ]
    for a, b in zip(places, places[1:]):
        cost = rng.randint(1, 3)
        lines += [f"energy({a}, {b}) := {cost};", f"energy({b}, {a}) := {cost};"]
    lines += [f"charger({p}) := true;" for p in chargers]
    lines += [f"rock({p}) := true;" for p in rocks]
    lines += [
        "",
        "fluent Place at;",
        "fluent integer[0, 20] charge;",
        "fluent boolean sample(Place p);",
        "",
        "action drive(Place from, Place to) {",
        "  duration := 2 * energy(from, to);",
        "  [start] energy(from, to) < 100;",
        "  [start] at == from and charge >= energy(from, to);",
        "  [start] charge := charge - energy(from, to);",
        "  [end] at := to;",
        "};",
        "",
        "action drill(Place p) {",
        "  duration := 5;",
        "  [start] rock(p);",
        "  [all] at == p;",
        "  [start] charge >= 2 and not sample(p);",
        "  [start] charge := charge - 2;",
        "  [end] sample(p) := true;",
        "};",
        "",
        "action recharge(Place p) {",
        "  duration := 10;",
        "  [start] charger(p);",
        "  [all] at == p;",
        "  [end] charge := charge + 10;",
        "};",
        "",
        f"[start] at := {places[0]};",
        "[start] charge := 10;",
    ]
    lines += [f"[start] sample({p}) := false;" for p in places]
    return lines + [""] + [f"[end] sample({p});" for p in rocks]


FAMILIES = {
    match_cellar: (2, 4, 6, 8, 10),
    logistics: (1, 2, 3, 4, 5),
    job_shop: (2, 3, 4, 5),
    rover: (2, 3, 4, 5),
}


def problems():
    """The files of all families with their texts."""
    for family, sizes in FAMILIES.items():
        for size in sizes:
            yield (FOLDER / f"{family.__name__}_{size:02}.anml",
                   "\n".join(family(size)) + "\n")


def main():
    if sys.argv[1:] == ["--check"]:
        stale = [str(path) for path, text in problems() if path.read_text() != text]
        sys.exit("not as generated: " + ", ".join(stale) if stale else 0)
    if len(sys.argv) == 3:
        family = {f.__name__: f for f in FAMILIES}[sys.argv[1]]
        print("\n".join(family(int(sys.argv[2]))))
        return
    if len(sys.argv) != 1:
        sys.exit(__doc__.strip())
    FOLDER.mkdir(exist_ok=True)
    for path, text in problems():
        path.write_text(text)


if __name__ == "__main__":
    main()
