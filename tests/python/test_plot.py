"""The overview picture, drawn headless, and python -m vq_corelog overview."""

import os
import subprocess
import sys

import pytest

import vq_corelog as vq

matplotlib = pytest.importorskip("matplotlib")
matplotlib.use("Agg")
from vq_corelog.plot import TITLES, overview  # noqa: E402

PNG = b"\x89PNG\r\n\x1a\n"


def drew(ax):
    """What an axes drew: lines with points, patches (blinks, bars), meshes, collections."""
    lines = sum(len(line.get_xdata()) for line in ax.get_lines())
    return lines + len(ax.patches) + len(ax.collections) + len(ax.images)


def test_overview_holds_every_panel_with_data(demo, tmp_path):
    fig = overview(vq.read(demo))
    axes = fig.get_axes()
    assert tuple(ax.get_title(loc="left") for ax in axes[:len(TITLES)]) == TITLES
    empty = [ax.get_title(loc="left") for ax in axes[:len(TITLES)] if not drew(ax)]
    assert empty == []
    assert len(axes) == len(TITLES) + 1  # and the heat map's colour bar
    kinds = axes[TITLES.index("Continuity: kinds present and gaps")]
    assert [t.get_text() for t in kinds.get_yticklabels()][:2] == ["timing", "head"]
    fig.savefig(tmp_path / "o.png", dpi=40)
    assert (tmp_path / "o.png").read_bytes().startswith(PNG)


def test_overview_of_a_recording_of_timing_only(demo):
    fig = overview(vq.read(demo, kinds=["Timing"]))
    texts = [t.get_text() for ax in fig.get_axes() for t in ax.texts]
    assert "no records" in texts and "no gaze target" in texts


@pytest.mark.parametrize("args, code, stream, text", [
    (["REC", "-o", "OUT/x.png"], 0, "stdout", "x.png"),
    (["OUT/missing", "-o", "OUT/y.png"], 1, "stderr", "no such file or directory"),
    (["REC", "-o", "OUT/no/dir/z.png"], 1, "stderr", "/no/dir: no such directory"),
])
def test_command(demo, tmp_path, args, code, stream, text):
    args = [a.replace("REC", str(demo)).replace("OUT", str(tmp_path)) for a in args]
    done = subprocess.run([sys.executable, "-m", "vq_corelog", "overview", *args],
                          capture_output=True, text=True, timeout=120,
                          env={**os.environ, "MPLBACKEND": "Agg"})
    assert done.returncode == code, done.stderr
    assert text in getattr(done, stream)
    if code == 0:
        assert (tmp_path / text).stat().st_size > 1000
