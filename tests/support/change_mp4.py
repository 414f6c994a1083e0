#!/usr/bin/env python3
"""Changes an MP4 or MOV file into one of a kind that ffmpeg does not write.

usage: change_mp4.py CHANGE IN OUT

  ipcm-BITS-ORDER, fpcm-BITS-ORDER
                     describes PCM as in ISO/IEC 23003-5; ORDER is le or be. "moov" of IN is last
  no-description     removes the sample entries of the audio; "moov" of IN is last
  metadata-track     makes a track of metadata of the text track; "moov" of IN is last
  sample-groups      adds sample groups of version 2 with entries of variable length to all
                     fragments; IN has -movflags default_base_moof
"""

import struct
import sys

from encrypt_mp4 import box, boxes, find, full_box, rewritten


def handler_of(track):
    return find(track, b"mdia", b"hdlr")[0][8:12]


def change_tracks(moov, handler, change):
    """`change` is that of rewritten(), for the tracks with this handler."""
    def change_track(kind, body):
        if kind != b"trak" or handler_of(body) != handler:
            return None
        return box(kind, b"".join(rewritten(*child, change) for child in boxes(body)))
    return rewritten(b"moov", moov, change_track)


def with_pcm(moov, kind, bits, order):
    def change(name, body):
        if name != b"stsd":
            return None
        # Six zeros and the data reference; the channels and the rate are copied.
        old = next(boxes(body[8:]))[1]
        version = struct.unpack_from(">H", old, 8)[0]
        channels = struct.unpack_from(">I" if version == 2 else ">H", old, 40 if version == 2 else 16)[0]
        rate = (int(struct.unpack_from(">d", old, 32)[0]) << 16 if version == 2 else
                struct.unpack_from(">I", old, 24)[0])
        entry = box(kind, old[:8], bytes(8), struct.pack(">HHIIH", channels, 16, 0, rate, 0)[:12],
                    full_box(b"pcmC", 0, bytes([order == b"le", bits])))
        return full_box(b"stsd", 0, struct.pack(">I", 1), entry)
    return change_tracks(moov, b"soun", change)


def without_description(moov):
    return change_tracks(moov, b"soun", lambda name, body: full_box(
        b"stsd", 0, struct.pack(">I", 0)) if name == b"stsd" else None)


def with_metadata(moov):
    def change(name, body):
        if name == b"hdlr":
            return box(name, body[:8], b"meta", body[12:])
        if name != b"stsd":
            return None
        return full_box(b"stsd", 0, struct.pack(">I", 1),
                        box(b"mett", body[16:24], b"\0", b"application/x-test\0"))
    return change_tracks(moov, b"sbtl", change)


def with_groups(moof):
    samples = {number: struct.unpack_from(">I", find(track, b"trun")[0], 4)[0]
               for number, track in enumerate(find(moof, b"traf"))}
    # Two descriptions of other lengths; half of the samples is in each group.
    descriptions = full_box(b"sgpd", 2 << 24, b"roll", struct.pack(">III", 0, 0, 2),
                            struct.pack(">IhIhH", 2, -1, 4, -2, 0))
    groups = [descriptions + full_box(
        b"sbgp", 0, b"roll", struct.pack(">IIIII", 2, count // 2, 0x10001, count - count // 2, 0x10002))
              for count in samples.values()]
    growth = sum(len(group) for group in groups)

    def shift(kind, body):
        if kind != b"trun":
            return None
        offset = struct.unpack_from(">i", body, 8)[0]
        return box(kind, body[:8], struct.pack(">i", offset + growth), body[12:])

    result, waiting = b"", iter(groups)
    for kind, body in boxes(moof):
        if kind == b"traf":
            body = b"".join(rewritten(*child, shift) for child in boxes(body)) + next(waiting)
        result += box(kind, body)
    return box(b"moof", result)


def main():
    change, source, target = sys.argv[1:]
    with open(source, "rb") as file:
        data = file.read()
    result = b""
    for kind, body in boxes(data):
        if kind == b"moov" and "pcm" in change:
            name, bits, order = change.encode().split(b"-")
            result += with_pcm(body, name, int(bits), order)
        elif kind == b"moov" and change == "no-description":
            result += without_description(body)
        elif kind == b"moov" and change == "metadata-track":
            result += with_metadata(body)
        elif kind == b"moof" and change == "sample-groups":
            result += with_groups(body)
        elif kind == b"mfra":
            pass  # its offsets would be wrong
        else:
            result += box(kind, body)
    with open(target, "wb") as file:
        file.write(result)


if __name__ == "__main__":
    main()
