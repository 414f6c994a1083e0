#!/usr/bin/env python3
"""Encrypts a fragmented MP4 file with Common Encryption, scheme `cenc` or `cbcs` (ISO/IEC 23001-7).

usage: encrypt_mp4.py --key HEX --kid HEX [--scheme NAME] [--mpd FILE] IN OUT

IN is written by ffmpeg with -movflags frag_keyframe+empty_moov+default_base_moof. The
beginning of each H.264 NAL unit stays clear; other samples are encrypted completely. The
output has the key identifier, but no initialization data of a DRM system.

  --mpd FILE  also writes a DASH manifest for OUT with the Clear Key system; OUT must have
              one track
"""

import argparse
import os
import struct
import subprocess

import block_cipher

CONTAINERS = {b"moov", b"trak", b"mdia", b"minf", b"stbl", b"moof", b"traf"}
# The offset of the child boxes in a sample entry.
ENTRY_HEADER = {b"avc1": 78, b"mp4a": 28}
ENCRYPTED_ENTRY = {b"avc1": b"encv", b"mp4a": b"enca"}
CLEAR_NAL_BYTES = 32
# `cbcs` encrypts one of ten blocks of video and every block of audio.
PATTERN = 10
CONSTANT_VECTOR = bytes(range(16))


def boxes(data):
    at = 0
    while at < len(data):
        size, kind = struct.unpack_from(">I4s", data, at)
        yield kind, bytes(data[at + 8:at + size])
        at += size


def box(kind, *parts):
    body = b"".join(parts)
    return struct.pack(">I4s", len(body) + 8, kind) + body


def full_box(kind, flags, *parts):
    return box(kind, struct.pack(">I", flags), *parts)


def rewritten(kind, body, change):
    """Rewrites a box recursively. `change` returns the new bytes, or None to process the children."""
    new = change(kind, body)
    if new is not None:
        return new
    if kind in CONTAINERS:
        body = b"".join(rewritten(*child, change) for child in boxes(body))
    return box(kind, body)


def find(data, *path):
    return [body for kind, body in boxes(data) if kind == path[0]] if len(path) == 1 else [
        found for kind, body in boxes(data) if kind == path[0] for found in find(body, *path[1:])]


def keystream(key, blocks):
    """Encrypts all counter blocks with one call of openssl."""
    return subprocess.run(["openssl", "enc", "-aes-128-ecb", "-nopad", "-K", key.hex()],
                          input=b"".join(blocks), stdout=subprocess.PIPE, check=True).stdout


