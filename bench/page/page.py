# SPDX-License-Identifier: MIT
"""The page in Markdown."""
import textwrap

from rows import format_factor, format_row

NO_REASON = "**no reason is known yet**"
LEAST = "least"  # the form of the same input that costs least
DEAR = 2  # a form that costs more than so many times the least has its reason on the page

HOW_TO_READ = """\
Every row of a table is one job on one input, done by tovkit and by its peers in the same run, {rounds} rounds each in
random order. A figure is the median of the rounds: processor time of the calling thread, or elapsed time where threads
or processes take part. Under each peer stands how many times longer it takes than tovkit, the ratio of the two medians:
**above 1× tovkit is faster**, below it is slower. In brackets are the quartiles of the ratios of each round of one with
each round of the other. Ratios within 3 % of 1× count as level. *At best* marks a row that does less than the job, such
as `memcpy`: a bound to measure against, not a peer."""


def _wrap(text):
    return textwrap.fill(" ".join(text.split()), width=119, break_long_words=False, break_on_hyphens=False)


def _cell(section, case, column):
    who = next((peer for peer in column if peer in case.rows), None)
    if who is None:
        return ""
    row = case.rows[who]
    ratio = case.ratio(who)
    if ratio is None:
        return format_row(row)
    spread = f"{format_factor(ratio.low)[:-1]} to {format_factor(ratio.high)[:-1]}"
    text = f"{format_row(row)}<br>**{format_factor(ratio.middle)}** ({spread})"
    if section.is_floor(case, who):
        return text + "<br>*at best*"
    return text + (f"<br>**{ratio.verdict}**" if ratio.verdict == "slower" else "")


def _table(section, notes):
    columns = section.columns(notes)
    yield "| case | tovkit | " + " | ".join(columns) + " |"
    yield "|---|---:|" + "---:|" * len(columns)
    for case in section.cases:
        ours = format_row(case.ours) if case.ours else "not measured"
        cells = [_cell(section, case, column) for column in columns.values()]
        yield f"| {section.label(case)} | {ours} | " + " | ".join(cells) + " |"


def slower_rows(section):
    """(case, who, ratio) of all rows in which a peer is faster."""
    for case in section.cases:
        for row in case.peers:
            ratio = case.ratio(row.who)
            if ratio and ratio.verdict == "slower" and not section.is_floor(case, row.who):
                yield case, row.who, ratio


def _slower(section, notes):
    """Rows with one reason share a line."""
    lines = {}
    for case, who, ratio in slower_rows(section):
        row = f"{section.label(case)} ({notes.name(who)}, {format_factor(ratio.middle)})"
        lines.setdefault(section.reason(case, who) or NO_REASON, []).append(row)
    if not lines:
        return
    yield "Slower than a peer, and why:"
    yield ""
    for reason, rows in lines.items():
        yield textwrap.fill(f"- {'; '.join(rows)}: {' '.join(reason.split())}", width=119, subsequent_indent="  ",
                            break_long_words=False, break_on_hyphens=False)
    yield ""


def dear_rows(section):
    """(case, who, ratio) of all forms that take more than twice as long as the one that costs least."""
    for case in section.cases:
        for row in case.peers:
            ratio = case.ratio(row.who)
            if ratio and row.who == LEAST and ratio.middle < 1 / DEAR:
                yield case, row.who, ratio


def _dear(section):
    lines = {}
    for case, who, ratio in dear_rows(section):
        row = f"{section.label(case)} ({format_factor(1 / ratio.middle)})"
        lines.setdefault(section.reason(case, who) or NO_REASON, []).append(row)
    if not lines:
        return
    yield "More than twice the form that costs least, and why:"
    yield ""
    for reason, rows in lines.items():
        yield textwrap.fill(f"- {'; '.join(rows)}: {' '.join(reason.split())}", width=119, subsequent_indent="  ",
                            break_long_words=False, break_on_hyphens=False)
    yield ""


def _missed(section):
    if not section.missed:
        return
    yield "Goals that are missed, what takes the time, and what was tried:"
    yield ""
    for text in section.missed:
        yield textwrap.fill(f"- {' '.join(text.split())}", width=119, subsequent_indent="  ", break_long_words=False,
                            break_on_hyphens=False)
    yield ""


def _count(section):
    verdicts = [case.ratio(row.who).verdict for case in section.cases for row in case.peers
                if case.ratio(row.who) and not section.is_floor(case, row.who)]
    return [verdicts.count(kind) for kind in ("faster", "level", "slower")]


def _summary(sections):
    yield "| facility | faster | level | slower |"
    yield "|---|---:|---:|---:|"
    for section in sections:
        faster, level, slower = _count(section)
        anchor = section.title.lower().replace(" ", "-").replace(",", "")
        yield f"| [{section.title}](#{anchor}) | {faster} | {level} | {slower} |"


def render(sections, notes, facts, versions, rounds, charts):
    """`facts` and `versions` are pairs; `charts` maps a section's id to its picture."""
    yield "# Benchmarks"
    yield ""
    yield "Written by `scripts/bench`, which runs everything again and replaces this page. Reasons are kept in"
    yield "`bench/page/notes.toml`."
    yield ""
    yield HOW_TO_READ.format(rounds=rounds)
    yield ""
    yield "| | |"
    yield "|---|---|"
    for name, value in facts:
        yield f"| {name} | {value} |"
    yield f"| Peers | {', '.join(f'{name} {version}' for name, version in versions)} |"
    yield ""
    yield "At a glance, in how many of the rows tovkit is faster than the peer, level with it, or slower:"
    yield ""
    yield from _summary(sections)
    for section in sections:
        yield ""
        yield f"## {section.title}"
        yield ""
        if section.input:
            yield _wrap(section.input)
            yield ""
        yield from _table(section, notes)
        yield ""
        yield from _slower(section, notes)
        yield from _dear(section)
        yield from _missed(section)
        if section.id in charts:
            yield f"![{section.title}: times faster than each peer]({charts[section.id]})"
