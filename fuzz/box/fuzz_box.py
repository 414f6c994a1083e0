#!/usr/bin/env python3
"""Plays mutated items in the box; see README.md in this folder.

usage: scripts/fuzz --box [--seed N] [--items N] [--limit S] [--build FOLDER] [--replay FINDING]
"""

import argparse
import contextlib
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(TOP, "bench"))

from players import Box, Failure, build_release, serve  # noqa: E402
from mutation import mutate_bytes, mutate_text  # noqa: E402

PLACE = os.path.join(TOP, "build/fuzz")
MEDIA = os.path.join(PLACE, "box-media")
FINDINGS = os.path.join(PLACE, "findings/box")
GOOD = "good/main.mp4"
MANIFESTS = (".m3u8", ".mpd")
TEXTS = (*MANIFESTS, ".vtt", ".srt", ".ass", ".ttml")
# Seconds that an item plays.
PLAYS = 0.5
DEATH = re.compile(r"The media process \d+ .*")

VIDEO = ["-map", "0", "-map", "1", "-c:v", "libx264", "-preset", "ultrafast", "-g", "10", "-c:a", "aac"]
TEXT = ["-map", "2", "-c:s", "srt"]
# Folder, file, options of ffmpeg. Input 0 is a picture, 1 a tone, 2 a text.
ITEMS = [
    ("good", "main.mp4", VIDEO),
    ("mp4", "main.mp4", [*VIDEO, "-movflags", "faststart"]),
    ("fragments", "main.mp4", [*VIDEO, "-movflags", "frag_keyframe+empty_moov"]),
    ("mkv", "main.mkv", [*VIDEO, *TEXT]),
    ("webm", "main.webm", ["-map", "0", "-map", "1", "-c:v", "libvpx", "-c:a", "libopus"]),
    ("ts", "main.ts", VIDEO),
    ("avi", "main.avi", ["-map", "0", "-map", "1", "-c:v", "mpeg4", "-c:a", "mp3"]),
    ("flv", "main.flv", [*VIDEO]),
    ("ogg", "main.ogg", ["-map", "1", "-c:a", "libvorbis"]),
    ("mp3", "main.mp3", ["-map", "1", "-c:a", "libmp3lame", "-metadata", "title=Tone"]),
    ("flac", "main.flac", ["-map", "1"]),
    ("wav", "main.wav", ["-map", "1"]),
    ("hls", "main.m3u8", [*VIDEO, "-f", "hls", "-hls_time", "1", "-hls_playlist_type", "vod"]),
    ("hls-mp4", "main.m3u8", [*VIDEO, "-f", "hls", "-hls_time", "1", "-hls_playlist_type", "vod",
                              "-hls_segment_type", "fmp4"]),
    ("hls-variants", "main.m3u8", [*VIDEO, "-f", "hls", "-hls_time", "1", "-hls_playlist_type", "vod",
                                   "-master_pl_name", "main.m3u8", "-hls_segment_filename", "DIR/s%v-%d.ts",
                                   "-var_stream_map", "v:0,a:0"]),
    ("dash", "main.mpd", [*VIDEO, "-f", "dash", "-seg_duration", "1"]),
    ("dash-file", "main.mpd", [*VIDEO, "-f", "dash", "-seg_duration", "1", "-single_file", "1"]),
]


def make_media():
    for name, file, options in ITEMS:
        folder = os.path.join(MEDIA, name)
        if os.path.exists(os.path.join(folder, file)):
            continue
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)
        text = os.path.join(folder, "text.srt")
        with open(text, "w", encoding="utf-8") as output:
            output.write("1\n00:00:00,000 --> 00:00:02,000\n<i>Hello</i>\n")
        main = "list%v.m3u8" if name == "hls-variants" else file
        subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc=s=160x90:r=10:d=3", "-f", "lavfi",
                        "-i", "sine=d=3", "-i", text, *(each.replace("DIR", folder) for each in options),
                        os.path.join(folder, main)], check=True, cwd=folder)


def make_item(generator, folder):
    """Writes an item to the folder and returns what it is: the file that it begins with, and the changed file."""
    name, main, _ = generator.choice(ITEMS[1:])
    shutil.copytree(os.path.join(MEDIA, name), folder)
    files = sorted(file for file in os.listdir(folder) if file != "text.srt")
    manifests = [file for file in files if file.endswith(MANIFESTS)]
    # The manifest decides most.
    changed = generator.choice(manifests) if manifests and generator.randrange(3) else generator.choice(files)
    path = os.path.join(folder, changed)
    if changed.endswith(TEXTS) and generator.randrange(4):
        with open(path, encoding="utf-8") as file:
            text = mutate_text(file.read(), generator)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
    else:
        with open(path, "rb") as file:
            content = mutate_bytes(file.read(), generator)
        with open(path, "wb") as file:
            file.write(content)
    return name, main, changed


