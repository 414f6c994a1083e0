"""The encoded segments of the presentations. ffmpeg encodes and cuts them; this module splits and joins MP4 files.

The media are 3 seconds long with segments of about 1 second, 25 frames per second, 320x180 unless noted otherwise.
"""

import os
import struct
import subprocess

from encrypt_mp4 import box, boxes, find, full_box

SECONDS = 3
LIVE_SECONDS = 8
LIVE_PARTS = 5  # in each second
CLOCK = 90000  # ticks per second in transport streams and ID3 timestamps
# The CODECS attribute in manifests and playlists.
CODECS = {"v": "avc1.42c00d", "w": "avc1.42c00b", "x": "avc1.42c00d", "m": "avc1.42c00d", "a": "mp4a.40.2",
          "b": "mp4a.40.2", "h": "hvc1.1.6.L60.90", "ac3": "ac-3", "eac3": "ec-3", "opus": "opus"}

PICTURE = "-f lavfi -i testsrc=size={size}:rate=25:duration={seconds}"
TONE = "-f lavfi -i sine=frequency={pitch}:sample_rate=48000:duration={seconds}"
H264 = "-c:v libx264 -preset ultrafast -profile:v baseline -pix_fmt yuv420p -g 25 -sc_threshold 0"
FRAGMENTS = "-movflags frag_keyframe+empty_moov+default_base_moof"
SOUND_FRAGMENTS = "-movflags empty_moov+delay_moov+default_base_moof -frag_duration 1000000 -strict -2"


def ffmpeg(*parts):
    subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-y", *" ".join(parts).split()], check=True)


def encode(folder):
    """Encodes everything with one run of ffmpeg, then remuxes without encoding."""
    at = lambda name: os.path.join(folder, name)
    ffmpeg(PICTURE.format(size="320x180", seconds=SECONDS), PICTURE.format(size="160x90", seconds=SECONDS),
           PICTURE.format(size="320x180", seconds=LIVE_SECONDS).replace("testsrc", "testsrc2"),
           TONE.format(pitch=440, seconds=SECONDS), TONE.format(pitch=880, seconds=SECONDS),
           TONE.format(pitch=660, seconds=LIVE_SECONDS),
           "-map 0", H264, FRAGMENTS, at("v.mp4"),
           "-map 1", H264, FRAGMENTS, at("w.mp4"),
           "-map 2 -t", str(SECONDS), H264, FRAGMENTS, at("x.mp4"),
           "-map 0 -c:v libx265 -preset ultrafast -tag:v hvc1 -pix_fmt yuv420p",
           "-x265-params log-level=error:keyint=25:min-keyint=25:scenecut=0:bframes=0", FRAGMENTS, at("h.mp4"),
           "-map 0 -c:v libx264 -preset veryfast -bf 2 -g 25 -sc_threshold 0 -pix_fmt yuv420p -map 3 -c:a aac",
           at("av.mp4"),
           "-map 0 -c:v libvpx -b:v 300k -deadline realtime -cpu-used 8 -g 25 -f webm -cues_to_front 1",
           at("vp8.webm"),
           *(f"-map 3 -c:a {codec} {SOUND_FRAGMENTS} {at(name)}"
             for name, codec in (("a.mp4", "aac"), ("ac3.mp4", "ac3"), ("eac3.mp4", "eac3"), ("opus.mp4", "libopus"))),
           "-map 3 -c:a libopus", at("sound.webm"),
           "-map 3 -c:a libmp3lame", at("sound.mp3"),
           f"-map 4 -c:a aac {SOUND_FRAGMENTS} {at('b.mp4')}",
           # For live presentations: each fragment of 0.2 s is a part.
           "-map 2", H264, "-map 5 -c:a aac -movflags empty_moov+delay_moov+default_base_moof -frag_duration 200000",
           at("live.mp4"))
    ffmpeg("-i", at("live.mp4"), "-map 0:v -c copy", FRAGMENTS, at("picture_live.mp4"), "-map 0:a -c copy",
           SOUND_FRAGMENTS, at("sound_live.mp4"))
    transport = "-c copy -f segment -segment_time 1 -segment_format mpegts -muxdelay 0 -muxpreload 0"
    ffmpeg("-i", at("av.mp4"), "-i", at("v.mp4"),
           "-map 0", transport, at("ts_%d.ts"),
           "-map 0", transport, "-output_ts_offset 1000", at("later_%d.ts"),
           "-map 1", transport, at("picture_%d.ts"),
           "-map 1", transport, "-output_ts_offset 60", at("minute_%d.ts"),
           "-map 0 -c copy -movflags +faststart", at("whole.mp4"),
           "-map 0 -c copy -f segment -segment_time 1 -reset_timestamps 1 -segment_format mp4", at("whole_%d.mp4"),
           "-map 0 -c copy", FRAGMENTS, at("m.mp4"))
    for kind, source in (("aac", "a.mp4"), ("mp3", "sound.mp3"), ("ac3", "ac3.mp4"), ("eac3", "eac3.mp4")):
        form = "adts" if kind == "aac" else kind
        ffmpeg("-i", at(source), "-c copy -f segment -segment_time 1 -segment_list_type csv -segment_list",
               at(kind + ".csv"), "-segment_format", form, "-segment_format_options id3v2_version=0:write_xing=0" if form == "mp3"
               else "", at(f"packed_%d.{kind}"))
        stamp_packed(folder, kind)


