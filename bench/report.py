"""The table: rows under headings, each with its goal, if it has one, and whether it is met. 100 columns."""

import json
import sys


def text_of(value, unit):
    """A number in three digits or so: 3.55 ms, 1.44 M, 331."""
    if value is None or isinstance(value, str):
        return value or ""
    if unit == "s":
        for limit, name, factor in ((1e-3, "us", 1e6), (1, "ms", 1e3), (float("inf"), "s", 1)):
            if abs(value) < limit:
                return f"{digits(value * factor)} {name}"
    if unit == "B" and abs(value) >= 1024:
        return f"{digits(value / 1024)} KiB" if abs(value) < 1 << 20 else f"{digits(value / (1 << 20))} MiB"
    if unit == "" and abs(value) >= 100_000:
        return f"{digits(value / 1e3)} k" if abs(value) < 1e7 else f"{digits(value / 1e6)} M"
    return f"{digits(value)}{' ' + unit if unit else ''}"


def digits(value):
    if isinstance(value, int):
        return f"{value:,}"
    return f"{value:,.0f}" if abs(value) >= 100 else f"{value:.1f}" if abs(value) >= 10 else f"{value:.2f}"


class Report:
    """Rows as they come, on the standard output; all of them in the end, as JSON, for who wants to compare runs."""

    def __init__(self):
        self.rows, self.missing = [], []
        self.title = ""

    def section(self, title, ours="ours", peer="peer", ratio="ratio", short=None):
        """`short`: the title in the list of goals that are not met."""
        print(f"\n{title}\n  {'':<46}{ours:>12}{peer:>12}{ratio:>8}  goal", flush=True)
        self.title = short or title

    def row(self, what, ours=None, peer=None, ratio=None, unit="s", most=None, scale="ratio"):
        """`scale` of the ratio: "ratio", or "share", which is shown in per cent. `most`: the goal, the highest ratio that
        meets it; without a peer, the highest value of our own."""
        value = ratio if ratio is not None else ours
        met = None if most is None else value <= most

        def judged(number):
            if ratio is None:
                return text_of(float(number), unit)
            return f"{number:.1%}" if scale == "share" else digits(float(number))
        shown = "" if ratio is None else judged(ratio)
        goal = "" if most is None else f"<= {judged(most):<9}{'met' if met else 'NOT MET'}"
        print(f"  {what:<46}{text_of(ours, unit):>12}{text_of(peer, unit):>12}{shown:>8}  {goal}".rstrip(), flush=True)
        self.rows.append({"section": self.title, "what": what, "ours": ours, "peer": peer, "ratio": ratio, "unit": unit,
                          "goal": most, "met": met, "told": met is False and f"{judged(value) if ratio is None else f'{ratio:.3f}'}, not {judged(most)}"})

    def compare(self, what, pair, most=None):
        self.row(what, pair.ours, pair.peers, pair.ratio, most=most)

    def table(self, title, header, widths, rows):
        """A section with columns of its own; text to the left, numbers to the right."""
        def line(cells):
            first, *others = (text_of(cell, "") for cell in cells)
            return f"  {first:<{widths[0]}}" + "".join(f"{cell:>{width}}" for cell, width in zip(others, widths[1:]))
        print(f"\n{title}\n{line(header)}", flush=True)
        for row in rows:
            print(line(row), flush=True)
            self.rows.append({"section": title, **dict(zip(header, row))})

    def not_measured(self, what, why):
        print(f"  {what}: not measured, {why}", flush=True)
        self.missing.append(what)

    def goals(self):
        judged = [row for row in self.rows if row.get("goal") is not None]
        met = [row for row in judged if row["met"]]
        print(f"\nGoals: {len(met)} of {len(judged)} met" + "".join(f"; {what} not measured" for what in self.missing))
        for row in judged:
            if not row["met"]:
                print(f"  NOT MET  {row['section']}, {row['what'].strip()}: {row['told']}")

    def save(self, path):
        path.write_text(json.dumps({"rows": self.rows, "missing": self.missing}, indent=1), encoding="utf-8")


if __name__ == "__main__":
    sys.exit("scripts/bench measures")
