"""A recording at a glance: one matplotlib figure of its head, eyes, gaze and continuity.

    >>> import vq_corelog, vq_corelog.plot
    >>> fig = vq_corelog.plot.overview(vq_corelog.read("recording/"))
    >>> fig.savefig("overview.png")

The figure is made without pyplot, so it needs no display and leaves pyplot's state alone.
"""

from __future__ import annotations

import os
from typing import Union

import numpy as np

from ._recording import Recording, read

TITLES = ("Head position", "Head rotation", "Eyelid closure and blinks", "Pupil diameter",
          "Gaze on the screen", "Continuity: kinds present and gaps", "Processing delay")
"""The panels' titles, in the order of the figure's axes (a colour bar comes last)."""

# Per record kind, a column that is present exactly when the frame holds that kind.
KIND_COLUMNS = (
    ("timing", "time_s"), ("head", "head_position_x"), ("eyelids", "eyelid_right_closure"),
    ("pupils", "pupil_right_diameter"), ("gaze", "gaze_calibrated"),
    ("gaze target", "gaze_target_label"), ("GPS", "gps_valid"),
    ("inertia", "inertia_accel_x"),
)

_COLUMNS = ["frame_num", "time_s", "timing_approx_delay",
            "head_position_x", "head_position_y", "head_position_z",
            "head_rotation_x_rad", "head_rotation_y_rad", "head_rotation_z_rad",
            "eyelid_right_closure", "eyelid_left_closure", "blinking",
            "pupil_right_diameter", "pupil_left_diameter",
            "gaze_target_label", "gaze_target_pixel_x", "gaze_target_pixel_y",
            "gaze_target_plane_x", "gaze_target_plane_y",
            "gps_valid", "gaze_calibrated", "inertia_accel_x"]

_MAX_POINTS = 20000


def _spans(mask: np.ndarray):
    """(first, last) indices of each run of True in mask."""
    edges = np.diff(np.concatenate(([0], mask.astype(np.int8), [0])))
    return list(zip(np.flatnonzero(edges == 1), np.flatnonzero(edges == -1) - 1))


def _empty(ax, text: str) -> None:
    ax.text(0.5, 0.5, text, ha="center", va="center", transform=ax.transAxes, color="grey")


def _lines(ax, t, step, columns, labels, unit, data) -> None:
    drawn = False
    for column, label in zip(columns, labels):
        values = np.asarray(data[column], dtype=float)
        if np.isfinite(values).any():
            ax.plot(t[::step], values[::step], lw=0.8, label=label)
            drawn = True
    if drawn:
        ax.set_ylabel(unit)
        ax.legend(loc="upper right", fontsize="small", ncol=len(columns))
    else:
        _empty(ax, "no records")


