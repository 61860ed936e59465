"""python -m vq_corelog overview REC -o overview.png: a recording's overview picture."""

import argparse
import sys
from typing import List, Optional


def main(argv: Optional[List[str]] = None) -> int:
    parser = argparse.ArgumentParser(prog="python -m vq_corelog",
                                     description="Tools of the vq_corelog package.")
    commands = parser.add_subparsers(dest="command", required=True)
    overview = commands.add_parser(
        "overview", help="draw a recording's overview: head, eyes, gaze, continuity")
    overview.add_argument("recording", help="a per-kind directory or a single log file")
    overview.add_argument("-o", "--output", default="overview.png",
                          help="the picture to write; its extension picks the format "
                               "(png, svg, pdf); default overview.png")
    overview.add_argument("--dpi", type=int, default=100, help="dots per inch (default 100)")
    overview.add_argument("--start", type=float, help="first time_s to draw, in seconds")
    overview.add_argument("--end", type=float, help="last time_s to draw, in seconds")
    args = parser.parse_args(argv)

    import os

    from . import Error, read

    folder = os.path.dirname(args.output) or "."
    if not os.path.isdir(folder):  # before the drawing, which takes a while
        print(f"python -m vq_corelog overview: {folder}: no such directory", file=sys.stderr)
        return 1
    from .plot import overview as draw

    try:
        figure = draw(read(args.recording, start=args.start, end=args.end))
        figure.savefig(args.output, dpi=args.dpi)
    except (Error, OSError, ValueError) as error:
        print(f"python -m vq_corelog overview: {error}", file=sys.stderr)
        return 1
    print(args.output)
    return 0


if __name__ == "__main__":
    sys.exit(main())