class Encryption:
    def __init__(self, key, kid, scheme="cenc"):
        self.key, self.kid, self.scheme = key, kid, scheme.encode()
        self.video = set()  # track numbers
        self.samples = 0

    def protect_header(self, moov):
        for track in find(moov, b"trak"):
            number = struct.unpack_from(">I", find(track, b"tkhd")[0], 12)[0]
            if find(track, b"mdia", b"minf", b"stbl", b"stsd")[0][12:16] == b"avc1":
                self.video.add(number)
        return rewritten(b"moov", moov, self.protect_entries)

    def protect_entries(self, kind, body):
        if kind != b"stsd":
            return None
        entries = b"".join(self.protect_entry(*entry) for entry in boxes(body[8:]))
        return box(kind, body[:8], entries)

    def protect_entry(self, kind, body):
        if self.scheme == b"cbcs":
            pattern = b"\0\x19" if kind == b"avc1" else b"\0\0"
            defaults = full_box(b"tenc", 1 << 24, pattern, b"\1\0", self.kid, b"\x10", CONSTANT_VECTOR)
        else:
            defaults = full_box(b"tenc", 0, b"\0\0\1\x08", self.kid)
        scheme = box(b"sinf", box(b"frma", kind), full_box(b"schm", 0, self.scheme, b"\0\1\0\0"),
                     box(b"schi", defaults))
        return box(ENCRYPTED_ENTRY[kind], body, scheme)

    def protect_fragment(self, moof, mdat):
        """Returns both boxes encrypted. Offsets are relative to the beginning of the moof box."""
        mdat = bytearray(mdat)
        header = len(moof) + 16
        tables = [self.encrypt_track(track, mdat, header) for track in find(moof, b"traf")]
        growth = sum(len(table) for _, table in tables)

        def shift(kind, body):
            if kind != b"trun":
                return None
            offset = struct.unpack_from(">i", body, 8)[0]
            return box(kind, body[:8], struct.pack(">i", offset + growth), body[12:])

        result = b""
        waiting = iter(tables)
        for kind, body in boxes(moof):
            if kind != b"traf":
                result += box(kind, body)
                continue
            auxiliary_at, table = next(waiting)
            inner = b"".join(rewritten(*child, shift) for child in boxes(body))
            # The offset of the auxiliary data is known only here.
            where = struct.pack(">I", len(result) + 16 + len(inner) + auxiliary_at) if table else b""
            result += box(b"traf", inner, table[:16], where, table[20:])
        return box(b"moof", result), box(b"mdat", bytes(mdat))

    def encrypt_track(self, track, mdat, header):
        """Returns the offset of the auxiliary data in the boxes saio, saiz and senc, and the boxes."""
        number = struct.unpack_from(">I", find(track, b"tfhd")[0], 4)[0]
        is_video = number in self.video
        is_chained = self.scheme == b"cbcs"
        vectors, jobs, entries = [], [], []
        for at, size in spans(track):
            at -= header
            vector = struct.pack(">Q", self.samples)
            self.samples += 1
            parts = nal_parts(mdat[at:at + size]) if is_video else [(0, size)]
            entry = b"" if is_chained else vector
            if is_video:
                entry += struct.pack(">H", len(parts)) + b"".join(
                    struct.pack(">HI", *part) for part in parts)
            entries.append(entry)
            if is_chained:
                for clear, secret in parts:
                    self.encrypt_chain(mdat, at + clear, secret, PATTERN if is_video else 1)
                    at += clear + secret
                continue
            places = []
            for clear, secret in parts:
                places.append((at + clear, secret))
                at += clear + secret
            blocks = (sum(secret for _, secret in parts) + 15) // 16
            vectors += [vector + struct.pack(">Q", block) for block in range(blocks)]
            jobs.append((places, blocks * 16))
        stream, used = keystream(self.key, vectors), 0
        for places, length in jobs:
            at = used
            for place, size in places:
                for offset in range(size):
                    mdat[place + offset] ^= stream[at + offset]
                at += size
            used += length
        if is_chained and not is_video:
            return 0, b""  # the samples need no auxiliary data
        offsets = full_box(b"saio", 0, struct.pack(">II", 1, 0))
        sizes = full_box(b"saiz", 0, b"\0", struct.pack(">I", len(entries)),
                         bytes(len(entry) for entry in entries))
        table = full_box(b"senc", 2 if is_video else 0, struct.pack(">I", len(entries)), *entries)
        return len(offsets) + len(sizes) + 16, offsets + sizes + table

    def encrypt_chain(self, mdat, at, size, step):
        """Encrypts the first of each `step` whole blocks. The CBC chain skips the others."""
        places = range(at, at + size // 16 * 16, 16 * step)
        text = b"".join(mdat[place:place + 16] for place in places)
        if text:
            text = block_cipher.encrypt(self.key, CONSTANT_VECTOR, text)
        for number, place in enumerate(places):
            mdat[place:place + 16] = text[16 * number:16 * number + 16]


def spans(track):
    """The offset and size of each sample of a track fragment."""
    defaults = find(track, b"tfhd")[0]
    flags = struct.unpack_from(">I", defaults)[0]
    at = 8 + (8 if flags & 1 else 0) + (4 if flags & 2 else 0) + (4 if flags & 8 else 0)
    default_size = struct.unpack_from(">I", defaults, at)[0] if flags & 0x10 else None
    for run in find(track, b"trun"):
        flags, count, offset = struct.unpack_from(">IIi", run)
        at = 12 + (4 if flags & 4 else 0)
        fields = [flag for flag in (0x100, 0x200, 0x400, 0x800) if flags & flag]
        for _ in range(count):
            values = dict(zip(fields, struct.unpack_from(f">{len(fields)}I", run, at)))
            at += 4 * len(fields)
            size = values.get(0x200, default_size)
            yield offset, size
            offset += size


def nal_parts(sample):
    """The clear and encrypted lengths. Encrypted lengths are multiples of the block size."""
    parts, at = [], 0
    while at < len(sample):
        size = 4 + struct.unpack_from(">I", sample, at)[0]
        secret = max(0, size - CLEAR_NAL_BYTES) // 16 * 16
        parts.append((size - secret, secret))
        at += size
    return parts


def manifest(name, first_fragment, fragments, kid, is_video):
    uuid = "-".join(kid[a:b] for a, b in ((0, 8), (8, 12), (12, 16), (16, 20), (20, 32)))
    kind = ('mimeType="video/mp4" codecs="avc1.42c00d" width="320" height="180"' if is_video
            else 'mimeType="audio/mp4" codecs="mp4a.40.2"')
    segments = "\n".join(f'     <SegmentURL mediaRange="{first}-{last}"/>' for first, last in fragments)
    return f"""<?xml version="1.0"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" xmlns:cenc="urn:mpeg:cenc:2013" type="static"
     profiles="urn:mpeg:dash:profile:full:2011" minBufferTime="PT1S"
     mediaPresentationDuration="PT{len(fragments)}S">
 <Period>
  <AdaptationSet {kind} segmentAlignment="true">
   <ContentProtection schemeIdUri="urn:mpeg:dash:mp4protection:2011" value="cenc"
                      cenc:default_KID="{uuid}"/>
   <ContentProtection schemeIdUri="urn:uuid:e2719d58-a985-b3c9-781a-b030af78d30e"/>
   <Representation id="1" bandwidth="200000">
    <BaseURL>{name}</BaseURL>
    <SegmentList duration="1">
     <Initialization range="0-{first_fragment - 1}"/>
{segments}
    </SegmentList>
   </Representation>
  </AdaptationSet>
 </Period>
</MPD>
"""


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--key", type=bytes.fromhex, required=True)
    parser.add_argument("--kid", type=bytes.fromhex, required=True)
    parser.add_argument("--scheme", choices=("cenc", "cbcs"), default="cenc")
    parser.add_argument("--mpd")
    parser.add_argument("source")
    parser.add_argument("target")
    options = parser.parse_args()
    encryption = Encryption(options.key, options.kid, options.scheme)
    with open(options.source, "rb") as source:
        content = source.read()
    output, moof, fragments = b"", b"", []
    for kind, body in boxes(content):
        if kind == b"moov":
            output += encryption.protect_header(body)
        elif kind == b"moof":
            moof = body
        elif kind == b"mdat":
            fragment = b"".join(encryption.protect_fragment(moof, body))
            fragments.append((len(output), len(output) + len(fragment) - 1))
            output += fragment
        elif kind != b"mfra":  # its offsets are no longer valid
            output += box(kind, body)
    with open(options.target, "wb") as target:
        target.write(output)
    if options.mpd:
        with open(options.mpd, "w", encoding="utf-8") as target:
            target.write(manifest(os.path.basename(options.target), fragments[0][0], fragments,
                                  options.kid.hex(), bool(encryption.video)))


if __name__ == "__main__":
    main()
