# SPDX-License-Identifier: MIT
"""What bench/service has found, as tables and a chart."""
import datetime

BEST_OF = ("node", "flask")


def shown(seconds):
    return f"{seconds * 1e3:.3g} ms" if 1e-3 <= seconds < 1 else f"{seconds:.3g} s" if seconds >= 1 else f"{seconds * 1e6:.0f} µs"


def times(row):
    return " / ".join(shown(row[key]) for key in ("p50", "p99", "p999"))


def best_peer(found, connections):
    return max(found[who][connections]["rate"] for who in BEST_OF)


def table(found, names):
    counts = [key for key in found["tovkit"] if key != "half"]
    yield ("| labels a second (p50 / p99 / p99.9) | " + " | ".join(f"{count} connection{'s' * (count != '1')}" for count in counts)
           + " | processor time a label |")
    yield "|---|" + "---:|" * (len(counts) + 1)
    for who, name in names.items():
        yield (f"| {name} | " + " | ".join(f"{found[who][count]['rate']:.0f} ({times(found[who][count])})" for count in counts)
               + f" | {shown(found[who]['16']['cost'])} |")
    least = min(found[who]["16"]["cost"] for who in BEST_OF)
    yield ("| **times the best peer** | " + " | ".join(
        f"**{found['tovkit'][count]['rate'] / best_peer(found, count):.2g}×**" for count in counts)
           + f" | **{least / found['tovkit']['16']['cost']:.2g}×** |")
    yield ""
    yield "| at half the requests of 16 connections | a second | p50 | p99 | p99.9 | p99 / p50 |"
    yield "|---|---:|---:|---:|---:|---:|"
    for who, name in names.items():
        if "half" in found[who]:
            row = found[who]["half"]
            yield (f"| {name} | {row['rate']:.0f} | {shown(row['p50'])} | {shown(row['p99'])} | {shown(row['p999'])} | "
                   f"{row['p99'] / row['p50']:.1f} |")
    failed = {names[who]: sum(row["failed"] for row in rows.values()) for who, rows in found.items()}
    yield ""
    if any(failed.values()):
        yield "Requests that failed: " + ", ".join(f"{name} {number:.0f}" for name, number in failed.items() if number) + "."
    else:
        yield "No request failed."


def draw_chart(found, names, path):
    """Requests a second, a group of bars for each number of connections."""
    import matplotlib
    matplotlib.use("Agg")
    from matplotlib import pyplot

    colors = {"tovkit": "#3b6ea5", "cached": "#9bb9d6", "node": "#d98032", "flask": "#5a9e5a"}
    counts = [key for key in found["tovkit"] if key != "half"]
    figure, axes = pyplot.subplots(figsize=(9, 3.2), dpi=100)
    for place, (who, name) in enumerate(names.items()):
        rates = [found[who][count]["rate"] for count in counts]
        bars = axes.barh([group + place * 0.2 for group in range(len(counts))], rates, 0.18, color=colors[who], label=name)
        axes.bar_label(bars, [f"{rate:.0f}" for rate in rates], padding=3, fontsize=7)
    axes.set_yticks([group + 0.3 for group in range(len(counts))], [f"{count} connection{'s' * (count != '1')}" for count in counts],
                    fontsize=8)
    axes.invert_yaxis()
    axes.set_xscale("log")
    axes.set_xlim(right=axes.get_xlim()[1] * 2)
    axes.tick_params(axis="x", labelsize=7)
    axes.grid(axis="x", linewidth=0.4, alpha=0.6)
    axes.set_axisbelow(True)
    axes.set_title("A service: labels a second", fontsize=9, loc="left")
    axes.legend(fontsize=7, loc="upper left", bbox_to_anchor=(1.01, 1), frameon=False)
    for side in ("top", "right", "left"):
        axes.spines[side].set_visible(False)
    figure.savefig(path, bbox_inches="tight", metadata={"Software": None})
    pyplot.close(figure)


def write_page(bench, found, names, lines, arguments):
    docs = bench.parent / "docs"
    draw_chart(found, names, docs / "images/bench_service.png")
    notes = bench / "page/service_notes.md"
    with open(bench / "page/service.md", "w", encoding="utf-8") as file:
        file.write(f"""## A service

Measured by `bench/service` on {datetime.date.today()}, apart from the rest of this page: labels of 400 x 120 pixels with three lines of
text as PNG over HTTP on loopback, two processes each, every request with a new text but for those from the cache;
{arguments.rounds} rounds of {arguments.seconds} s each in random order, medians. `wrk` asks as fast as answers come; the second table has
`h2load` at a steady rate. Clients and services share the machine.

""")
        file.write("\n".join(lines) + "\n\n")
        file.write(notes.read_text(encoding="utf-8") + "\n")
        file.write("![A service: labels a second](images/bench_service.png)\n")
