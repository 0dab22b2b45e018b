#!/usr/bin/python3
"""Plots one lobe from the data kestrel-lobe measured: DATA.json OUTDIR.

Writes three figures beside each other in OUTDIR, named after the data file:
  <name>-hemisphere.png  reflectance x cosine over each hemisphere (an equal-area map) beside the
                         histogram of sampleBsdf's directions and the density it reports;
  <name>-slice.png       reflectance x cosine per channel in the plane of incidence (polar);
  <name>-albedo.png      albedo against the incident angle per channel.
"""
import json
import math
import os
import sys
import textwrap

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402
from matplotlib.colors import LogNorm  # noqa: E402

CHANNELS = (("red", "tab:red"), ("green", "tab:green"), ("blue", "tab:blue"))


def grid(values, resolution):
    """A flat row-major list (null outside the disk) as a masked image."""
    a = np.array([np.nan if v is None else v for v in values], dtype=float).reshape(resolution, resolution)
    return np.ma.masked_invalid(a)


def delta_markers(ax, deltas, side):
    """Delta lobes as crosses at their direction's place in the equal-area map."""
    for d in deltas:
        x, y, z = d["direction"]
        if (z >= 0) != (side == "upper"):
            continue
        h = math.hypot(x, y)
        s = math.sqrt(max(0.0, 1.0 - abs(z)))
        px, py = (x / h * s, y / h * s) if h > 0 else (0.0, 0.0)
        ax.plot(px, py, "X", color="deepskyblue", markeredgecolor="black", markersize=11)
        ax.annotate("δ lobe %d: %.3g of draws" % (d["code"], d["share"]), (px, py), color="black", fontsize=7,
                    xytext=(6, 6), textcoords="offset points",
                    bbox=dict(boxstyle="round,pad=0.2", facecolor="white", alpha=0.8, linewidth=0))


def hemisphere_figure(data, path):
    maps = data["maps"]
    n = maps["resolution"]
    sides = ["upper"]
    lower = maps["lower"]
    def positive(values):
        return any(v is not None and v > 0 for v in values)

    if positive(lower["reflectance"]) or positive(lower["histogram"]) or any(d["direction"][2] < 0 for d in maps["deltas"]):
        sides.append("lower")
    fig, axes = plt.subplots(len(sides), 3, figsize=(15, 4.8 * len(sides)), squeeze=False)
    for row, side in enumerate(sides):
        m = maps[side]
        reflectance = grid(m["reflectance"], n)
        histogram = grid(m["histogram"], n)
        density = grid(m["density"], n)
        positive = np.concatenate([histogram.compressed(), density.compressed()])
        positive = positive[positive > 0]
        norm = LogNorm(vmin=max(positive.min(), positive.max() * 1e-4), vmax=positive.max()) if positive.size else None
        extent = (-1, 1, -1, 1)
        name = "reflected (upper)" if side == "upper" else "transmitted (lower)"
        values = reflectance.compressed()
        values = values[values > 0]
        logarithmic = LogNorm(vmin=max(values.min(), values.max() * 1e-4), vmax=values.max()) if values.size else None
        panels = [
            (reflectance, logarithmic, "evaluateBsdf: value × cos (mean of r, g, b)", "value × cos [1/sr]"),
            (histogram, norm, "sampleBsdf: density of the drawn directions", "draws per steradian / draws"),
            (density, norm, "sampleBsdf: density it reports (mean per pixel)", "1 / samplePdf [1/sr]"),
        ]
        for col, (image, scale, title, label) in enumerate(panels):
            ax = axes[row][col]
            if col == 0 and not data["evaluates"]:
                ax.text(0.5, 0.5, "no evaluateBsdf", ha="center", va="center", transform=ax.transAxes)
                ax.set_axis_off()
                continue
            shown = np.ma.masked_where(image <= 0, image)
            if col > 0 and shown.count() == 0:
                ax.text(0, -0.9, "no continuous lobe here", ha="center", fontsize=8, color="grey")
            im = ax.imshow(shown, origin="lower", extent=extent, norm=scale, cmap="magma", interpolation="nearest")
            fig.colorbar(im, ax=ax, label=label, shrink=0.85)
            if col > 0:
                delta_markers(ax, maps["deltas"], side)
            ax.add_patch(plt.Circle((0, 0), 1, fill=False, color="grey", linewidth=0.8))
            ax.set_title("%s\n%s hemisphere" % (title, name), fontsize=9)
            ax.set_xlabel("x (tangent), equal-area")
            ax.set_ylabel("y (bitangent), equal-area")
            ax.set_aspect("equal")
    fig.suptitle(title_of(data, 150), fontsize=10)
    fig.tight_layout()
    fig.savefig(path, dpi=90)
    plt.close(fig)