def make_live_segments(folder):
    for name in ("picture_live", "sound_live"):
        Fragments(folder, name).write(folder)
    live = Fragments(folder, "live")
    write(folder, "live_init.mp4", live.header)
    for number in range(LIVE_SECONDS):
        parts = live.parts[number * LIVE_PARTS:(number + 1) * LIVE_PARTS]
        write(folder, f"live_{number}.m4s", b"".join(parts))
        for part, content in enumerate(parts):
            write(folder, f"live_{number}_{part}.m4s", content)


def stamp_packed(folder, kind):
    """Prepends the ID3 timestamp of packed audio to each segment."""
    with open(os.path.join(folder, kind + ".csv"), encoding="utf-8") as listed:
        rows = [line.strip().split(",") for line in listed]
    for name, start, _ in rows:
        path = os.path.join(folder, name)
        with open(path, "rb") as source:
            content = source.read()
        with open(path, "wb") as target:
            target.write(id3_time(float(start)) + content)


def id3_time(seconds):
    owner = b"com.apple.streaming.transportStreamTimestamp\0"
    frame = owner + struct.pack(">Q", round(max(0, seconds) * CLOCK))
    length = lambda size: bytes(size >> shift & 0x7F for shift in (21, 14, 7, 0))
    body = b"PRIV" + length(len(frame)) + b"\0\0" + frame
    return b"ID3\x04\0\0" + length(len(body)) + body


class Fragments:
    """The parts of a fragmented MP4 file: its header, and the fragments with start and duration in ticks."""

    def __init__(self, folder, name):
        with open(os.path.join(folder, name + ".mp4"), "rb") as source:
            content = source.read()
        self.name, self.header, self.parts = name, b"", []
        moof = None
        for kind, body in boxes(content):
            if kind in (b"ftyp", b"moov"):
                self.header += box(kind, body)
                if kind == b"moov":
                    self.scale = struct.unpack_from(">I", find(body, b"trak", b"mdia", b"mdhd")[0], 12)[0]
            elif kind == b"moof":
                moof = body
            elif kind == b"mdat":
                self.parts.append(box(b"moof", moof) + box(b"mdat", body))
        self.starts = [fragment_start(part) for part in self.parts]
        self.durations = [fragment_duration(part) for part in self.parts]

    def write(self, folder):
        """Writes NAME_init.mp4, NAME_0.m4s and so on."""
        write(folder, f"{self.name}_init.mp4", self.header)
        for number, part in enumerate(self.parts):
            write(folder, f"{self.name}_{number}.m4s", part)

    def timeline(self, first=0):
        return "".join(f'<S t="{start}" d="{length}"/>' for start, length in
                       list(zip(self.starts, self.durations))[first:])

    def ranges(self, before=0):
        at = len(self.header) + before
        for part in self.parts:
            yield at, at + len(part) - 1
            at += len(part)

    def index(self):
        """The sidx box of all fragments."""
        entries = b"".join(struct.pack(">III", len(part), length, 0x90000000)
                           for part, length in zip(self.parts, self.durations))
        return full_box(b"sidx", 0, struct.pack(">IIIIHH", 1, self.scale, self.starts[0], 0, 0, len(self.parts)),
                        entries)

    def write_indexed(self, folder, name):
        """Writes a file with an index. Returns the byte ranges of header and index in manifest syntax."""
        index = self.index()
        write(folder, name, self.header + index + b"".join(self.parts))
        end = len(self.header)
        return f"0-{end - 1}", f"{end}-{end + len(index) - 1}"


