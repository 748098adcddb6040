"""The plots of docs/performance.md."""
import os

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

matplotlib.rcParams["svg.hashsalt"] = "xvwriter"  # the same figures give the same file
KINDS = {"ours": ("o-", 1.0), "ffmpeg": ("x--", 0.6)}


def save(figure, folder, name):
    figure.tight_layout()
    figure.savefig(os.path.join(folder, name + ".svg"), metadata={"Date": None})
    plt.close(figure)


def lines(axes, rows, x, figure, label):
    for index, codec in enumerate(dict.fromkeys(row["codec"] for row in rows)):
        own = [row for row in rows if row["codec"] == codec]
        for who, (style, alpha) in KINDS.items():
            middle, least, most = zip(*(row[who][figure] for row in own))
            errors = [[m - l for m, l in zip(middle, least)], [m - h for h, m in zip(middle, most)]]
            axes.errorbar([x(row) for row in own], middle, yerr=errors, fmt=style, alpha=alpha,
                          color=f"C{index}", capsize=2, label=f"{codec}, {who}")
    axes.set_ylabel(label)
    axes.set_yscale("log")
    axes.grid(True, alpha=0.3)


def draw_sessions(rows, folder):
    for figure, label in (("fps", "frames a second, all sessions"), ("MB", "peak MB, all sessions")):
        canvas, axes = plt.subplots(figsize=(8, 5))
        lines(axes, rows, lambda row: row["sessions"], figure, label)
        axes.set_xscale("log", base=2)
        axes.set_xticks(sorted({row["sessions"] for row in rows}))
        axes.get_xaxis().set_major_formatter(matplotlib.ticker.ScalarFormatter())
        axes.set_xlabel("sessions of 1080p25: ours in one process, ffmpeg a process each")
        axes.legend(fontsize=7, ncol=2)
        save(canvas, folder, "sessions_" + figure.lower())


def draw_rasters(rows, folder):
    names = list(dict.fromkeys(row["raster"] for row in rows))
    canvas, both = plt.subplots(1, 2, figsize=(11, 5), sharey=True)
    for axes, cores in zip(both, (1, 0)):
        lines(axes, [row for row in rows if row["cores"] == cores],
              lambda row: names.index(row["raster"]), "fps", "frames a second")
        axes.set_xticks(range(len(names)), names)
        axes.set_title("one core" if cores == 1 else "all cores")
    both[0].legend(fontsize=7, ncol=2)
    save(canvas, folder, "rasters")


def draw_kernels(rows, folder):
    copies = {row["row"]: row["ms"][0] for row in rows if row["who"] == "memcpy"}
    own = [row for row in rows if row["who"] == "xv" and row["row"] in copies]
    canvas, axes = plt.subplots(figsize=(8, 0.28 * len(own) + 1.2))
    axes.barh([row["row"] for row in own], [row["ms"][0] / copies[row["row"]] for row in own])
    axes.axvline(1, color="black", linewidth=0.8)
    axes.set_xlabel("time of memcpy's (one thread, 1920x1080, cold)")
    axes.invert_yaxis()
    save(canvas, folder, "kernels")


def draw(data, folder):
    draw_sessions(data["sessions"], folder)
    draw_rasters(data["rasters"], folder)
    draw_kernels(data["kernels"], folder)
