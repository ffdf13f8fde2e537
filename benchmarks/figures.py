"""Pairs measurements with their references, compares them with their limits, and writes a table."""
import dataclasses
import statistics


@dataclasses.dataclass(frozen=True)
class Row:
    """One figure: what is measured against what. `ours` and `reference` measure once each."""

    what: str
    against: str
    ours: object
    reference: object
    # Either of these limits may be missing.
    must: float = None
    aim: float = None
    # How a figure is computed from the two, and how the three are formatted.
    compare: object = lambda ours, reference: ours / reference
    show: object = lambda figure: f"{figure:.3g} x"
    show_measured: object = lambda seconds: time_text(seconds)


@dataclasses.dataclass(frozen=True)
class Figure:
    """The result of a row: medians, and the spread of the pairs."""

    row: Row
    median: float
    lowest: float
    highest: float
    ours: float
    reference: float

    @property
    def misses_must(self):
        return self.row.must is not None and self.median > self.row.must

    @property
    def misses_aim(self):
        return self.row.aim is not None and self.median > self.row.aim


def time_text(seconds):
    for unit, size in (("s", 1), ("ms", 1e-3), ("µs", 1e-6)):
        if seconds >= size:
            return f"{seconds / size:.3g} {unit}"
    return f"{seconds / 1e-9:.3g} ns"


def size_text(size):
    return f"{size / 2**20:.3g} MiB"


def measure(row, runs):
    """Measures `runs` pairs, the reference first in each."""
    references, ours = [], []
    for _ in range(runs):
        references.append(row.reference())
        ours.append(row.ours())
    figures = [row.compare(mine, other) for mine, other in zip(ours, references)]
    return Figure(row, statistics.median(figures), min(figures), max(figures),
                  statistics.median(ours), statistics.median(references))


def mark_text(figure, mark, is_missed):
    return "" if mark is None else figure.row.show(mark) + (" **missed**" if is_missed else "")


def table(figures):
    """A Markdown table."""
    lines = ["| what | reference | ours | reference's | figure (lowest to highest) | must | aim |",
             "| --- | --- | --- | --- | --- | --- | --- |"]
    for figure in figures:
        row = figure.row
        cells = [row.what, row.against,
                 row.show_measured(figure.ours), row.show_measured(figure.reference),
                 f"**{row.show(figure.median)}** ({row.show(figure.lowest)} to "
                 f"{row.show(figure.highest)})",
                 mark_text(figure, row.must, figure.misses_must),
                 mark_text(figure, row.aim, figure.misses_aim)]
        lines.append("| " + " | ".join(cells) + " |")
    return "\n".join(lines)


def between_markers(page, begin, end, text):
    """The page with `text` between the two marker lines, instead of what is there."""
    before, found_begin, rest = page.partition(begin + "\n")
    _, found_end, after = rest.partition(end + "\n")
    if not found_begin or not found_end:
        raise ValueError(f"the page does not have the lines {begin} and {end}")
    return f"{before}{begin}\n{text}\n{end}\n{after}"


def grown(counts, kept, margin):
    """The jobs whose count has grown by more than `margin` (0.05 is 5 %), and new jobs, each with a message."""
    messages = []
    for job, count in counts.items():
        if job not in kept:
            messages.append((job, f"{count:,} instructions, no stored count"))
        elif count > kept[job] * (1 + margin):
            messages.append((job, f"{count:,} instructions, {count / kept[job] - 1:+.1%} "
                                    f"beyond {kept[job]:,}"))
    return messages