def title_of(data, width=100):
    """Class, parameter set and incident direction, wrapped to the figure's width."""
    parameters = ", ".join("%s=%s" % (k, json.dumps(v)) for k, v in data["parameters"].items())
    head = "%s, %s parameters, incident θ=%g°, φ=%g°" % (data["class"], data["set"], data["theta"], data["phi"])
    return head + ("\n" + textwrap.fill(parameters, width) if parameters else "")


def slice_figure(data, path):
    s = data["slice"]
    fig = plt.figure(figsize=(7.5, 7.5))
    ax = fig.add_subplot(projection="polar")
    if not s["angles"]:
        ax.set_title("no evaluateBsdf")
    else:
        angles = np.radians(np.array(s["angles"]))
        rgb = np.array([[np.nan if v is None else v for v in c] for c in s["rgb"]], dtype=float)
        # A polar radius cannot go below zero: negative values are drawn at zero and named.
        for k, (name, colour) in enumerate(CHANNELS):
            ax.plot(angles, np.maximum(rgb[:, k], 0.0), color=colour, label=name, linewidth=1.2)
        ax.set_rmin(0.0)
        if np.nanmin(rgb) < 0:
            ax.text(0.5, -0.12, "negative values (drawn at 0) down to %.3g" % np.nanmin(rgb), transform=ax.transAxes,
                    ha="center", fontsize=8, color="firebrick")
        ax.set_theta_zero_location("N")
        ax.set_theta_direction(-1)
        incident = math.radians(data["theta"])
        ax.annotate("", xy=(incident, 0), xytext=(incident, ax.get_rmax()),
                    arrowprops=dict(arrowstyle="->", color="black", linewidth=1))
        ax.text(incident, ax.get_rmax() * 1.02, "incident", fontsize=8, ha="center")
        ax.set_xlabel("outgoing angle from the normal (positive: towards the incident side)")
        ax.legend(loc="lower left", fontsize=8)
    ax.set_title("evaluateBsdf value × cos in the plane of incidence\n" + title_of(data, 70), fontsize=8)
    fig.tight_layout()
    fig.savefig(path, dpi=90)
    plt.close(fig)


def albedo_figure(data, path):
    a = data["albedo"]
    theta = np.array(a["theta"], dtype=float)
    mean = np.array(a["mean"], dtype=float)
    error = np.array(a["error"], dtype=float)
    quadrature = np.array(a["quadrature"], dtype=float)
    fig, ax = plt.subplots(figsize=(8, 5))
    for k, (name, colour) in enumerate(CHANNELS):
        ax.errorbar(theta, mean[:, k], yerr=error[:, k], color=colour, label="%s, sampleBsdf (mean throughput)" % name,
                    linewidth=1.2, capsize=2)
        if a["evaluates"]:
            ax.plot(theta, quadrature[:, k], color=colour, linestyle="--", linewidth=1,
                    label="%s, evaluateBsdf (∫ value × cos)" % name)
    ax.axhline(1.0, color="grey", linewidth=0.8, linestyle=":")
    ax.set_xlabel("incident angle θ from the normal [degrees]")
    ax.set_ylabel("directional albedo")
    ax.set_xlim(0, 90)
    ax.set_ylim(bottom=0)
    ax.legend(fontsize=7, ncol=2)
    ax.set_title("Albedo against incident angle\n" + title_of(data, 90), fontsize=8)
    fig.tight_layout()
    fig.savefig(path, dpi=90)
    plt.close(fig)


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: plot_lobe.py DATA.json OUTDIR")
    with open(sys.argv[1]) as f:
        data = json.load(f)
    base = os.path.join(sys.argv[2], os.path.splitext(os.path.basename(sys.argv[1]))[0])
    hemisphere_figure(data, base + "-hemisphere.png")
    slice_figure(data, base + "-slice.png")
    albedo_figure(data, base + "-albedo.png")


if __name__ == "__main__":
    main()