def may_wait(folder):
    """Whether a manifest of the item says that it may still change."""
    for file in os.listdir(folder):
        if not file.endswith(MANIFESTS):
            continue
        with open(os.path.join(folder, file), encoding="utf-8", errors="replace") as manifest:
            text = manifest.read()
        if "#EXTINF" in text and "#EXT-X-ENDLIST" not in text or 'type="static"' not in text and "<MPD" in text:
            return True
    return False


class Trial:
    """A box that plays items, and is started again after a finding."""

    def __init__(self, programs, folder, stack, limit):
        self.start = lambda: Box(programs, folder, stack, limit, "--log-component", "TVVLMedia=5")
        self.box = self.start()
        self.limit = limit

    def restart(self):
        self.box.end()
        self.box = self.start()

    def play(self, url, generator=None):
        """Returns "plays", "fails" or "waits". Raises Failure."""
        box = self.box
        start = os.path.getsize(box.log)

        def logged(word):
            return f"TVVLMedia : {word}" in box.log_text(start)

        if box.control("play", url, "--param", "actionAtItemEnd=1") is None:
            return "fails"
        deadline = time.monotonic() + self.limit
        while not logged("Failed") and not logged("Playing"):
            box.status()  # raises Failure if the box has ended or hangs
            if time.monotonic() > deadline:
                box.stop()
                return "waits"
            time.sleep(0.02)
        if generator and not logged("Failed"):
            time.sleep(PLAYS)
            if generator.randrange(2):
                box.control("seek", str(generator.choice((0, 1.5, 2.9, 100))))
                time.sleep(PLAYS)
        result = "fails" if logged("Failed") else "plays"
        box.stop()
        if deaths := DEATH.findall(box.log_text(start)):
            raise Failure("; ".join(deaths))
        return result


def keep(finding, folder, trial, number, name):
    """Keeps the files of a finding."""
    place = os.path.join(FINDINGS, name)
    shutil.rmtree(place, ignore_errors=True)
    os.makedirs(FINDINGS, exist_ok=True)
    shutil.copytree(folder, place)
    with open(os.path.join(place, "finding.txt"), "w", encoding="utf-8") as file:
        file.write(f"{number}: {finding}\n\n{trial.box.log_text()[-20000:]}")
    print(f"item {number}: {finding}\n  {place}", flush=True)


def try_item(trial, item_url, good_url, folder, generator):
    """Returns the result of an item, and a finding or None."""
    try:
        result = trial.play(item_url, generator)
    except Failure as failure:
        return "findings", str(failure)
    if result == "waits" and not may_wait(folder):
        return result, "neither plays nor fails"
    try:
        if trial.play(good_url) != "plays":
            return result, "the next item does not play"
    except Failure as failure:
        return result, f"the next item: {failure}"
    return result, None


def main():
    parser = argparse.ArgumentParser(prog="scripts/fuzz --box", description=__doc__.splitlines()[0])
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--items", type=int, default=100)
    parser.add_argument("--limit", type=float, default=45, help="seconds for each wait; default: %(default)s")
    parser.add_argument("--build", help="a build folder with the programs; default: builds the preset release")
    parser.add_argument("--replay", metavar="FINDING", help="plays a finding again")
    options = parser.parse_args()
    if not options.build:
        subprocess.run([os.path.join(TOP, "scripts/setup"), "build", "run", "fuzz"], check=True)
        build_release(os.path.join(TOP, "build/release"), "tvvorlane", "vorlanectl")
    programs = os.path.join(options.build or os.path.join(TOP, "build/release"), "bin")
    make_media()
    counts = {"plays": 0, "fails": 0, "waits": 0, "findings": 0}
    failed = 0
    with contextlib.ExitStack() as stack:
        folder = stack.enter_context(tempfile.TemporaryDirectory())
        served = os.path.join(folder, "served")
        shutil.copytree(os.path.join(MEDIA, "good"), os.path.join(served, "good"))
        base = serve(served, stack)
        trial = Trial(programs, folder, stack, options.limit)
        for number in range(1 if options.replay else options.items):
            generator = random.Random(f"{options.seed} {number}")
            # A new name, so that nothing is cached.
            item = os.path.join(served, str(number))
            if options.replay:
                shutil.copytree(options.replay, item)
                main = next(file for file in sorted(os.listdir(item)) if file.startswith("main."))
                what = options.replay
            else:
                name, main, changed = make_item(generator, item)
                what = f"{name}, {changed} changed"
            result, finding = try_item(trial, f"{base}{number}/{main}", base + GOOD, item, generator)
            counts[result] += 1
            if finding:
                failed += 1
                keep(finding, item, trial, f"{number} ({what})", f"{options.seed}-{number}")
                trial.restart()
            shutil.rmtree(item)
    total = sum(counts.values())
    print(", ".join(f"{count} {result}" for result, count in counts.items()))
    print(f"{total - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