def first_track(part):
    return find(dict(boxes(part))[b"moof"], b"traf")[0]


def fragment_start(part):
    time = find(first_track(part), b"tfdt")[0]
    return struct.unpack_from(">Q" if time[0] == 1 else ">I", time, 4)[0]


def fragment_duration(part):
    track = first_track(part)
    header = find(track, b"tfhd")[0]
    flags = struct.unpack_from(">I", header)[0]
    at = 8 + (8 if flags & 1 else 0) + (4 if flags & 2 else 0)
    default = struct.unpack_from(">I", header, at)[0] if flags & 8 else 0
    total = 0
    for run in find(track, b"trun"):
        flags, count = struct.unpack_from(">II", run)
        at = 8 + (4 if flags & 1 else 0) + (4 if flags & 4 else 0)
        step = 4 * sum(1 for flag in (0x100, 0x200, 0x400, 0x800) if flags & flag)
        total += sum(struct.unpack_from(">I", run, at + step * sample)[0] for sample in range(count)) \
            if flags & 0x100 else default * count
    return total


def text_fragments(folder, name, entry, samples):
    """Writes a subtitle track: NAME_init.mp4, NAME_0.m4s and so on, with one sample of one second in each segment."""
    matrix = struct.pack(">9I", 0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000)
    moov = box(
        b"moov",
        full_box(b"mvhd", 0, struct.pack(">IIIII", 0, 0, 1000, 0, 0x10000), b"\1\0", bytes(10), matrix, bytes(24),
                 struct.pack(">I", 2)),
        box(b"trak",
            full_box(b"tkhd", 3, struct.pack(">IIIII", 0, 0, 1, 0, 0), bytes(16), matrix, bytes(8)),
            box(b"mdia",
                full_box(b"mdhd", 0, struct.pack(">IIIIHH", 0, 0, 1000, 0, 0x10B5, 0)),
                full_box(b"hdlr", 0, bytes(4), b"text" if entry == b"wvtt" else b"subt", bytes(12), b"texts\0"),
                box(b"minf", full_box(b"nmhd" if entry == b"wvtt" else b"sthd", 0),
                    box(b"dinf", full_box(b"dref", 0, struct.pack(">I", 1), full_box(b"url ", 1))),
                    box(b"stbl",
                        full_box(b"stsd", 0, struct.pack(">I", 1), box(
                            entry, bytes(6), b"\0\1", box(b"vttC", b"WEBVTT") if entry == b"wvtt"
                            else b"http://www.w3.org/ns/ttml\0\0\0")),
                        *(full_box(kind, 0, bytes(8 if kind == b"stsz" else 4))
                          for kind in (b"stts", b"stsc", b"stsz", b"stco")))))),
        box(b"mvex", full_box(b"trex", 0, struct.pack(">IIIII", 1, 1, 0, 0, 0))))
    write(folder, f"{name}_init.mp4", box(b"ftyp", b"iso6\0\0\0\0iso6dash") + moov)
    for number, sample in enumerate(samples):
        def fragment(offset):
            return box(b"moof", full_box(b"mfhd", 0, struct.pack(">I", number + 1)),
                       box(b"traf", full_box(b"tfhd", 0x20000, struct.pack(">I", 1)),
                           full_box(b"tfdt", 0, struct.pack(">I", 1000 * number)),
                           full_box(b"trun", 0x301, struct.pack(">IIII", 1, offset, 1000, len(sample)))))
        write(folder, f"{name}_{number}.m4s", fragment(len(fragment(0)) + 8) + box(b"mdat", sample))


def event_message(identifier):
    """An emsg box of version 0 with the start time of its segment."""
    return full_box(b"emsg", 0, b"urn:test\0one\0", struct.pack(">IIII", 1000, 0, 1000, identifier), b"data")


def write(folder, name, content):
    with open(os.path.join(folder, name), "wb") as target:
        target.write(content.encode() if isinstance(content, str) else content)


def read(folder, name):
    with open(os.path.join(folder, name), "rb") as source:
        return source.read()
