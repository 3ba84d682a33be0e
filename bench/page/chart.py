# SPDX-License-Identifier: MIT
"""One bar chart a section: how many times faster than each peer, on a logarithmic scale."""
import matplotlib

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402 (the backend is chosen first)
from matplotlib.ticker import FuncFormatter, NullFormatter  # noqa: E402

from rows import OURS, format_factor  # noqa: E402

BAR = 0.16  # inches
COLORS = ["#3b6ea5", "#d98032", "#5a9e5a", "#9467bd", "#8c6d5a", "#cf6fae", "#6f6f6f", "#b5a332", "#3aa6b0"]


def draw(section, notes, path):
    """False, and no picture, when no case has a peer."""
    cases = [case for case in section.cases if any(case.ratio(row.who) for row in case.peers)]
    if not cases:
        return False
    columns = section.columns(notes)
    colors = {who: COLORS[i % len(COLORS)] for i, column in enumerate(columns.values()) for who in column}
    bars, ticks, at = [], [], 0.0
    for case in cases:
        shown = [(who, case.ratio(who)) for who in colors if case.ratio(who)]
        ticks.append((at + (len(shown) - 1) / 2, section.label(case)))
        for who, ratio in shown:
            bars.append((at, who, ratio))
            at += 1
        at += 0.7
    figure, axes = pyplot.subplots(figsize=(9, 1.1 + BAR * at), dpi=100)
    for position, who, ratio in bars:
        error = [[max(0, ratio.middle - ratio.low)], [max(0, ratio.high - ratio.middle)]]
        axes.barh(position, ratio.middle - 1, left=1, height=0.9, color=colors[who], xerr=error,
                  error_kw={"elinewidth": 0.8, "ecolor": "#333333"})
        beyond = ratio.middle >= 1
        axes.annotate(format_factor(ratio.middle), (ratio.high if beyond else ratio.low, position),
                      xytext=(4 if beyond else -4, 0), textcoords="offset points", fontsize=6.5, va="center",
                      ha="left" if beyond else "right")
    _finish(axes, section, ticks, bars)
    handles = [pyplot.Rectangle((0, 0), 1, 1, color=colors[column[0]]) for column in columns.values()]
    axes.legend(handles, columns, fontsize=7, loc="upper left", bbox_to_anchor=(1.01, 1),
                frameon=False)
    figure.savefig(path, bbox_inches="tight", metadata={"Software": None})
    pyplot.close(figure)
    return True


def _finish(axes, section, ticks, bars):
    axes.set_xscale("log")
    low = min(min(ratio.low for _, _, ratio in bars), 1)
    high = max(max(ratio.high for _, _, ratio in bars), 1)
    axes.set_xlim(min(0.7, low / 1.6), max(1.5, high * 1.8))
    axes.xaxis.set_major_formatter(FuncFormatter(lambda value, _: f"{value:g}×"))
    axes.xaxis.set_minor_formatter(NullFormatter())
    axes.axvline(1, color="#222222", linewidth=1)
    axes.set_yticks([position for position, _ in ticks], [label for _, label in ticks], fontsize=7)
    axes.set_ylim(max(position for position, _, _ in bars) + 1, -1)
    axes.tick_params(axis="x", labelsize=7)
    axes.grid(axis="x", linewidth=0.4, alpha=0.6)
    axes.set_axisbelow(True)
    axes.set_title(f"{section.title}: times faster than the peer (left of 1×: {OURS} is slower)", fontsize=9,
                   loc="left")
    for side in ("top", "right", "left"):
        axes.spines[side].set_visible(False)