def overview(recording: Union[Recording, str, os.PathLike], bins: int = 64):
    """The recording's overview as a matplotlib Figure.

    Panels, in order (:data:`TITLES`): head position x, y, z and rotation x, y, z over time;
    both eyelids' closure with blinks shaded; both pupils' diameter; a heat map of the gaze
    target's pixels (plane coordinates where there are no pixels), ``bins`` cells a side;
    which record kinds each frame holds, with gaps in the frame numbers marked; the frames'
    processing delay. Time is time_s, or the frame number where no frame is timed. Lines draw
    at most 20,000 points each (every n-th frame); blinks, gaps and the heat map use every
    frame.
    """
    from matplotlib.figure import Figure

    if not isinstance(recording, Recording):
        recording = read(recording)
    data = recording.to_pandas(_COLUMNS)
    frames = len(data)
    nums = data["frame_num"].to_numpy().astype(np.int64)
    time = data["time_s"].to_numpy(dtype=float)
    timed = np.isfinite(time).any()
    t = time if timed else nums.astype(float)
    xlabel = "time_s (s)" if timed else "frame number"
    step = max(1, frames // _MAX_POINTS)

    fig = Figure(figsize=(12, 13), layout="constrained")
    grid = fig.add_gridspec(5, 2, height_ratios=(1, 1, 1, 1, 1.1))
    axes = [fig.add_subplot(grid[0, :]), None, None, None, None, None, None]
    axes[1] = fig.add_subplot(grid[1, :], sharex=axes[0])
    axes[2] = fig.add_subplot(grid[2, 0], sharex=axes[0])
    axes[3] = fig.add_subplot(grid[2, 1], sharex=axes[0])
    axes[4] = fig.add_subplot(grid[3:, 1])
    axes[5] = fig.add_subplot(grid[3, 0], sharex=axes[0])
    axes[6] = fig.add_subplot(grid[4, 0], sharex=axes[0])
    for ax, title in zip(axes, TITLES):
        ax.set_title(title, fontsize="medium", loc="left")
    fig.suptitle(f"{os.path.basename(os.path.normpath(recording.path))}: {frames} frames",
                 fontsize="large")

    _lines(axes[0], t, step, ["head_position_x", "head_position_y", "head_position_z"],
           ["x", "y", "z"], "engine unit", data)
    _lines(axes[1], t, step, ["head_rotation_x_rad", "head_rotation_y_rad",
                              "head_rotation_z_rad"], ["x", "y", "z"], "rad", data)

    _lines(axes[2], t, step, ["eyelid_right_closure", "eyelid_left_closure"],
           ["right", "left"], "closure (0 open, 1 closed)", data)
    blinking = data["blinking"].fillna(False).to_numpy(dtype=bool)
    blinks = _spans(blinking)
    for first, last in blinks:
        axes[2].axvspan(t[first], t[last], color="tab:red", alpha=0.25, lw=0)
    if blinks:
        axes[2].text(0.01, 0.95, f"{len(blinks)} blinks (shaded)", transform=axes[2].transAxes,
                     va="top", fontsize="small", color="tab:red")

    _lines(axes[3], t, step, ["pupil_right_diameter", "pupil_left_diameter"],
           ["right", "left"], "diameter (engine unit)", data)

    heat = axes[4]
    x = data["gaze_target_pixel_x"].astype("float64").to_numpy(na_value=np.nan)
    y = data["gaze_target_pixel_y"].astype("float64").to_numpy(na_value=np.nan)
    unit = "px"
    if not np.isfinite(x).any():
        x = data["gaze_target_plane_x"].to_numpy(dtype=float)
        y = data["gaze_target_plane_y"].to_numpy(dtype=float)
        unit = "plane, engine unit"
    keep = np.isfinite(x) & np.isfinite(y)
    if keep.any():
        counts, xedges, yedges = np.histogram2d(x[keep], y[keep], bins=bins)
        image = heat.pcolormesh(xedges, yedges, counts.T, cmap="inferno")
        if unit == "px":
            heat.invert_yaxis()
        heat.set_xlabel(f"x ({unit})")
        heat.set_ylabel(f"y ({unit})")
        heat.set_aspect("equal", adjustable="box")
        fig.colorbar(image, ax=heat, label="frames", shrink=0.8)
    else:
        _empty(heat, "no gaze target")

    kinds = axes[5]
    for row, (label, column) in enumerate(KIND_COLUMNS):
        present = data[column].notna().to_numpy()
        bars = [(t[a], max(t[b] - t[a], 0) or 1e-9) for a, b in _spans(present)]
        kinds.broken_barh(bars, (row - 0.4, 0.8), color=f"C{row % 10}")
    kinds.set_yticks(range(len(KIND_COLUMNS)), [label for label, _ in KIND_COLUMNS],
                     fontsize="small")
    kinds.set_ylim(-0.6, len(KIND_COLUMNS) - 0.4)
    gaps = np.flatnonzero(np.diff(nums) > 1)
    for index in gaps:
        kinds.axvline(t[index], color="black", lw=0.6, alpha=0.6)
    missing = int((np.diff(nums) - 1).clip(0).sum()) if frames > 1 else 0
    kinds.set_title(f"{len(gaps)} gaps (lines), {missing} frames missing", loc="right",
                    fontsize="small")
    if frames == 0:
        _empty(kinds, "no frames")

    _lines(axes[6], t, step, ["timing_approx_delay"], ["approx_delay"], "s", data)
    axes[6].set_xlabel(xlabel)
    axes[3].set_xlabel(xlabel)
    for ax in axes[:3]:
        ax.tick_params(labelbottom=False)
    return fig
